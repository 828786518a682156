#pragma once

#include <string>
#include <vector>

// The privileged helper tool as the web server controller uses it: whether
// it is installed set-user-ID root, and one run of it with this process's
// authorization on its standard input. KLWebCheckClient is the real one.
class KLHelperTool
{
public:
    virtual ~KLHelperTool() = default;
    virtual bool isHelperSetUID() const = 0;
    // Installs the tool first when it is not set-user-ID root, then runs it
    // with "-mypath <tool>" followed by the arguments; returns its exit status
    // or 7 (authorization failed) or 2 (no external form).
    virtual int webcheckWithArgs(const std::vector<std::string>& arguments) const = 0;
};
