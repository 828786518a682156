#include "KLPrintingWorkspace.h"

#include <cstdio>

namespace {
constexpr const char* kWouldOpen = "fendrelctl: would open %s\n";
}

bool KLPrintingWorkspace::show(const std::string& what)
{
    std::fprintf(stderr, kWouldOpen, what.c_str());
    return true;
}

bool KLPrintingWorkspace::openURL(const std::string& url)
{
    return show(url);
}

bool KLPrintingWorkspace::openFile(const std::string& path)
{
    return show(path);
}

bool KLPrintingWorkspace::revealFolder(const std::string& path)
{
    return show(path);
}
