#include "KLAccessVerifier.h"

#include "KLBundle.h"
#include "KLFSDataSource.h"
#include "KLFSItem.h"
#include "KLLayout.h"
#include "KLRunLoop.h"
#include "KLUserDefaults.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

constexpr const char* kSiteAddressKey = "Apache Site Address";
constexpr const char* kSitePortKey = "Apache Site Port";
constexpr std::uint16_t kDefaultPort = 80;
constexpr const char* kLoopback = "127.0.0.1";
// Only the end of a log is read: the line sought was written just now.
constexpr off_t kLogTailBytes = 1 << 20;
constexpr std::size_t kMaxReplyHead = 4096;

constexpr const char* kAsksPassword = "Apache asks for a password here, as the access file says.";
constexpr const char* kRefusesAddress = "Apache keeps this machine's address out here, as the access file says.";
constexpr const char* kAddressesUnjudged =
    "The access file lets this machine in by its address, so its addresses cannot be judged from this machine.";
constexpr const char* kAddressesUnknown =
    "The access file names addresses that cannot be judged from this machine.";
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

std::string loginName()
{
    if (const passwd* entry = ::getpwuid(::getuid()))
        return entry->pw_name;
    const char* user = std::getenv("USER");
    return user ? user : "";
}

std::string withoutTrailingSlashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

// The rest of path below folder ("" for folder itself), or nothing.
std::optional<std::string> below(const std::string& path, const std::string& folder)
{
    std::string base = withoutTrailingSlashes(folder);
    std::string inner = withoutTrailingSlashes(path);
    if (base.empty() || base == "/")
        return std::nullopt;
    if (inner == base)
        return std::string();
    if (inner.size() > base.size() && inner.compare(0, base.size(), base) == 0 && inner[base.size()] == '/')
        return inner.substr(base.size() + 1);
    return std::nullopt;
}

// Each path component percent-encoded, "/" kept.
std::string urlEncoded(const std::string& path)
{
    static const char* hex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : path) {
        if (std::isalnum(c) || c == '/' || c == '-' || c == '.' || c == '_' || c == '~')
            out += static_cast<char>(c);
        else
            out += {'%', hex[c >> 4], hex[c & 15]};
    }
    return out;
}

// Whether one address rule of an access file covers 127.0.0.1: an address,
// a partial address, a network with its length or mask, or the name the
// loopback address has; nothing when that cannot be known here (env=).
std::optional<bool> coversLoopback(std::string rule)
{
    std::transform(rule.begin(), rule.end(), rule.begin(), [](unsigned char c) { return std::tolower(c); });
    if (rule.rfind("env=", 0) == 0)
        return std::nullopt;
    if (rule == "localhost" || rule == "localhost.localdomain")
        return true;
    const std::uint32_t loopback = 0x7f000001;
    std::string address = rule;
    std::string mask;
    if (auto slash = rule.find('/'); slash != std::string::npos) {
        address = rule.substr(0, slash);
        mask = rule.substr(slash + 1);
    }
    // A partial address names the networks of its leading bytes.
    std::uint32_t value = 0;
    int bytes = 0;
    std::size_t at = 0;
    while (at < address.size() && bytes < 4) {
        std::size_t end = address.find('.', at);
        std::string part = address.substr(at, end == std::string::npos ? std::string::npos : end - at);
        if (part.empty() || part.size() > 3 || !std::all_of(part.begin(), part.end(), ::isdigit) || std::stoi(part) > 255)
            return false; // a host name or an IPv6 address: not how this machine is seen
        value |= static_cast<std::uint32_t>(std::stoi(part)) << (24 - 8 * bytes++);
        if (end == std::string::npos)
            break;
        at = end + 1;
    }
    if (bytes == 0)
        return false;
    std::uint32_t netmask = bytes == 4 ? 0xffffffffu : ~(0xffffffffu >> (8 * bytes));
    if (!mask.empty()) {
        in_addr parsed{};
        if (mask.find('.') != std::string::npos && ::inet_pton(AF_INET, mask.c_str(), &parsed) == 1) {
            netmask = ntohl(parsed.s_addr);
        } else if (std::all_of(mask.begin(), mask.end(), ::isdigit) && mask.size() <= 2 && std::stoi(mask) <= 32) {
            // Shifted as 64 bits, so that /0 and /32 need no case of their own.
            netmask = static_cast<std::uint32_t>(~(0xffffffffull >> std::stoi(mask)));
        } else {
            return false;
        }
    }
    return (value & netmask) == (loopback & netmask);
}

