#pragma once

#include "KLCliOptions.h"
#include "KLCliOutput.h"
#include "KLFileLock.h"

#include <functional>
#include <memory>

class KLCliController;

// One run of fendrelctl: its global options, its output, the command chosen
// on the command line (run once parsing is complete) and, for commands that
// need it, the pane's controller.
class KLCliSession
{
public:
    KLCliSession();
    ~KLCliSession();

    KLCliOptions options;
    KLCliOutput output;

    void setAction(std::function<void()> action) { action_ = std::move(action); }
    void run();

    // The controller, awake over headless views, for a command that reads
    // (Shared) or changes (Exclusive) the protected folder tree and its users
    // and groups files. The root folder is locked first and stays locked
    // until the run ends, so another fendrelctl that changes the same files
    // waits for this one's whole read-modify-write.
    KLCliController& controller(KLFileLock::Mode mode);

private:
    std::function<void()> action_;
    std::unique_ptr<KLFileLock> lock_;
    std::unique_ptr<KLCliController> controller_;
};
