#include "KLSUController.h"

#include "KLAlerts.h"
#include "KLAtomicFile.h"
#include "KLDataExtensions.h"
#include "KLLog.h"
#include "KLProgressIndicator.h"
#include "KLStringExtensions.h"
#include "KLUserDefaults.h"
#include "KLWorkspace.h"

#include <thread>

namespace {

constexpr int kSavePanelOK = 1;

std::string folderOfPath(const std::string& path)
{
    std::size_t slash = path.find_last_of('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace

std::string KLSUController::pathOfURL(const std::string& url)
{
    std::size_t start = 0;
    if (std::size_t scheme = url.find("://"); scheme != std::string::npos) {
        start = url.find('/', scheme + 3);
        if (start == std::string::npos)
            return "/";
    }
    std::string path = url.substr(start, url.find_first_of("?#", start) - start);
    return path.empty() ? "/" : path;
}

void KLSUController::viewInfoPage()
{
    if (outlets_.workspace)
        outlets_.workspace->openURL(infoURL_);
}

void KLSUController::downloadNewVersion()
{
    if (!outlets_.alerts)
        return;
    std::string folder = KLUserDefaults::standardUserDefaults().stringForKey(kDefaultFolderKey).value_or("");
    std::weak_ptr<Link> link = link_;
    outlets_.alerts->runSavePanel(folder, lastPathComponent(pathOfURL(downloadURL_)),
                                  [this, link](int returnCode, const std::string& path) {
                                      if (auto alive = link.lock(); alive && !alive->stopping)
                                          savePanelDidEnd(returnCode, path);
                                  });
}

void KLSUController::savePanelDidEnd(int returnCode, const std::string& path)
{
    if (returnCode != kSavePanelOK)
        return;
    downloadPath_ = path;
    setSUDefaultFolder(folderOfPath(path));
    setPIHidden(false);
    std::string urlPath = pathOfURL(downloadURL_);
    // Observed here on the main thread, before the first chunk can arrive.
    // The observation outlives the download on purpose, as it always has: a
    // later download of the same file advances the bar through it as well.
    segmentObservations_.emplace_back(kSegmentDownloaded, segmentObject(urlPath),
                                      [this](const KLNotification& n) { updateSUProgress(n); });
    std::thread(downloadInBackground, this, link_, KLUpdateServer::fromDefaults(), urlPath, path).detach();
}

void KLSUController::downloadInBackground(KLSUController* self, std::shared_ptr<Link> link, KLUpdateServer server,
                                          std::string urlPath, std::string path)
{
    std::string error;
    std::optional<std::string> raw = getHTTPFile(server, urlPath, error, [&] { return link->stopping.load(); });
    if (raw) {
        stripHeaders(*raw);
        if (!KLAtomicFile::write(path, *raw))
            KLLog("Could not write the download to " + path + ": " + KLAtomicFile::lastError());
    }
    postToController(link, [self, path] { self->cleanupDownload(path); });
}

void KLSUController::updateSUProgress(const KLNotification& notification)
{
    if (KLProgressIndicator* bar = outlets_.progressBar)
        bar->setDoubleValue(bar->doubleValue() +
                            static_cast<double>(notification.userInfo[kBytesKey].integerReading().value_or(0)));
}

void KLSUController::cleanupDownload(const std::string& path)
{
    hideSWUPanel();
    if (outlets_.workspace)
        outlets_.workspace->openFile(path);
}

void KLSUController::setSUDefaultFolder(const std::string& folder)
{
    KLUserDefaults::standardUserDefaults().setObject(folder, kDefaultFolderKey);
}
