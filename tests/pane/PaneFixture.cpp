#include "PaneFixture.h"

#include <cstdlib>

void PaneFixture::SetUp()
{
    ::setenv("FENDREL_LAYOUT", "debian", 1);
    FendrelPref::initialize();
    KLUserDefaults& defaults = KLUserDefaults::standardUserDefaults();
    for (const auto& [key, value] : defaults.storedValues())
        defaults.removeDefaultForKey(key);
    std::string error;
    ASSERT_TRUE(DemoTree::create(root.path(), error)) << error;
    DemoTree::useAsRoot(root.path());
    defaults.setBool(false, "Check for Updates");
    window = std::make_unique<FendrelHostWindow>(apacheFactory);
    window->show();
    PaneTestApp::settle();
    DemoTree::protect(pref());
    pane().webDirOutline()->expandItem(pane().webDirOutline()->itemAtRow(0));
    PaneTestApp::settle();
}

void PaneFixture::TearDown()
{
    while (QMessageBox* box = openAlert())
        box->close();
    window.reset();
    PaneTestApp::settle();
}

void PaneFixture::press(const char* name)
{
    QAbstractButton* button = child(name);
    ASSERT_TRUE(button) << name;
    button->click();
    PaneTestApp::settle();
}

int PaneFixture::folderRow(const QString& name)
{
    for (int row = 0; row < folders().numberOfRows(); ++row)
        if (folders().indexAtRow(row).data().toString() == name)
            return row;
    return -1;
}

void PaneFixture::clickFolder(const QString& name)
{
    QModelIndex index = folders().indexAtRow(folderRow(name));
    ASSERT_TRUE(index.isValid()) << name.toStdString();
    QTest::mouseClick(folders().viewport(), Qt::LeftButton, {}, folders().visualRect(index).center());
    PaneTestApp::settle();
}
