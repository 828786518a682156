#pragma once

#include <optional>
#include <string>

// The person at the terminal, when there is one: prompts go to standard
// error, answers come from standard input.
class KLTerminal
{
public:
    // Whether standard input is a terminal.
    static bool isInteractive();
    // One line of standard input without its line end; nothing at its end.
    // A prompt is shown only on a terminal.
    static std::optional<std::string> readLine(const std::string& prompt);
    // Like readLine, with echo off on a terminal.
    static std::optional<std::string> readSecret(const std::string& prompt);
};
