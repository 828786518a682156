#include "KLChildProcess.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

// Closes what it holds when it goes away.
struct Pipe
{
    int fds[2] = {-1, -1};
    bool open() { return ::pipe2(fds, O_CLOEXEC) == 0; }
    void closeEnd(int i)
    {
        if (fds[i] >= 0)
            ::close(fds[i]);
        fds[i] = -1;
    }
    ~Pipe()
    {
        closeEnd(0);
        closeEnd(1);
    }
};

void setUpOutput(posix_spawn_file_actions_t& actions, KLChildProcess::Output mode, Pipe& pipe, int target)
{
    if (mode == KLChildProcess::Output::Discard)
        posix_spawn_file_actions_addopen(&actions, target, "/dev/null", O_WRONLY, 0);
    else if (mode == KLChildProcess::Output::Capture)
        posix_spawn_file_actions_adddup2(&actions, pipe.fds[1], target);
}

// Writes the input and reads both outputs together, so that a child filling
// one pipe never waits on us while we wait on the other.
void exchange(Pipe& input, const std::string& data, Pipe& out, std::string& output, Pipe& err, std::string& errors)
{
    std::size_t written = 0;
    for (;;) {
        pollfd fds[3];
        int n = 0;
        int inIndex = -1, outIndex = -1, errIndex = -1;
        if (input.fds[1] >= 0) {
            inIndex = n;
            fds[n++] = {input.fds[1], POLLOUT, 0};
        }
        if (out.fds[0] >= 0) {
            outIndex = n;
            fds[n++] = {out.fds[0], POLLIN, 0};
        }
        if (err.fds[0] >= 0) {
            errIndex = n;
            fds[n++] = {err.fds[0], POLLIN, 0};
        }
        if (n == 0)
            return;
        if (::poll(fds, static_cast<nfds_t>(n), -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (inIndex >= 0 && fds[inIndex].revents) {
            ssize_t w = (fds[inIndex].revents & POLLOUT)
                            ? ::write(input.fds[1], data.data() + written, data.size() - written)
                            : -1;
            if (w > 0)
                written += static_cast<std::size_t>(w);
            if (w < 0 && errno != EINTR && errno != EAGAIN)
                written = data.size();
            if (written >= data.size())
                input.closeEnd(1);
        }
        auto drain = [](pollfd& fd, Pipe& pipe, std::string& into) {
            if (!fd.revents)
                return;
            char buffer[8192];
            ssize_t r = ::read(pipe.fds[0], buffer, sizeof buffer);
            if (r > 0)
                into.append(buffer, static_cast<std::size_t>(r));
            else if (r == 0 || (errno != EINTR && errno != EAGAIN))
                pipe.closeEnd(0);
        };
        if (outIndex >= 0)
            drain(fds[outIndex], out, output);
        if (errIndex >= 0)
            drain(fds[errIndex], err, errors);
    }
}

} // namespace

KLChildProcess::Result KLChildProcess::run(const std::string& program, const std::vector<std::string>& arguments,
                                           Output standardOutput, Output standardError,
                                           const std::optional<std::string>& standardInput)
{
    Result result;
    Pipe input, out, err;
    if ((standardInput && !input.open()) || (standardOutput == Output::Capture && !out.open()) ||
        (standardError == Output::Capture && !err.open()))
        return result;

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (standardInput)
        posix_spawn_file_actions_adddup2(&actions, input.fds[0], STDIN_FILENO);
    else
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    setUpOutput(actions, standardOutput, out, STDOUT_FILENO);
    setUpOutput(actions, standardError, err, STDERR_FILENO);

    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(program.c_str()));
    for (const std::string& a : arguments)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);

    pid_t pid = -1;
    int spawned = ::posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return result;

    input.closeEnd(0);
    out.closeEnd(1);
    err.closeEnd(1);
    // A child that exits without reading its input must not kill us.
    struct sigaction ignore{}, previous{};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, &previous);
    exchange(input, standardInput.value_or(std::string()), out, result.output, err, result.errors);
    ::sigaction(SIGPIPE, &previous, nullptr);

    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR)
            return result;
    }
    if (WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    return result;
}
