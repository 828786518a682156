#pragma once

#include "KLButton.h"
#include "KLHeadlessControl.h"

// A button or check box without a window: its title and state.
class KLHeadlessButton : public KLHeadlessControl<KLButton>
{
public:
    void setTitle(const std::string& title) override { title_ = title; }
    std::string title() const override { return title_; }
    void setState(int state) override { state_ = state; }
    int state() const override { return state_; }

private:
    std::string title_;
    int state_ = 0;
};
