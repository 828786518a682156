#include "CliRunner.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void exec(const std::vector<std::string>& args)
{
    static const std::string program = FENDREL_BINARY_DIR "/src/cli/fendrelctl";
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& arg : args)
        argv.push_back(const_cast<char*>(arg.c_str()));
    argv.push_back(nullptr);
    ::execv(program.c_str(), argv.data());
    ::_exit(127);
}

Clock::time_point deadlineIn(double seconds)
{
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

// Reads what the terminal shows until `text` appears after `from`, or the deadline.
bool readUntil(int fd, std::string& screen, std::size_t from, const std::string& text, Clock::time_point deadline)
{
    while (screen.find(text, from) == std::string::npos) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd pfd{fd, POLLIN, 0};
        if (left <= 0)
            return false;
        if (::poll(&pfd, 1, static_cast<int>(left)) <= 0)
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

nlohmann::json CliResult::json() const
{
    return nlohmann::json::parse(out, nullptr, false);
}

// Standard input is a socket, so a run that ends without reading it cannot raise SIGPIPE here.
CliProcess::CliProcess(const std::vector<std::string>& args, const std::string& input, bool keepInputOpen)
{
    int in[2], out[2], err[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, in) != 0 || ::pipe2(out, O_CLOEXEC) != 0 ||
        ::pipe2(err, O_CLOEXEC) != 0)
        return;
    pid_ = ::fork();
    if (pid_ == 0) {
        ::dup2(in[0], 0);
        ::dup2(out[1], 1);
        ::dup2(err[1], 2);
        exec(args);
    }
    for (int fd : {in[0], out[1], err[1]})
        ::close(fd);
    inFd_ = in[1];
    outFd_ = out[0];
    errFd_ = err[0];
    ::send(inFd_, input.data(), input.size(), MSG_NOSIGNAL);
    if (!keepInputOpen)
        finishInput({});
}

void CliProcess::finishInput(const std::string& text)
{
    ::send(inFd_, text.data(), text.size(), MSG_NOSIGNAL);
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
    auto deadline = deadlineIn(timeoutSeconds);
    bool open[2] = {true, true};
    while (open[0] || open[1]) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        pollfd fds[2] = {{open[0] ? outFd_ : -1, POLLIN, 0}, {open[1] ? errFd_ : -1, POLLIN, 0}};
        int ready = left > 0 ? ::poll(fds, 2, static_cast<int>(left)) : 0;
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            break;
        for (int i = 0; i < 2; ++i) {
            if (!(fds[i].revents & (POLLIN | POLLHUP)))
                continue;
            char buffer[4096];
            ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
            if (n > 0)
                (i == 0 ? result.out : result.err).append(buffer, static_cast<std::size_t>(n));
            else
                open[i] = false;
        }
    }
    bool finished = !open[0] && !open[1];
    if (!finished)
        ::kill(pid_, SIGKILL);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    done_ = true;
    if (finished && WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    return result;
}

CliResult runCli(const std::vector<std::string>& args, const std::string& input, double timeoutSeconds)
{
    return CliProcess(args, input).wait(timeoutSeconds);
}

CliResult runCliOnTerminal(const std::vector<std::string>& args, const std::vector<TerminalExchange>& exchanges,
                           double timeoutSeconds)
{
    CliResult result;
    int master = -1;
    pid_t pid = ::forkpty(&master, nullptr, nullptr, nullptr);
    if (pid < 0)
        return result;
    if (pid == 0)
        exec(args);
    auto deadline = deadlineIn(timeoutSeconds);
    std::size_t from = 0;
    bool answered = true;
    for (const TerminalExchange& exchange : exchanges) {
        answered = readUntil(master, result.out, from, exchange.prompt, deadline);
        if (!answered)
            break;
        from = result.out.find(exchange.prompt, from) + exchange.prompt.size();
        std::string line = exchange.reply + "\n";
        if (::write(master, line.data(), line.size()) < 0)
            break;
    }
    // Everything up to the end of the output (EIO once the child has gone).
    if (answered)
        readUntil(master, result.out, result.out.size(), std::string(1, '\0'), deadline);
    ::close(master);
    if (!answered || Clock::now() >= deadline)
        ::kill(pid, SIGKILL);
    int status = 0;
    ::waitpid(pid, &status, 0);
    if (WIFEXITED(status))
        result.status = WEXITSTATUS(status);
    return result;
}
