// Renders the pane's main views into PNG files for the documentation:
//   fendrel-screenshots <folder>
// Run it on the offscreen platform (or under Xvfb).

#include "DemoTree.h"
#include "FendrelHostWindow.h"
#include "FendrelPref.h"
#include "KLApachePage.h"
#include "KLOutlineView.h"
#include "KLRunLoop.h"
#include "KLTableView.h"
#include "KLUserSheet.h"
#include "QtRunLoop.h"
#include "ScreenshotStage.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>

#include <cstdio>
#include <cstdlib>

namespace {

bool save(const QImage& image, const QDir& folder, const char* name)
{
    QString path = folder.filePath(QString(name) + ".png");
    if (!image.save(path)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    return true;
}

void click(QWidget& in, const char* name)
{
    if (auto* button = in.findChild<QAbstractButton*>(name))
        button->click();
    ScreenshotStage::settle();
}

// Selects the folder of the outline's row with this name.
void selectFolder(KLOutlineView& outline, const QString& name)
{
    for (int row = 0; row < outline.numberOfRows(); ++row) {
        if (outline.indexAtRow(row).data().toString() == name) {
            outline.selectRow(row, false);
            break;
        }
    }
    ScreenshotStage::settle();
}

void showTab(QTabWidget* tabs, const char* identifier)
{
    for (int i = 0; i < tabs->count(); ++i)
        if (tabs->widget(i)->property("identifier").toString() == identifier)
            tabs->setCurrentIndex(i);
    ScreenshotStage::settle();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: fendrel-screenshots <folder>\n");
        return 2;
    }
    ::setenv("FENDREL_LAYOUT", "debian", 1);
    QApplication app(argc, argv);
    QApplication::setStyle("Fusion");
    KLRunLoop::setMain(std::make_shared<QtRunLoop>(&app));
    QDir folder(QString::fromLocal8Bit(argv[1]));
    if (!folder.mkpath(".")) {
        std::fprintf(stderr, "cannot make %s\n", argv[1]);
        return 1;
    }

    bool ok = true;
    {
        ScreenshotStage stage;
        QString error;
        if (!stage.setUp(error)) {
            std::fprintf(stderr, "%s\n", qPrintable(error));
            return 1;
        }
        FendrelPane& pane = *stage.window().pane();
        KLOutlineView& outline = *pane.webDirOutline();

        outline.expandItem(outline.itemAtRow(0));
        selectFolder(outline, DemoTree::kPrivate);
        pane.groupOutline()->expandAll();
        showTab(pane.userAddressTabs(), "users");
        ok &= save(stage.shot(), folder, "access-users");

        selectFolder(outline, DemoTree::kIntranet);
        showTab(pane.userAddressTabs(), "addresses");
        ok &= save(stage.shot(), folder, "access-addresses");

        selectFolder(outline, DemoTree::kShared);
        showTab(pane.userAddressTabs(), "custom");
        ok &= save(stage.shot(), folder, "access-manual");

        showTab(pane.tabs(), "apache");
        click(pane, "configCheckButton");
        ok &= save(stage.shot(), folder, "web-server");

        showTab(pane.tabs(), "options");
        ok &= save(stage.shot(), folder, "options");

        showTab(pane.tabs(), "about");
        ok &= save(stage.shot(), folder, "about");

        showTab(pane.tabs(), "access");
        showTab(pane.userAddressTabs(), "users");
        click(pane, "addUserButton");
        KLUserSheet& sheet = *pane.userSheet();
        sheet.userField()->setText("dave");
        sheet.passField()->setText("secret");
        sheet.confirmField()->setText("secrets");
        sheet.okButton()->click();
        ok &= save(stage.shot(), folder, "user-sheet");
        sheet.reject();
        ScreenshotStage::settle();

        // First runs: the access tab's last line and the web server tab say
        // what keeps the folders from being served, with the fixing button.
        stage.setServer(false, false);
        ok &= save(stage.shot(), folder, "first-run-stopped");
        stage.setServer(true, true);
        ok &= save(stage.shot(), folder, "first-run-ignored");
        showTab(pane.tabs(), "apache");
        ok &= save(stage.shot(), folder, "first-run-ignored-web-server");
    }
    KLRunLoop::setMain(nullptr);
    return ok ? 0 : 1;
}
