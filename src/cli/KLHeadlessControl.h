#pragma once

#include <string>

// What every headless outlet keeps of the control protocol: the command line
// reads it back (an enabled check box is one the pane lets the user tick).
template <class Base>
class KLHeadlessControl : public Base
{
public:
    void setEnabled(bool enabled) override { enabled_ = enabled; }
    bool isEnabled() const override { return enabled_; }
    void setHidden(bool hidden) override { hidden_ = hidden; }
    bool isHidden() const override { return hidden_; }
    void setToolTip(const std::string& toolTip) override { toolTip_ = toolTip; }
    std::string toolTip() const override { return toolTip_; }

private:
    bool enabled_ = true;
    bool hidden_ = false;
    std::string toolTip_;
};
