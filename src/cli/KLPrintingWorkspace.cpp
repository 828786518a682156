#include "KLPrintingWorkspace.h"

bool KLPrintingWorkspace::openURL(const std::string& url)
{
    opened_.push_back(url);
    return true;
}

bool KLPrintingWorkspace::openFile(const std::string& path)
{
    opened_.push_back(path);
    return true;
}

bool KLPrintingWorkspace::revealFolder(const std::string& path)
{
    opened_.push_back(path);
    return true;
}
