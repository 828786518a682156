#pragma once

#include <stdexcept>
#include <string>

// The exit statuses of fendrelctl, as documented in its manual page.
enum class KLExitStatus : int {
    Success = 0,
    Failure = 1,       // anything else that went wrong
    Usage = 2,         // the command line itself is wrong
    Refused = 3,       // the input was refused by the pane's own checks
    NotFound = 4,      // no such folder, user, group, address or setting
    NotAuthorized = 5, // the administrator authorization was refused
    NotEnforced = 6,   // verify: a folder is not protected as its access file says, or the server does not answer
};

// A failure that ends the command: one line for standard error and the
// status the process exits with.
class KLCliError : public std::runtime_error
{
public:
    KLCliError(KLExitStatus status, const std::string& message) : std::runtime_error(message), status_(status) {}
    KLExitStatus status() const { return status_; }

private:
    KLExitStatus status_;
};
