#pragma once

#include <string>

// What the controller may ask of any control outlet.
class KLControl
{
public:
    virtual ~KLControl() = default;
    virtual void setEnabled(bool enabled) = 0;
    virtual bool isEnabled() const = 0;
    virtual void setHidden(bool hidden) = 0;
    virtual bool isHidden() const = 0;
    virtual void setToolTip(const std::string& toolTip) = 0;
    virtual std::string toolTip() const = 0;
};
