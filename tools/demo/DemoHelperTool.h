#pragma once

#include "KLHelperTool.h"

class ApacheSandbox;

// The helper tool of the demo: instead of running WebCheck as root against
// the system's server, it starts, stops and restarts the demo's private
// server, replaces only that server's configuration file and turns on only
// the modules WebCheck would.
class DemoHelperTool : public KLHelperTool
{
public:
    explicit DemoHelperTool(ApacheSandbox& sandbox) : sandbox_(sandbox) {}

    bool isHelperSetUID() const override { return true; }
    int webcheckWithArgs(const std::vector<std::string>& arguments) const override;

private:
    ApacheSandbox& sandbox_;
};
