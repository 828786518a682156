#pragma once

#include "KLControl.h"

// A spinning (indeterminate) or filling (determinate) progress indicator.
class KLProgressIndicator : public KLControl
{
public:
    virtual void startAnimation() = 0;
    virtual void stopAnimation() = 0;
    virtual bool isAnimating() const = 0;
    virtual void setIndeterminate(bool indeterminate) = 0;
    virtual void setMaxValue(double value) = 0;
    virtual void setDoubleValue(double value) = 0;
    virtual double doubleValue() const = 0;
};
