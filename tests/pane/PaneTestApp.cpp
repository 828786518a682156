#include "PaneTestApp.h"

#include "QtImages.h"
#include "QtRunLoop.h"

#include <QAbstractButton>
#include <QElapsedTimer>
#include <QTest>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace {

class QtEnvironment : public ::testing::Environment
{
    void SetUp() override
    {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
        static int argc = 1;
        static char name[] = "pane_tests";
        static char* argv[] = {name, nullptr};
        app_ = std::make_unique<QApplication>(argc, argv);
        QtImages::setUpTheme();
        KLRunLoop::setMain(std::make_shared<QtRunLoop>(app_.get()));
    }
    void TearDown() override { KLRunLoop::setMain(nullptr), app_.reset(); }
    std::unique_ptr<QApplication> app_;
};

const auto* const registered = ::testing::AddGlobalTestEnvironment(new QtEnvironment);

} // namespace

bool PaneTestApp::waitFor(const std::function<bool()>& predicate, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!predicate()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

void PaneTestApp::settle()
{
    for (int i = 0; i < 3; ++i) {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QTest::qWait(1);
    }
}

QMessageBox* PaneTestApp::openAlert(int timeoutMs)
{
    QMessageBox* box = nullptr;
    auto find = [&] {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* b = qobject_cast<QMessageBox*>(w); b && b->isVisible())
                box = b;
        return box != nullptr;
    };
    if (!find() && timeoutMs > 0)
        waitFor(find, timeoutMs);
    return box;
}

bool PaneTestApp::answerAlert(const QString& title)
{
    QMessageBox* box = openAlert();
    for (QAbstractButton* button : box ? box->buttons() : QList<QAbstractButton*>())
        if (button->text() == title) {
            button->click();
            settle();
            return true;
        }
    return false;
}
