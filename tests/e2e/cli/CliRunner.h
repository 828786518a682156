#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

// Runs the built fendrelctl as a user would: arguments, text on standard
// input (a pipe, so never a terminal), and the environment of the test
// process (its private HOME and settings folder). A run that takes longer
// than the timeout is killed and counts as a failure.
struct CliResult
{
    int status = -1; // exit status; -1 when killed or not started
    std::string out;
    std::string err;

    nlohmann::json json() const; // standard output parsed as JSON (discarded on garbage)
};

std::string fendrelctlPath();
CliResult runCli(const std::vector<std::string>& args, const std::string& input = {}, double timeoutSeconds = 60);

// Runs fendrelctl on a pseudo-terminal, as a person at a terminal would:
// each reply is typed once its prompt has appeared. The terminal's output
// (prompts and messages, standard output and error alike) is the result's
// `out`.
struct TerminalExchange
{
    std::string prompt;
    std::string reply;
};
CliResult runCliOnTerminal(const std::vector<std::string>& args, const std::vector<TerminalExchange>& exchanges,
                           double timeoutSeconds = 30);

// A process started and left running, for runs that must overlap.
class CliProcess
{
public:
    // Standard input gets `input` and ends, unless `keepInputOpen`: then the
    // process waits for whatever finishInput() sends.
    CliProcess(const std::vector<std::string>& args, const std::string& input = {}, bool keepInputOpen = false);
    ~CliProcess();
    CliProcess(const CliProcess&) = delete;
    CliProcess& operator=(const CliProcess&) = delete;
    // Sends more text and ends standard input.
    void finishInput(const std::string& text);
    CliResult wait(double timeoutSeconds = 60);

private:
    void send(const std::string& text);

    int pid_ = -1;
    int inFd_ = -1;
    int outFd_ = -1;
    int errFd_ = -1;
    bool done_ = false;
};
