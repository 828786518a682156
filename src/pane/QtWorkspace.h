#pragma once

#include "KLWorkspace.h"

// The desktop through QDesktopServices (the user's browser, file manager
// and default applications) and the application's beep.
class QtWorkspace : public KLWorkspace
{
public:
    bool openURL(const std::string& url) override;
    bool openFile(const std::string& path) override;
    bool revealFolder(const std::string& path) override;
    void beep() override;
};
