// Renders the pane's main views into PNG files for the documentation:
//   fendrel-screenshots <folder> [scaled]
// Run it on the offscreen platform (or under Xvfb). "scaled" draws the
// access tab once at 1.5 times the size, as a large-print desktop would.

#include "DemoTree.h"
#include "FendrelHostWindow.h"
#include "FendrelPref.h"
#include "KLFilterField.h"
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
#include <string>

namespace {

// At 1.5 times the size only the users page is kept, under its own name.
bool scaled = false;

bool save(const QImage& image, const QDir& folder, const char* name)
{
    if (scaled && std::string(name) != "access-users")
        return true;
    QString path = folder.filePath(QString(name) + (scaled ? "-1.5x" : "") + ".png");
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
    scaled = argc == 3 && std::string(argv[2]) == "scaled";
    if (argc != 2 && !scaled) {
        std::fprintf(stderr, "usage: fendrel-screenshots <folder> [scaled]\n");
        return 2;
    }
    ::setenv("FENDREL_LAYOUT", "debian", 1);
    if (scaled)
        ::setenv("QT_SCALE_FACTOR", "1.5", 1);
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

        pane.userFilter()->setText("al");
        pane.groupFilter()->setText("al");
        ScreenshotStage::settle();
        ok &= save(stage.shot(), folder, "access-users-filtered");
        pane.userFilter()->clear();
        pane.groupFilter()->clear();

        selectFolder(outline, DemoTree::kIntranet);
        showTab(pane.userAddressTabs(), "addresses");
        ok &= save(stage.shot(), folder, "access-addresses");

        selectFolder(outline, DemoTree::kShared);
        showTab(pane.userAddressTabs(), "custom");
        ok &= save(stage.shot(), folder, "access-manual");

        // The server's own answer: private enforced, shared ignored.
        showTab(pane.userAddressTabs(), "users");
        ok &= save(stage.shot(), folder, "access-verdicts");

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
        sheet.passField()->setText("secret-long");
        sheet.confirmField()->setText("secret-longer");
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
