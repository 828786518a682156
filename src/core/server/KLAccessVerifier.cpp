// The verification: which folders are asked, the run on its own thread, and
// the verdict on each answer.

#include "KLAccessVerifier.h"

#include "KLFSDataSource.h"
#include "KLFSItem.h"
#include "KLRunLoop.h"

#include <cstdio>
#include <thread>

namespace {

constexpr const char* kLoopback = "127.0.0.1";

constexpr const char* kAsksPassword = "Apache asks for a password here, as the access file says.";
constexpr const char* kRefusesAddress = "Apache keeps this machine's address out here, as the access file says.";
constexpr const char* kUnreadable = "Apache cannot read the access file, and answers 500 to everyone.";
constexpr const char* kNoLogLine = " No line of the error log names the file.";
constexpr const char* kIgnored =
    "Apache ignores the access file and shows the folder to everyone: its configuration does not let access "
    "files take effect here (AllowOverride), or the folder is not what Apache serves at %s.";
constexpr const char* kNotServed = "Apache does not serve this folder at %s, so its access file changes nothing.";
constexpr const char* kOtherAnswer = "Apache answers %d where the access file promises %d.";
constexpr const char* kNoAnswer = "Apache did not answer for this folder.";
constexpr const char* kNotRunning =
    "Apache does not answer on %s: the server is not running, so no folder's protection could be checked.";

std::string withText(std::string format, const std::string& text)
{
    return format.replace(format.find("%s"), 2, text);
}

} // namespace

KLAccessVerifier::KLAccessVerifier() = default;

KLAccessVerifier::~KLAccessVerifier()
{
    if (cancelled_)
        *cancelled_ = true;
}

std::vector<KLFSItem*> KLAccessVerifier::protectedItems(KLFSItem& root)
{
    std::vector<KLFSItem*> found;
    std::vector<KLFSItem*> pending = {&root};
    while (!pending.empty()) {
        KLFSItem* item = pending.back();
        pending.pop_back();
        if (!item->isAuthenticationDisabled() && KLFSDataSource::modeIndex(*item) != KLFSDataSource::None)
            found.push_back(item);
        if (!item->hasLoadedChildren())
            continue;
        std::vector<KLFSItem*> children = item->children();
        pending.insert(pending.end(), children.rbegin(), children.rend());
    }
    return found;
}

void KLAccessVerifier::judge(KLAccessCheck& check, int status, const std::string& logLine)
{
    check.status = status;
    using Verdict = KLAccessCheck::Verdict;
    // An unreadable file or a folder that is not served fails every client,
    // whatever the file promises; other answers need a promise to judge.
    if (status == 500) {
        check.verdict = Verdict::NotEnforced;
        check.reason = kUnreadable + (logLine.empty() ? std::string(kNoLogLine) : " The error log says: " + logLine);
    } else if (status == 404) {
        check.verdict = Verdict::NotEnforced;
        check.reason = withText(kNotServed, check.urlPath);
    } else if (status == 0 || check.expected == 0) {
        check.verdict = Verdict::CannotJudge;
        if (status == 0)
            check.reason = kNoAnswer;
    } else if (status == check.expected) {
        check.verdict = Verdict::Enforced;
        check.reason = status == 401 ? kAsksPassword : kRefusesAddress;
    } else if (status >= 200 && status < 300) {
        check.verdict = Verdict::NotEnforced;
        check.reason = withText(kIgnored, check.urlPath);
    } else {
        check.verdict = Verdict::NotEnforced;
        char text[128];
        std::snprintf(text, sizeof text, kOtherAnswer, status, check.expected);
        check.reason = text;
    }
}

void KLAccessVerifier::verify(const std::vector<KLFSItem*>& items, const KLFSItem& root, const Site& site,
                              std::vector<std::string> logs, std::function<void(const Result&)> done)
{
    if (cancelled_)
        *cancelled_ = true;
    cancelled_ = std::make_shared<std::atomic<bool>>(false);
    running_ = std::make_shared<bool>(true);
    std::vector<KLAccessCheck> checks;
    for (const KLFSItem* item : items)
        checks.push_back(expectationFor(*item, root, site));
    std::thread([checks = std::move(checks), site, logs = std::move(logs), cancelled = cancelled_,
                 running = running_, done = std::move(done)]() mutable {
        Result result = run(std::move(checks), site, std::move(logs), *cancelled);
        KLRunLoop::main().post([cancelled, running, done, result = std::move(result)] {
            if (*cancelled)
                return;
            *running = false;
            done(result);
        });
    }).detach();
}

KLAccessVerifier::Result KLAccessVerifier::run(std::vector<KLAccessCheck> checks, Site site,
                                               std::vector<std::string> logs, const std::atomic<bool>& cancelled)
{
    Result result;
    for (KLAccessCheck& check : checks) {
        if (cancelled)
            break;
        // A server that did not answer once is not asked again for each folder.
        std::optional<int> status =
            result.serverAnswered ? statusOf(site.port, site.host, check.urlPath) : std::nullopt;
        if (!status && result.serverAnswered) {
            result.serverAnswered = false;
            result.serverMessage = withText(kNotRunning, std::string(kLoopback) + ":" + std::to_string(site.port));
        }
        std::string logLine = status == 500 ? logLineNaming(logs, check.accessPath) : std::string();
        judge(check, status.value_or(0), logLine);
        if (!status)
            check.reason = result.serverMessage;
    }
    result.checks = std::move(checks);
    return result;
}
