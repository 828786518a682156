#pragma once

#include "KLAccessCheck.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class KLFSItem;

// Asks the running web server for every protected folder and compares its
// answer with what the folder's access file promises: a password prompt
// (401), or a refusal of this machine's address (403). The requests go to
// 127.0.0.1 only, carry no credentials and give up after 2 seconds each;
// they run on a thread of their own and the result reaches the main thread
// through its run loop.
class KLAccessVerifier
{
public:
    static constexpr double kTimeoutSeconds = 2.0;

    // Where the requests go: the loopback address on the port of the "Apache
    // Site Address" setting (else "Apache Site Port"), with that address as
    // the host asked for, and the folders' addresses below urlPrefix.
    struct Site
    {
        std::uint16_t port = 80;
        std::string host = "127.0.0.1";
        std::string urlPrefix = "/";
    };
    // The site of the settings for a protected folder root: a root in the
    // personal web folder is served below "/~login/", one in the shared
    // document root below its place there, any other root as the site's top.
    static Site siteForRoot(const std::string& rootPath);

    struct Result
    {
        // False when some request got no answer: the server is not running.
        bool serverAnswered = true;
        // Said once for the whole tree when the server does not answer.
        std::string serverMessage;
        std::vector<KLAccessCheck> checks;
    };

    KLAccessVerifier();
    // Results still on their way are dropped.
    ~KLAccessVerifier();
    KLAccessVerifier(const KLAccessVerifier&) = delete;
    KLAccessVerifier& operator=(const KLAccessVerifier&) = delete;

    // The folders of a tree whose protection is on, depth first, among those
    // the tree has listed so far.
    static std::vector<KLFSItem*> protectedItems(KLFSItem& root);

    // What the folder's access file promises a client on this machine that
    // sends no credentials: expected 401 or 403, or a reason why that cannot
    // be judged from here. Main thread (reads the item).
    static KLAccessCheck expectationFor(const KLFSItem& item, const KLFSItem& root, const Site& site);
    // Fills in the verdict and its reason for the server's answer (0: none);
    // logLine is the error log's line naming the access file, for a 500.
    static void judge(KLAccessCheck& check, int status, const std::string& logLine);

    // Starts asking for the items (a request running already is dropped);
    // done runs on the main thread with the result.
    void verify(const std::vector<KLFSItem*>& items, const KLFSItem& root, const Site& site,
                std::vector<std::string> logs, std::function<void(const Result&)> done);
    // Whether a verification is on its way.
    bool isVerifying() const { return running_ && *running_; }

    // The status of GET path on 127.0.0.1:port, nothing when no answer came
    // in time. Any thread.
    static std::optional<int> statusOf(std::uint16_t port, const std::string& host, const std::string& path,
                                       double timeoutSeconds = kTimeoutSeconds);
    // The last line of the logs that names the file, "" when none does.
    static std::string logLineNaming(const std::vector<std::string>& logs, const std::string& file);

private:
    static Result run(std::vector<KLAccessCheck> checks, Site site, std::vector<std::string> logs,
                      const std::atomic<bool>& cancelled);

    std::shared_ptr<std::atomic<bool>> cancelled_;
    std::shared_ptr<bool> running_; // main thread only
};