std::vector<std::string> listAt(const KLFSItem& item, const char* key)
{
    std::vector<std::string> out;
    auto it = item.authDict().find(key);
    if (it != item.authDict().end() && it->second.array())
        for (const KLPlist& element : *it->second.array())
            out.push_back(element.description());
    return out;
}

// Whether any rule of the list covers the loopback address; nothing when a
// rule cannot be judged and none surely does.
std::optional<bool> anyCovers(const std::vector<std::string>& rules)
{
    bool unknown = false;
    for (const std::string& rule : rules) {
        std::optional<bool> covers = coversLoopback(rule);
        if (covers && *covers)
            return true;
        unknown = unknown || !covers;
    }
    return unknown ? std::nullopt : std::optional<bool>(false);
}

// Whether the address rules let 127.0.0.1 in. Files are written with
// "Order deny,allow": in allow-list mode only the allowed addresses get in;
// in deny-list mode everyone but the denied, unless also allowed.
std::optional<bool> letsLoopbackIn(const KLFSItem& item)
{
    std::optional<bool> allowed = anyCovers(listAt(item, KLFSItem::kAllowFrom));
    if (allowed && *allowed)
        return true;
    if (item.isAllowSet())
        return allowed;
    std::optional<bool> denied = anyCovers(listAt(item, KLFSItem::kDenyFrom));
    if (!denied || !allowed)
        return std::nullopt;
    return !*denied;
}

class Descriptor
{
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor()
    {
        if (fd_ >= 0)
            ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }

private:
    int fd_;
};

using Clock = std::chrono::steady_clock;

bool waitFor(int fd, short events, Clock::time_point deadline)
{
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0)
            return false;
        pollfd ready{fd, events, 0};
        int n = ::poll(&ready, 1, static_cast<int>(left));
        if (n > 0)
            return true;
        if (n < 0 && errno != EINTR)
            return false;
    }
}

} // namespace

KLAccessVerifier::Site KLAccessVerifier::siteForRoot(const std::string& rootPath)
{
    Site site;
    const KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    std::string address = defaults.stringForKey(kSiteAddressKey).value_or(kLoopback);
    site.host = address.empty() ? kLoopback : address;
    std::string port = defaults.stringForKey(kSitePortKey).value_or("");
    // "host:port" names its own port; a bracketed IPv6 host keeps its colons.
    if (auto colon = address.rfind(':'); colon != std::string::npos && address.find(']', colon) == std::string::npos)
        port = address.substr(colon + 1);
    char* end = nullptr;
    long number = std::strtol(port.c_str(), &end, 10);
    site.port = !port.empty() && *end == '\0' && number > 0 && number <= 65535 ? static_cast<std::uint16_t>(number)
                                                                            : kDefaultPort;

    const KLLayout& layout = KLLayout::active();
    const char* home = std::getenv("HOME");
    std::string personal = std::string(home ? home : "") + "/" + layout.personalWebFolder;
    std::string prefix = "/";
    if (auto rest = below(rootPath, personal))
        prefix = "/~" + loginName() + "/" + *rest;
    else if (auto shared = below(rootPath, layout.sharedDocumentRoot))
        prefix = "/" + *shared;
    if (prefix.back() != '/')
        prefix += '/';
    site.urlPrefix = prefix;
    return site;
}

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

