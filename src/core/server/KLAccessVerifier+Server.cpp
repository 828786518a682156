// Talking to the server and reading its error log, on the verification's
// own thread.

#include "KLAccessVerifier.h"

#include "KLBundle.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>

namespace {

// Only the end of a log is read: the line sought was written just now.
constexpr off_t kLogTailBytes = 1 << 20;
constexpr std::size_t kMaxReplyHead = 4096;

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
