#pragma once

#include "QtStrings.h"

#include <QPointer>
#include <QWidget>

// The part of every outlet that any widget can answer. The widget belongs to
// its Qt parent; the outlet only points at it and goes quiet once it is gone.
template <class Base>
class QtControl : public Base
{
public:
    explicit QtControl(QWidget* widget) : widget_(widget) {}

    void setEnabled(bool enabled) override
    {
        if (widget_)
            widget_->setEnabled(enabled);
    }
    bool isEnabled() const override { return widget_ && widget_->isEnabled(); }
    void setHidden(bool hidden) override
    {
        if (widget_)
            widget_->setHidden(hidden);
    }
    bool isHidden() const override { return !widget_ || widget_->isHidden(); }
    void setToolTip(const std::string& toolTip) override
    {
        if (widget_)
            widget_->setToolTip(toQt(toolTip));
    }
    std::string toolTip() const override { return widget_ ? fromQt(widget_->toolTip()) : std::string(); }

    QWidget* widget() const { return widget_; }

private:
    QPointer<QWidget> widget_;
};
