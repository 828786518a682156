#include "KLSUController.h"

#include "KLAlerts.h"
#include "KLBundle.h"
#include "KLListView.h"
#include "KLProgressIndicator.h"
#include "KLRunLoop.h"
#include "KLTextField.h"
#include "KLTextView.h"
#include "KLVersionNumber.h"
#include "KLWindow.h"

#include <chrono>
#include <thread>

namespace {

constexpr const char* kProductKey = "Fendrel";
constexpr const char* kNoteKey = "QOTD";
constexpr const char* kReleaseNotesKey = "release notes";
constexpr const char* kInfoPageKey = "info page";
constexpr const char* kDownloadURLKey = "download URL";

constexpr const char* kOK = "OK";
constexpr const char* kNoConnectionTitle = "Could not connect to server";
constexpr const char* kNoConnectionMessage =
    "Fendrel encountered an error while checking for new versions. Please check your internet connection or try "
    "again later%@";
constexpr const char* kNoConnectionReason = ".\n\n%@";
constexpr const char* kProductNotFoundTitle = "Product Not Found";
constexpr const char* kProductNotFoundMessage =
    "This application is not currently listed in Quillmoor's version checking system. Please contact the author "
    "for more information";
constexpr const char* kUpToDateTitle = "Up to Date";
constexpr const char* kUpToDateMessage = "This version of Fendrel is up to date.%@";
constexpr const char* kUpToDateNote = "\n\nKLS Notes: %@";

// Seconds between the Unix epoch and 2001-01-01 00:00:00 UTC.
constexpr double kReferenceDateOffset = 978307200.0;

// The update panel's content size; the progress bar adds its own height.
constexpr double kPanelWidth = 480;
constexpr double kPanelHeight = 320;
constexpr double kProgressBarHeight = 26;

// Replaces the first "%@" of a message format.
std::string fill(const std::string& format, const std::string& value)
{
    std::string text = format;
    std::size_t at = text.find("%@");
    if (at != std::string::npos)
        text.replace(at, 2, value);
    return text;
}

std::string stringOf(const KLPlist& value)
{
    if (const std::string* s = value.string())
        return *s;
    return value.isNumber() ? value.description() : std::string();
}

} // namespace

KLSUController::KLSUController()
    : link_(std::make_shared<Link>()), cancelled_(std::make_shared<std::atomic<bool>>()),
      details_(KLXDataSource::dataSource())
{
}

KLSUController::~KLSUController()
{
    // Threads still running find out here: their waits end and their
    // results are dropped on arrival.
    link_->stopping = true;
}

void KLSUController::setOutlets(const KLSUControllerOutlets& outlets)
{
    outlets_ = outlets;
    if (outlets_.detailsTable)
        outlets_.detailsTable->setDataSource(details_.get());
}

void KLSUController::postToController(const std::shared_ptr<Link>& link, std::function<void()> fn)
{
    KLRunLoop::main().post([link, fn = std::move(fn)] {
        if (!link->stopping)
            fn();
    });
}

void KLSUController::postNotification(const std::string& name, const KLPlist& userInfo)
{
    KLNotificationCenter::defaultCenter().post(name, this, userInfo);
}

double KLSUController::secondsSinceReferenceDate()
{
    using namespace std::chrono;
    return duration<double>(system_clock::now().time_since_epoch()).count() - kReferenceDateOffset;
}

void KLSUController::checkForNewVersion(const void*)
{
    // Each check has its own flag, so a cancelled check that is still
    // waiting is not revived by the next one.
    cancelled_ = std::make_shared<std::atomic<bool>>(false);
    std::thread(checkForNewVersion2, this, link_, KLUpdateServer::fromDefaults(), cancelled_).detach();
    postNotification(kStarted);
}

void KLSUController::cancel()
{
    *cancelled_ = true;
}

void KLSUController::cancelVersionCheck()
{
    postNotification(kCancelled);
}

