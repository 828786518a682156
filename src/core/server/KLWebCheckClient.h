#pragma once

#include "KLHelperTool.h"

#include <string>
#include <vector>

// Runs the privileged helper tool WebCheck. Before each run it makes sure the
// tool is installed set-user-ID root (through pkexec, or directly when this
// process already runs as root), then starts it with "-mypath" <helperPath>
// followed by the given arguments, this process's authorization in external
// form (KLAuthorization) on its standard input, and waits for it.
//
//   webcheckWithArgs({"-operation", "webcheck", "-file", conf, "-data", temp})
//   webcheckWithArgs({"-operation", "ctl", "-data", "graceful"})
class KLWebCheckClient : public KLHelperTool
{
public:
    // Results besides the tool's own exit status (see `WebCheck --help`).
    static constexpr int kAuthorizationFailed = 7; // installing the tool was refused or failed
    static constexpr int kExternalFormFailed = 2;  // the external form could not be made
    static constexpr int kToolNotStarted = 127;    // the tool could not be started

    // pkexec runs the self-install when not root; tests give a stub.
    explicit KLWebCheckClient(std::string helperPath, std::string pkexecPath = "/usr/bin/pkexec");

    const std::string& helperPath() const { return helperPath_; }

    // True exactly when the file at helperPath (links followed) is owned by
    // uid 0 and has the set-user-ID bit.
    bool isHelperSetUID() const override;

    // The tool's exit status (128 + signal when a signal ended it), or one of
    // the results above. Blocks until the tool has exited.
    int webcheckWithArgs(const std::vector<std::string>& args) const override;

private:
    int selfInstall() const;

    std::string helperPath_;
    std::string pkexecPath_;
};
