#pragma once

#include "DemoTree.h"
#include "FendrelHostWindow.h"
#include "FendrelPref.h"
#include "KLOutlineView.h"
#include "KLTableView.h"
#include "KLUserDefaults.h"
#include "PaneTestApp.h"
#include "TempDir.h"

#include <QAbstractButton>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

#include <memory>

// The real pane in its host window over the demo tree (a custom protected
// folder in a temporary folder), without a web server controller unless a
// test gives a factory; fresh settings for every test.
class PaneFixture : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    FendrelPane& pane() { return *window->pane(); }
    FendrelPref& pref() { return *pane().controller(); }
    std::string file(const std::string& name) const { return root.file(name); }
    std::string read(const std::string& name) const { return readFile(root.file(name)); }
    template <class T = QAbstractButton> T* child(const char* name) { return pane().findChild<T*>(name); }
    KLTableView& users() { return *pane().userTable(); }
    KLOutlineView& groups() { return *pane().groupOutline(); }
    KLOutlineView& folders() { return *pane().webDirOutline(); }
    // Presses the key on the widget and lets the pane answer.
    static void key(QWidget* widget, Qt::Key key, Qt::KeyboardModifiers with = {}) { QTest::keyClick(widget, key, with), PaneTestApp::settle(); }
    // Clicks the pane's button with this name and lets the pane answer.
    void press(const char* name);

    // Selects the folder row with this name, as a click would.
    void clickFolder(const QString& name);
    int folderRow(const QString& name);
    static QMessageBox* openAlert(int timeoutMs = 0) { return PaneTestApp::openAlert(timeoutMs); }
    static bool answerAlert(const QString& title) { return PaneTestApp::answerAlert(title); }

    TempDir root;
    FendrelPane::ApacheFactory apacheFactory = [] { return std::shared_ptr<KLApacheController>(); };
    std::unique_ptr<FendrelHostWindow> window;
};
