#include "CliRunner.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

nlohmann::json CliResult::json() const
{
    return nlohmann::json::parse(out, nullptr, false);
}

std::string fendrelctlPath()
{
    return FENDREL_BINARY_DIR "/src/cli/fendrelctl";
}

CliProcess::CliProcess(const std::vector<std::string>& args, const std::string& input, bool keepInputOpen)
{
    int in[2], out[2], err[2];
    if (::pipe(in) != 0 || ::pipe(out) != 0 || ::pipe(err) != 0)
        return;
    std::string program = fendrelctlPath();
    std::vector<char*> argv;
    argv.push_back(program.data());
    std::vector<std::string> copies(args);
    for (std::string& arg : copies)
        argv.push_back(arg.data());
    argv.push_back(nullptr);

    pid_ = ::fork();
    if (pid_ == 0) {
        ::dup2(in[0], 0);
        ::dup2(out[1], 1);
        ::dup2(err[1], 2);
        for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]})
            ::close(fd);
        ::execv(program.c_str(), argv.data());
        ::_exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    ::close(err[1]);
    inFd_ = in[1];
    outFd_ = out[0];
    errFd_ = err[0];
    // Processes started later must not hold this one's pipes open.
    for (int fd : {inFd_, outFd_, errFd_})
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    if (keepInputOpen)
        send(input);
    else
        finishInput(input);
}

void CliProcess::send(const std::string& text)
{
    // A run that ends without reading its input must not take the test down
    // with SIGPIPE: the signal is held for this thread and then discarded.
    sigset_t brokenPipe, old;
    ::sigemptyset(&brokenPipe);
    ::sigaddset(&brokenPipe, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &brokenPipe, &old);
    // Small inputs fit the pipe.
    std::size_t written = 0;
    while (inFd_ >= 0 && written < text.size()) {
        ssize_t n = ::write(inFd_, text.data() + written, text.size() - written);
        if (n <= 0)
            break;
        written += static_cast<std::size_t>(n);
    }
    const timespec now{};
    while (::sigtimedwait(&brokenPipe, nullptr, &now) == SIGPIPE) {
    }
    ::pthread_sigmask(SIG_SETMASK, &old, nullptr);
}

void CliProcess::finishInput(const std::string& text)
{
    send(text);
    // Closed, so the child sees the end.
    if (inFd_ >= 0)
        ::close(inFd_);
    inFd_ = -1;
}

CliProcess::~CliProcess()
{
    if (pid_ > 0 && !done_) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    for (int fd : {inFd_, outFd_, errFd_})
        if (fd >= 0)
            ::close(fd);
}

CliResult CliProcess::wait(double timeoutSeconds)
{
    CliResult result;
    if (pid_ <= 0 || done_)
        return result;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(timeoutSeconds);
    bool outOpen = true, errOpen = true;
    while (outOpen || errOpen) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            break;
        pollfd fds[2] = {{outOpen ? outFd_ : -1, POLLIN, 0}, {errOpen ? errFd_ : -1, POLLIN, 0}};
        int ready = ::poll(fds, 2, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            break;
        char buffer[4096];
        for (int i = 0; i < 2; ++i) {
            if (!(fds[i].revents & (POLLIN | POLLHUP)))
                continue;
            ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0)
                (i == 0 ? result.out : result.err).append(buffer, static_cast<std::size_t>(n));
            else
                (i == 0 ? outOpen : errOpen) = false;
        }
    }
    if (outOpen || errOpen)
        ::kill(pid_, SIGKILL);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    done_ = true;
    if (!(outOpen || errOpen) && WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    return result;
}

CliResult runCli(const std::vector<std::string>& args, const std::string& input, double timeoutSeconds)
{
    CliProcess process(args, input);
    return process.wait(timeoutSeconds);
}

namespace {

// Reads what the terminal shows until `text` appears after `from`, or the deadline.
bool readUntil(int fd, std::string& screen, std::size_t from, const std::string& text,
               std::chrono::steady_clock::time_point deadline)
{
    while (screen.find(text, from) == std::string::npos) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return false;
        pollfd pfd{fd, POLLIN, 0};
        if (::poll(&pfd, 1, static_cast<int>(left.count())) <= 0)
            continue;
        char buffer[1024];
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0)
            return false;
        screen.append(buffer, static_cast<std::size_t>(n));
    }
    return true;
}

} // namespace

CliResult runCliOnTerminal(const std::vector<std::string>& args, const std::vector<TerminalExchange>& exchanges,
                           double timeoutSeconds)
{
    CliResult result;
    std::string program = fendrelctlPath();
    std::vector<std::string> copies(args);
    std::vector<char*> argv{program.data()};
    for (std::string& arg : copies)
        argv.push_back(arg.data());
    argv.push_back(nullptr);

    int master = -1;
    pid_t pid = ::forkpty(&master, nullptr, nullptr, nullptr);
    if (pid < 0)
        return result;
    if (pid == 0) {
        ::execv(program.c_str(), argv.data());
        ::_exit(127);
    }
    auto deadline = std::chrono::steady_clock::now() +
                    std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                        std::chrono::duration<double>(timeoutSeconds));
    std::size_t from = 0;
    bool answered = true;
    for (const TerminalExchange& exchange : exchanges) {
        if (!readUntil(master, result.out, from, exchange.prompt, deadline)) {
            answered = false;
            break;
        }
        from = result.out.find(exchange.prompt, from) + exchange.prompt.size();
        std::string line = exchange.reply + "\n";
        if (::write(master, line.data(), line.size()) < 0)
            break;
    }
    // Everything up to the end of the output (EIO once the child has gone).
    if (answered)
        readUntil(master, result.out, result.out.size(), std::string(1, '\0'), deadline);
    else
        ::kill(pid, SIGKILL);
    ::close(master);
    int status = 0;
    if (std::chrono::steady_clock::now() >= deadline)
        ::kill(pid, SIGKILL);
    ::waitpid(pid, &status, 0);
    if (WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    return result;
}
