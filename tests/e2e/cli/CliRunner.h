#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

// Runs the built fendrelctl as a user would: arguments, text on standard input (a pipe, never a terminal) and
// the test process's environment. A run past its timeout is killed and has status -1.
struct CliResult
{
    int status = -1;
    std::string out;
    std::string err;

    nlohmann::json json() const; // standard output parsed as JSON (discarded on garbage)
};

CliResult runCli(const std::vector<std::string>& args, const std::string& input = {}, double timeoutSeconds = 60);

// Runs fendrelctl on a pseudo-terminal: each reply is typed once its prompt has appeared. Everything the
// terminal shows is the result's `out`.
struct TerminalExchange
{
    std::string prompt;
    std::string reply;
};
CliResult runCliOnTerminal(const std::vector<std::string>& args, const std::vector<TerminalExchange>& exchanges,
                           double timeoutSeconds = 30);

// A process started and left running, for runs that must overlap. Standard input gets `input` and ends, unless
// `keepInputOpen`: then it waits for finishInput().
class CliProcess
{
public:
    CliProcess(const std::vector<std::string>& args, const std::string& input = {}, bool keepInputOpen = false);
    ~CliProcess();
    CliProcess(const CliProcess&) = delete;
    CliProcess& operator=(const CliProcess&) = delete;
    void finishInput(const std::string& text);
    CliResult wait(double timeoutSeconds = 60);

private:
    int pid_ = -1;
    int inFd_ = -1;
    int outFd_ = -1;
    int errFd_ = -1;
    bool done_ = false;
};
