#pragma once

#include "KLWorkspace.h"

#include <string>
#include <vector>

// The desktop as the command line has it: nothing is opened; what would
// have been opened is kept for the command to print, and beeps are counted
// (the pane beeps when it refuses a typed address).
class KLPrintingWorkspace : public KLWorkspace
{
public:
    bool openURL(const std::string& url) override;
    bool openFile(const std::string& path) override;
    bool revealFolder(const std::string& path) override;
    void beep() override { ++beeps_; }

    const std::vector<std::string>& opened() const { return opened_; }
    int beeps() const { return beeps_; }

private:
    std::vector<std::string> opened_;
    int beeps_ = 0;
};
