#include "QtWindow.h"

#include "QtStrings.h"

#include <QDialog>
#include <QLineEdit>
#include <QWidget>

QtWindow::QtWindow(QWidget* widget) : widget_(widget)
{
}

void QtWindow::setContentSize(double width, double height)
{
    if (!widget_)
        return;
    QSize size(static_cast<int>(width), static_cast<int>(height));
    widget_->setProperty(kContentSizeProperty, size);
    widget_->updateGeometry();
    if (widget_->isWindow()) {
        widget_->resize(size);
    } else if (QWidget* top = widget_->window(); top->isVisible()) {
        top->resize(top->size() + (size - widget_->size()));
    }
}

void QtWindow::orderFront()
{
    if (!widget_)
        return;
    widget_->show();
    widget_->raise();
    widget_->activateWindow();
}

void QtWindow::orderOut()
{
    if (widget_)
        widget_->hide();
}

bool QtWindow::isVisible() const
{
    return widget_ && widget_->isVisible();
}

void QtWindow::beginSheet(KLWindow& sheet)
{
    auto* qtSheet = dynamic_cast<QtWindow*>(&sheet);
    if (!qtSheet || !qtSheet->widget_ || !widget_)
        return;
    QWidget* sheetWidget = qtSheet->widget_;
    if (sheetWidget->parentWidget() != widget_->window())
        sheetWidget->setParent(widget_->window(), sheetWidget->windowFlags() | Qt::Sheet | Qt::Dialog);
    sheetWidget->setWindowModality(Qt::WindowModal);
    if (auto* dialog = qobject_cast<QDialog*>(sheetWidget))
        dialog->open();
    else
        sheetWidget->show();
}

void QtWindow::endSheet(KLWindow& sheet)
{
    auto* qtSheet = dynamic_cast<QtWindow*>(&sheet);
    if (qtSheet && qtSheet->widget_)
        qtSheet->widget_->hide();
}

void QtWindow::makeFirstResponder(const std::string& controlName)
{
    if (!widget_)
        return;
    auto* control = widget_->findChild<QWidget*>(toQt(controlName));
    if (!control)
        return;
    control->setFocus(Qt::OtherFocusReason);
    if (auto* edit = qobject_cast<QLineEdit*>(control))
        edit->selectAll();
}
