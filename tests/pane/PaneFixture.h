#pragma once

#include "DemoTree.h"
#include "FendrelHostWindow.h"
#include "FendrelPref.h"
#include "KLOutlineView.h"
#include "KLTableView.h"
#include "KLUserDefaults.h"
#include "PaneTestApp.h"
#include "TempDir.h"

#include <QMessageBox>

#include <gtest/gtest.h>

#include <memory>

// The real pane in its host window over the demo tree (a custom protected
// folder in a temporary folder), without a web server controller; fresh
// settings for every test.
class PaneFixture : public ::testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    FendrelPane& pane() { return *window->pane(); }
    FendrelPref& pref() { return *pane().controller(); }
    std::string file(const std::string& name) const { return root.file(name); }

    // Selects the folder row with this name, as a click would.
    void clickFolder(const QString& name);
    int folderRow(const QString& name);
    // The open alert sheet, if any.
    static QMessageBox* openAlert();
    // Clicks the alert's button with this title; false when there is none.
    static bool answerAlert(const QString& title);

    TempDir root;
    // How the pane makes its web server controller; none by default.
    FendrelPane::ApacheFactory apacheFactory = [] { return std::shared_ptr<KLApacheController>(); };
    std::unique_ptr<FendrelHostWindow> window;
};