KLAccessCheck KLAccessVerifier::expectationFor(const KLFSItem& item, const KLFSItem& root, const Site& site)
{
    KLAccessCheck check;
    check.fullPath = item.fullPath();
    check.accessPath = item.accessPath();
    check.mode = item.isAuthenticationDisabled() ? KLFSDataSource::None : KLFSDataSource::modeIndex(item);
    std::string rest = below(item.fullPath(), root.fullPath()).value_or("");
    check.urlPath = urlEncoded(site.urlPrefix + rest + (rest.empty() ? "" : "/"));

    std::optional<bool> loopbackIn = letsLoopbackIn(item);
    auto cannotJudge = [&] { check.reason = loopbackIn ? kAddressesUnjudged : kAddressesUnknown; };
    switch (check.mode) {
    case KLFSDataSource::Password:
        check.expected = 401;
        break;
    case KLFSDataSource::Address:
        if (loopbackIn && !*loopbackIn)
            check.expected = 403;
        else
            cannotJudge();
        break;
    case KLFSDataSource::PasswordOrAddress:
        // Either suffices: an address that lets this machine in skips the login.
        if (loopbackIn && !*loopbackIn)
            check.expected = 401;
        else
            cannotJudge();
        break;
    case KLFSDataSource::PasswordAndAddress:
        if (!loopbackIn)
            cannotJudge();
        else
            check.expected = *loopbackIn ? 401 : 403;
        break;
    default:
        break;
    }
    return check;
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

std::optional<int> KLAccessVerifier::statusOf(std::uint16_t port, const std::string& host, const std::string& path,
                                              double timeoutSeconds)
{
    const Clock::time_point deadline =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(timeoutSeconds));
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (socket.get() < 0)
        return std::nullopt;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        if (errno != EINPROGRESS || !waitFor(socket.get(), POLLOUT, deadline))
            return std::nullopt;
        int error = 0;
        socklen_t length = sizeof error;
        if (::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &length) < 0 || error != 0)
            return std::nullopt;
    }
    // No Authorization header, ever: the answer a stranger gets is the point.
    std::string request = "GET " + path + " HTTP/1.0\r\nHost: " + host + "\r\nUser-Agent: " + applicationName() + "/" +
                          applicationVersion() + "\r\nConnection: close\r\n\r\n";
    std::string_view unsent = request;
    while (!unsent.empty()) {
        if (!waitFor(socket.get(), POLLOUT, deadline))
            return std::nullopt;
        ssize_t sent = ::send(socket.get(), unsent.data(), unsent.size(), MSG_NOSIGNAL);
        if (sent < 0 && errno != EAGAIN && errno != EINTR)
            return std::nullopt;
        if (sent > 0)
            unsent.remove_prefix(static_cast<std::size_t>(sent));
    }
    std::string reply;
    while (reply.find('\n') == std::string::npos && reply.size() < kMaxReplyHead) {
        if (!waitFor(socket.get(), POLLIN, deadline))
            return std::nullopt;
        char buffer[512];
        ssize_t got = ::recv(socket.get(), buffer, sizeof buffer, 0);
        if (got == 0)
            break;
        if (got < 0 && errno != EAGAIN && errno != EINTR)
            return std::nullopt;
        if (got > 0)
            reply.append(buffer, static_cast<std::size_t>(got));
    }
    // "HTTP/1.1 401 Unauthorized"
    if (reply.rfind("HTTP/", 0) != 0)
        return std::nullopt;
    auto space = reply.find(' ');
    if (space == std::string::npos || reply.size() < space + 4)
        return std::nullopt;
    std::string code = reply.substr(space + 1, 3);
    if (!std::all_of(code.begin(), code.end(), ::isdigit))
        return std::nullopt;
    return std::stoi(code);
}

std::string KLAccessVerifier::logLineNaming(const std::vector<std::string>& logs, const std::string& file)
{
    std::vector<std::string> names = {file};
    char resolved[PATH_MAX];
    if (::realpath(file.c_str(), resolved) && file != resolved)
        names.push_back(resolved);
    std::string found;
    for (const std::string& log : logs) {
        Descriptor fd(::open(log.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        struct stat info {};
        if (fd.get() < 0 || ::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode))
            continue;
        off_t start = std::max<off_t>(0, info.st_size - kLogTailBytes);
        std::string text(static_cast<std::size_t>(info.st_size - start), '\0');
        ssize_t got = ::pread(fd.get(), text.data(), text.size(), start);
        text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
        for (std::size_t end = text.size(); end > 0 && found.empty();) {
            std::size_t begin = text.rfind('\n', end - 1);
            begin = begin == std::string::npos ? 0 : begin + 1;
            std::string line = text.substr(begin, end - begin);
            for (const std::string& name : names)
                if (!line.empty() && line.find(name) != std::string::npos)
                    found = line;
            end = begin == 0 ? 0 : begin - 1;
        }
        if (!found.empty())
            break;
    }
    while (!found.empty() && (found.back() == '\r' || found.back() == '\n'))
        found.pop_back();
    return found;
}
