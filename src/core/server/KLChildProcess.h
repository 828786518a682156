#pragma once

#include <optional>
#include <string>
#include <vector>

// Runs a program as a child process (posix_spawn, no shell) and waits for
// it. Standard input gets the given bytes (or the null device); standard
// output and error are captured, sent to the null device or inherited.
class KLChildProcess
{
public:
    enum class Output { Inherit, Discard, Capture };

    struct Result
    {
        // The exit status; -1 when the program could not be started or did
        // not exit normally.
        int status = -1;
        std::string output; // captured standard output
        std::string errors; // captured standard error
    };

    static Result run(const std::string& program, const std::vector<std::string>& arguments,
                      Output standardOutput, Output standardError,
                      const std::optional<std::string>& standardInput = std::nullopt);
};
