#pragma once

#include <string>

// The desktop around the pane.
class KLWorkspace
{
public:
    virtual ~KLWorkspace() = default;
    virtual bool openURL(const std::string& url) = 0;
    // Opens a file with its default application (a log file in a viewer).
    virtual bool openFile(const std::string& path) = 0;
    // Shows a folder in the file browser.
    virtual bool revealFolder(const std::string& path) = 0;
    virtual void beep() = 0;
};
