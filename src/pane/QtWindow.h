#pragma once

#include "KLWindow.h"

#include <QPointer>
#include <QSize>

#include <QWidget>

// A window or sheet as a KLWindow. The pane's own window outlet is the pane
// widget: its content size is the size the host window gives the pane. A
// sheet is a QDialog shown modal to this window.
class QtWindow : public KLWindow
{
public:
    // The property holding the content size the pane asks for.
    static constexpr const char* kContentSizeProperty = "contentSize";

    explicit QtWindow(QWidget* widget);

    void setContentSize(double width, double height) override;
    void orderFront() override;
    void orderOut() override;
    bool isVisible() const override;
    void beginSheet(KLWindow& sheet) override;
    void endSheet(KLWindow& sheet) override;
    void makeFirstResponder(const std::string& controlName) override;

    QWidget* widget() const { return widget_; }

private:
    QPointer<QWidget> widget_;
};
