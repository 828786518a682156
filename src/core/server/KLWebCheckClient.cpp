#include "KLWebCheckClient.h"

#include "KLAuthorization.h"
#include "KLLog.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

constexpr const char* kAuthorizationFailedFormat = "Error %d: Authorization failed";

std::string authorizationFailedMessage(int status)
{
    char text[64];
    std::snprintf(text, sizeof text, kAuthorizationFailedFormat, status);
    return text;
}

class Pipe
{
public:
    Pipe() { ok_ = ::pipe2(fds_, O_CLOEXEC) == 0; }
    ~Pipe()
    {
        closeRead();
        closeWrite();
    }
    bool ok() const { return ok_; }
    int readEnd() const { return fds_[0]; }
    int writeEnd() const { return fds_[1]; }
    void closeRead() { closeOne(0); }
    void closeWrite() { closeOne(1); }

private:
    void closeOne(int i)
    {
        if (ok_ && fds_[i] >= 0)
            ::close(fds_[i]);
        fds_[i] = -1;
    }
    int fds_[2] = {-1, -1};
    bool ok_ = false;
};

// Starts argv[0] with one descriptor of ours as its standard input or output;
// the child's pid, or -1.
pid_t spawnWith(const std::vector<std::string>& argv, int childFd, int ourFd)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ourFd, childFd);
    std::vector<char*> args;
    for (const std::string& a : argv)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    pid_t pid = -1;
    int spawned = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return spawned == 0 ? pid : -1;
}

// The exit status of the child, 128 + the signal that ended it, or -1 when
// it was lost.
int waitFor(pid_t pid)
{
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

bool writeAll(int fd, const std::uint8_t* bytes, std::size_t length)
{
    while (length > 0) {
        ssize_t n = ::write(fd, bytes, length);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        bytes += n;
        length -= static_cast<std::size_t>(n);
    }
    return true;
}

std::string readToEnd(int fd)
{
    std::string text;
    char buffer[256];
    for (;;) {
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return text;
        text.append(buffer, static_cast<std::size_t>(n));
    }
}

} // namespace

KLWebCheckClient::KLWebCheckClient(std::string helperPath, std::string pkexecPath)
    : helperPath_(std::move(helperPath)), pkexecPath_(std::move(pkexecPath))
{
}

bool KLWebCheckClient::isHelperSetUID() const
{
    struct stat st{};
    return ::stat(helperPath_.c_str(), &st) == 0 && st.st_uid == 0 && (st.st_mode & S_ISUID) != 0;
}

int KLWebCheckClient::selfInstall() const
{
    std::vector<std::string> argv{helperPath_, "-selfRepair", "YES", "-mypath", helperPath_};
    if (::geteuid() != 0)
        argv.insert(argv.begin(), pkexecPath_);
    Pipe output;
    if (!output.ok())
        return -1;
    pid_t pid = spawnWith(argv, STDOUT_FILENO, output.writeEnd());
    output.closeWrite();
    if (pid < 0)
        return -1;
    // pkexec replaces itself with the tool, so the pid the tool prints is
    // that of our own child: waiting for the child waits for the install.
    readToEnd(output.readEnd());
    return waitFor(pid);
}

int KLWebCheckClient::webcheckWithArgs(const std::vector<std::string>& args) const
{
    if (!isHelperSetUID()) {
        int status = selfInstall();
        if (status != 0) {
            KLLog(authorizationFailedMessage(status));
            return kAuthorizationFailed;
        }
    }
    auto form = KLAuthorization::makeExternalForm();
    if (!form)
        return kExternalFormFailed;

    std::vector<std::string> argv{helperPath_, "-mypath", helperPath_};
    argv.insert(argv.end(), args.begin(), args.end());
    // The token goes into the pipe before the tool starts: 32 bytes always
    // fit, and a tool that exits early cannot raise SIGPIPE here.
    Pipe input;
    if (!input.ok() || !writeAll(input.writeEnd(), form->data(), form->size()))
        return kExternalFormFailed;
    input.closeWrite();
    pid_t pid = spawnWith(argv, STDIN_FILENO, input.readEnd());
    input.closeRead();
    if (pid < 0)
        return kToolNotStarted;
    return waitFor(pid);
}
