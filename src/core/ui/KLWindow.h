#pragma once

#include <string>

// A window or sheet outlet.
class KLWindow
{
public:
    virtual ~KLWindow() = default;
    virtual void setContentSize(double width, double height) = 0;
    virtual void orderFront() = 0;
    virtual void orderOut() = 0;
    virtual bool isVisible() const = 0;
    // Shows another window as a sheet on this one, or ends it.
    virtual void beginSheet(KLWindow& sheet) = 0;
    virtual void endSheet(KLWindow& sheet) = 0;
    // Moves keyboard focus to the named control of this window.
    virtual void makeFirstResponder(const std::string& controlName) = 0;
};
