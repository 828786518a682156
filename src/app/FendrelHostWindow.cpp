#include "FendrelHostWindow.h"

#include "FendrelPref.h"
#include "QtImages.h"

#include <QCloseEvent>
#include <QTimer>

FendrelHostWindow::FendrelHostWindow(FendrelPane::ApacheFactory apacheFactory, QWidget* parent)
    : QMainWindow(parent), pane_(new FendrelPane)
{
    setObjectName("hostWindow");
    setWindowTitle(kTitle);
    setWindowIcon(QtImages::named("fendrel"));
    setCentralWidget(pane_);
    pane_->loadController(std::move(apacheFactory));
    pane_->controller()->setUnselectReplyHandler([this](bool leave) {
        waitingForReply_ = false;
        if (!leave)
            return;
        leaving_ = true;
        // The reply comes from inside the question's answer; close after it.
        QTimer::singleShot(0, this, &QWidget::close);
    });
    resize(sizeHint());
}

void FendrelHostWindow::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    if (selected_)
        return;
    selected_ = true;
    pane_->controller()->didSelect();
}

void FendrelHostWindow::closeEvent(QCloseEvent* event)
{
    if (!selected_) {
        event->accept();
        return;
    }
    if (leaving_) {
        unselect();
        event->accept();
        return;
    }
    event->ignore();
    if (waitingForReply_)
        return;
    switch (pane_->controller()->shouldUnselect()) {
    case KLUnselectReply::Now:
        unselect();
        event->accept();
        break;
    case KLUnselectReply::Later:
        waitingForReply_ = true;
        break;
    case KLUnselectReply::Cancel:
        break;
    }
}

void FendrelHostWindow::unselect()
{
    selected_ = false;
    leaving_ = false;
    pane_->controller()->didUnselect();
    emit unselected();
}
