#pragma once

#include "KLProgressIndicator.h"
#include "QtControl.h"

#include <QProgressBar>

// A QProgressBar as a KLProgressIndicator. An indeterminate indicator is
// busy while animating and hidden when stopped (its place is kept).
class QtProgressIndicator : public QtControl<KLProgressIndicator>
{
public:
    explicit QtProgressIndicator(QProgressBar* bar);

    void startAnimation() override;
    void stopAnimation() override;
    bool isAnimating() const override { return animating_; }
    void setIndeterminate(bool indeterminate) override;
    void setMaxValue(double value) override;
    void setDoubleValue(double value) override;
    double doubleValue() const override { return value_; }

private:
    void update();

    QPointer<QProgressBar> bar_;
    bool animating_ = false;
    bool indeterminate_ = true;
    double max_ = 100;
    double value_ = 0;
};
