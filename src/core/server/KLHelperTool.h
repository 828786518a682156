#pragma once

#include <string>
#include <vector>

// The privileged helper tool as its callers see it: whether it is installed
// set-user-ID root, and one run of it with the caller's authorization token
// on its standard input.
class KLHelperTool
{
public:
    // Results of webcheckWithArgs besides the tool's own exit status.
    static constexpr int kAuthorizationFailed = 7;
    static constexpr int kExternalFormFailed = 2;

    virtual ~KLHelperTool() = default;
    virtual bool isHelperSetUID() const = 0;
    // Installs the tool first when it is not set-user-ID root, then runs it
    // with "-mypath <tool>" followed by the arguments; returns its exit status.
    virtual int webcheckWithArgs(const std::vector<std::string>& arguments) = 0;
};
