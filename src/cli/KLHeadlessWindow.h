#pragma once

#include "KLWindow.h"

#include <algorithm>
#include <vector>

// A window or sheet without a screen: whether it is shown, and its sheets.
class KLHeadlessWindow : public KLWindow
{
public:
    void setContentSize(double, double) override {}
    void orderFront() override { visible_ = true; }
    void orderOut() override { visible_ = false; }
    bool isVisible() const override { return visible_; }
    void beginSheet(KLWindow& sheet) override { sheets_.push_back(&sheet); }
    void endSheet(KLWindow& sheet) override { std::erase(sheets_, &sheet); }
    void makeFirstResponder(const std::string&) override {}

    bool hasSheet(const KLWindow& sheet) const
    {
        return std::find(sheets_.begin(), sheets_.end(), &sheet) != sheets_.end();
    }

private:
    bool visible_ = false;
    std::vector<KLWindow*> sheets_;
};
