#pragma once

#include "KLCliOptions.h"
#include "KLCliOutput.h"

#include <functional>

// One run of fendrelctl: its global options, its output, and the command
// chosen on the command line, run once parsing is complete.
class KLCliSession
{
public:
    KLCliOptions options;
    KLCliOutput output;

    void setAction(std::function<void()> action) { action_ = std::move(action); }
    bool hasAction() const { return static_cast<bool>(action_); }
    void run();

private:
    std::function<void()> action_;
};
