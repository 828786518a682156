#pragma once

#include "KLHeadlessControl.h"
#include "KLProgressIndicator.h"

// A progress indicator without a window.
class KLHeadlessProgressIndicator : public KLHeadlessControl<KLProgressIndicator>
{
public:
    void startAnimation() override { animating_ = true; }
    void stopAnimation() override { animating_ = false; }
    bool isAnimating() const override { return animating_; }
    void setIndeterminate(bool) override {}
    void setMaxValue(double) override {}
    void setDoubleValue(double value) override { value_ = value; }
    double doubleValue() const override { return value_; }

private:
    bool animating_ = false;
    double value_ = 0;
};