void KLSUController::checkForNewVersion2(KLSUController* self, std::shared_ptr<Link> link, KLUpdateServer server,
                                         CancelFlag cancelled)
{
    std::string error;
    std::optional<std::string> raw =
        getHTTPFile(server, kVersionsPath, error, [&] { return link->stopping || *cancelled; }, kMaxReplyBytes);
    std::optional<KLPlist> reply;
    if (raw)
        reply = parseReply(std::move(*raw));
    if (*cancelled) {
        postToController(link, [self] { self->cancelVersionCheck(); });
        return;
    }
    postToController(link, [self, reply = std::move(reply), error = std::move(error)] {
        self->error_ = error.empty() ? std::nullopt : std::optional<std::string>(error);
        self->checkForNewVersion3(reply);
    });
}

void KLSUController::checkForNewVersion3(const std::optional<KLPlist>& reply)
{
    const KLPlist* product = reply ? &(*reply)[kProductKey] : nullptr;
    KLPlist note = reply ? (*reply)[kNoteKey] : KLPlist();
    postNotification(kEnded);

    if (!reply) {
        std::string reason = error_ ? fill(kNoConnectionReason, *error_) : std::string();
        showAlert(kNoConnectionTitle, fill(kNoConnectionMessage, reason), kNoConnectionContext);
        return;
    }
    if (!product->isDictionary()) {
        showAlert(kProductNotFoundTitle, kProductNotFoundMessage, kProductNotFoundContext);
        return;
    }

    postNotification(kUpdated, KLPlist::Dictionary{{kSecondsKey, secondsSinceReferenceDate()}});
    auto running = KLVersionNumber::versionWithString(applicationVersion());
    auto offered = KLVersionNumber::versionWithString(stringOf((*product)[kCurrentVersionKey]));
    if (running && offered && running->compare(*offered) == -1) {
        showUpdatePanel(*product, note);
        return;
    }
    const std::string* noteText = note.string();
    std::string suffix = noteText && !noteText->empty() ? fill(kUpToDateNote, *noteText) : std::string();
    showAlert(kUpToDateTitle, fill(kUpToDateMessage, suffix), kUpToDateContext);
}

void KLSUController::showAlert(const std::string& title, const std::string& message, const std::string& context)
{
    if (outlets_.alerts)
        outlets_.alerts->beginAlertSheet(KLAlert{title, message, kOK, "", "", context}, nullptr);
}

void KLSUController::showUpdatePanel(const KLPlist& product, const KLPlist& note)
{
    details_->setDataArray(std::make_shared<KLPlist::Array>(KLPlist::Array{product}));
    if (outlets_.detailsTable)
        outlets_.detailsTable->reloadData();
    if (KLProgressIndicator* bar = outlets_.progressBar) {
        bar->setIndeterminate(false);
        bar->setDoubleValue(0);
        bar->setMaxValue(static_cast<double>(product[kByteSizeKey].integerReading().value_or(0)));
    }
    setPIHidden(true);
    if (outlets_.releaseNotes)
        outlets_.releaseNotes->setString(stringOf(product[kReleaseNotesKey]));
    if (outlets_.noteField)
        outlets_.noteField->setStringValue(stringOf(note));
    infoURL_ = stringOf(product[kInfoPageKey]);
    downloadURL_ = stringOf(product[kDownloadURLKey]);
    showSWUPanel();
}

void KLSUController::showSWUPanel()
{
    if (outlets_.swuPanel)
        outlets_.swuPanel->orderFront();
}

void KLSUController::hideSWUPanel()
{
    if (outlets_.swuPanel)
        outlets_.swuPanel->orderOut();
}

void KLSUController::setPIHidden(bool hidden)
{
    if (outlets_.progressBar)
        outlets_.progressBar->setHidden(hidden);
    if (outlets_.swuPanel)
        outlets_.swuPanel->setContentSize(kPanelWidth, kPanelHeight + (hidden ? 0 : kProgressBarHeight));
}
