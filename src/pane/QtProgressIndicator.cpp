#include "QtProgressIndicator.h"

#include <QProgressBar>

#include <algorithm>
#include <climits>

namespace {
// QProgressBar counts in ints; a download may be larger.
constexpr double kSteps = 10000;
}

QtProgressIndicator::QtProgressIndicator(QProgressBar* bar) : QtControl(bar), bar_(bar)
{
    QSizePolicy policy = bar->sizePolicy();
    policy.setRetainSizeWhenHidden(true);
    bar->setSizePolicy(policy);
    bar->setTextVisible(false);
    update();
}

void QtProgressIndicator::startAnimation()
{
    animating_ = true;
    update();
}

void QtProgressIndicator::stopAnimation()
{
    animating_ = false;
    update();
}

void QtProgressIndicator::setIndeterminate(bool indeterminate)
{
    indeterminate_ = indeterminate;
    update();
}

void QtProgressIndicator::setMaxValue(double value)
{
    max_ = value;
    update();
}

void QtProgressIndicator::setDoubleValue(double value)
{
    value_ = value;
    update();
}

void QtProgressIndicator::update()
{
    if (!bar_)
        return;
    if (indeterminate_) {
        bar_->setRange(0, animating_ ? 0 : 1);
        bar_->setValue(0);
        bar_->setVisible(animating_);
        return;
    }
    bar_->setRange(0, static_cast<int>(kSteps));
    double fraction = max_ > 0 ? std::clamp(value_ / max_, 0.0, 1.0) : 0.0;
    bar_->setValue(static_cast<int>(fraction * kSteps));
}
