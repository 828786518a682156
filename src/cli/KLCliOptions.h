#pragma once

#include <string>

// The global options of fendrelctl.
struct KLCliOptions
{
    std::string root; // protected folder root for this run; empty: the stored one
    bool json = false;
    bool yes = false;
};
