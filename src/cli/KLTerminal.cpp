#include "KLTerminal.h"

#include <cstdio>
#include <iostream>
#include <termios.h>
#include <unistd.h>

namespace {

// Turns the terminal's echo off until destroyed.
class EchoOff
{
public:
    EchoOff()
    {
        if (::tcgetattr(STDIN_FILENO, &saved_) != 0)
            return;
        termios quiet = saved_;
        quiet.c_lflag &= static_cast<tcflag_t>(~ECHO);
        active_ = ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet) == 0;
    }
    ~EchoOff()
    {
        if (active_) {
            ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved_);
            std::fputs("\n", stderr);
        }
    }
    EchoOff(const EchoOff&) = delete;
    EchoOff& operator=(const EchoOff&) = delete;

private:
    termios saved_{};
    bool active_ = false;
};

} // namespace

bool KLTerminal::isInteractive()
{
    return ::isatty(STDIN_FILENO) == 1;
}

std::optional<std::string> KLTerminal::readLine(const std::string& prompt)
{
    if (isInteractive() && !prompt.empty()) {
        std::fputs(prompt.c_str(), stderr);
        std::fflush(stderr);
    }
    std::string line;
    if (!std::getline(std::cin, line))
        return std::nullopt;
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return line;
}

std::optional<std::string> KLTerminal::readSecret(const std::string& prompt)
{
    if (!isInteractive())
        return readLine(prompt);
    // Echo goes off before the prompt shows, so no typed key is flushed away.
    EchoOff echoOff;
    std::fputs(prompt.c_str(), stderr);
    std::fflush(stderr);
    return readLine({});
}
