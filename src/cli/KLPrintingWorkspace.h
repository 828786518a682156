#pragma once

#include "KLWorkspace.h"

#include <string>

// The desktop as the command line has it: nothing is opened; what would
// have been opened is printed on standard error, and beeps are counted (the
// pane beeps when it refuses a typed address).
class KLPrintingWorkspace : public KLWorkspace
{
public:
    bool openURL(const std::string& url) override;
    bool openFile(const std::string& path) override;
    bool revealFolder(const std::string& path) override;
    void beep() override { ++beeps_; }

    int beeps() const { return beeps_; }

private:
    static bool show(const std::string& what);

    int beeps_ = 0;
};
