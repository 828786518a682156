#pragma once

#include "KLNotificationCenter.h"
#include "KLPlist.h"
#include "KLSUControllerOutlets.h"
#include "KLUpdateServer.h"
#include "KLXDataSource.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Asks the update server whether a newer version of the pane exists, tells
// the user in an alert sheet or in the update panel, and on request
// downloads the new version to a file the user picks and opens it.
//
// The check and the download run on threads of their own; everything they
// report reaches the main thread through the main run loop. Notifications
// (object: the controller) are posted on the main thread: "KLSWUStarted",
// "KLSWUCancelled", "KLSWUEnded" and "KLSWUUpdated" (user info
// "KLSWUSeconds"). Each chunk received posts "KLFileSegmentDownloaded" with
// segmentObject(path) as object and the chunk's length under "bytes".
class KLSUController
{
public:
    static constexpr const char* kStarted = "KLSWUStarted";
    static constexpr const char* kCancelled = "KLSWUCancelled";
    static constexpr const char* kEnded = "KLSWUEnded";
    static constexpr const char* kUpdated = "KLSWUUpdated";
    static constexpr const char* kSecondsKey = "KLSWUSeconds";
    static constexpr const char* kSegmentDownloaded = "KLFileSegmentDownloaded";
    static constexpr const char* kBytesKey = "bytes";
    static constexpr const char* kVersionsPath = "/KLSVersions.php";
    // The version reply is a small property list; a longer one is treated
    // like no reply rather than read into memory without end.
    static constexpr std::size_t kMaxReplyBytes = 1024 * 1024;
    static constexpr const char* kDefaultFolderKey = "SU Default Folder";
    // Keys of the offered product's dictionary that the details table shows.
    static constexpr const char* kCurrentVersionKey = "current version";
    static constexpr const char* kByteSizeKey = "version byte size";
    // Contexts of the alerts that end a check, for whoever reads the outcome
    // back from the sheets (the command line does).
    static constexpr const char* kNoConnectionContext = "version net access";
    static constexpr const char* kProductNotFoundContext = "product not found";
    static constexpr const char* kUpToDateContext = "up to date";

    KLSUController();
    ~KLSUController();
    KLSUController(const KLSUController&) = delete;
    KLSUController& operator=(const KLSUController&) = delete;

    // The details table gets the details source as its data source.
    void setOutlets(const KLSUControllerOutlets& outlets);

    // Starts a check against the "Update Server" on a new thread. A null
    // sender is an automatic check.
    void checkForNewVersion(const void* sender = nullptr);
    // The user's cancel of the running check: it ends with "KLSWUCancelled"
    // instead of a result, as soon as its request returns or is abandoned.
    void cancel();
    // The result on the main thread: a parsed reply, or nothing when the
    // server could not be reached or did not send a property list.
    void checkForNewVersion3(const std::optional<KLPlist>& reply);

    // The update panel.
    void showSWUPanel();
    void hideSWUPanel();
    void setPIHidden(bool hidden);
    void viewInfoPage();
    void downloadNewVersion();
    void savePanelDidEnd(int returnCode, const std::string& path);
    void updateSUProgress(const KLNotification& notification);
    void cleanupDownload(const std::string& path);
    void setSUDefaultFolder(const std::string& folder);

    // One HTTP/1.0 GET of path from the server, read until the server closes;
    // the raw reply (status line and headers included), or nothing on any
    // socket failure, when abandoned() turns true while waiting, or when the
    // reply grows past maxBytes (when given). An unknown host sets error to
    // "'<host>' could not be found". Touches no controller: callable from
    // any thread.
    static std::optional<std::string> getHTTPFile(const KLUpdateServer& server, const std::string& path,
                                                  std::string& error,
                                                  const std::function<bool()>& abandoned = {},
                                                  std::optional<std::size_t> maxBytes = std::nullopt);
    // The reply's body (after the headers) as a property list, or nothing
    // when it is not valid UTF-8 or not a property list.
    static std::optional<KLPlist> parseReply(std::string rawReply);
    // The object "KLFileSegmentDownloaded" carries for a path: the same
    // pointer for equal paths.
    static const void* segmentObject(const std::string& path);
    // Seconds since 2001-01-01 00:00:00 UTC.
    static double secondsSinceReferenceDate();
    // The path of a URL ("/a/b" of "http://host/a/b?c").
    static std::string pathOfURL(const std::string& url);

    const std::string& infoURL() const { return infoURL_; }
    const std::string& downloadURL() const { return downloadURL_; }
    const std::optional<std::string>& error() const { return error_; }
    const std::string& downloadPath() const { return downloadPath_; }
    // The details table's rows: the offered product's dictionary.
    KLXDataSource& details() { return *details_; }

private:
    // What a background thread shares with its controller: set when the
    // controller goes, so late results are dropped and waits are abandoned.
    struct Link
    {
        std::atomic<bool> stopping{false};
    };
    using CancelFlag = std::shared_ptr<std::atomic<bool>>;

    static void checkForNewVersion2(KLSUController* self, std::shared_ptr<Link> link, KLUpdateServer server,
                                    CancelFlag cancelled);
    static void downloadInBackground(KLSUController* self, std::shared_ptr<Link> link, KLUpdateServer server,
                                     std::string urlPath, std::string path);
    // Posts "KLSWUCancelled"; the check's thread ends right after.
    void cancelVersionCheck();
    // Runs fn on the main thread unless the controller has gone by then.
    static void postToController(const std::shared_ptr<Link>& link, std::function<void()> fn);
    void postNotification(const std::string& name, const KLPlist& userInfo = {});
    void showAlert(const std::string& title, const std::string& message, const std::string& context);
    void showUpdatePanel(const KLPlist& product, const KLPlist& note);

    KLSUControllerOutlets outlets_;
    std::shared_ptr<Link> link_;
    CancelFlag cancelled_;
    std::string infoURL_;
    std::string downloadURL_;
    std::optional<std::string> error_;
    std::string downloadPath_;
    std::unique_ptr<KLXDataSource> details_;
    std::vector<KLObservation> segmentObservations_;
};
