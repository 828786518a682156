#include "KLHelpWindow.h"

#include "KLBundle.h"
#include "QtStrings.h"

#include <QTextBrowser>
#include <QVBoxLayout>

namespace {
constexpr const char* kTitle = "Fendrel Help";
constexpr int kWidth = 620;
constexpr int kHeight = 540;
} // namespace

KLHelpWindow::KLHelpWindow(QWidget* parent) : QWidget(parent, Qt::Window)
{
    setObjectName("helpWindow");
    setWindowTitle(kTitle);
    browser_ = new QTextBrowser;
    browser_->setObjectName("helpWebView");
    browser_->setOpenExternalLinks(true);
    // Pictures of the page are found beside it.
    browser_->setSearchPaths({toQt(KLBundle::main().resourcePath())});
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(browser_);
    resize(kWidth, kHeight);
}
