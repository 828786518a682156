#include "PaneFixture.h"

#include "KLAccessCheck.h"
#include "KLApachePage.h"
#include "KLButtonCell.h"
#include "KLPopUpCell.h"
#include "KLFSDataSource.h"
#include "KLFSItem.h"
#include "KLFilterField.h"
#include "KLUserDefaults.h"
#include "KLUserItem.h"
#include "KLUserSheet.h"
#include "LoopbackHTTPServer.h"
#include "NSImageAndTextCell.h"
#include "QtImages.h"
#include "QtOutlineModel.h"
#include "QtTableModel.h"
#include "QtWarningCatcher.h"
#include "UrlCatcher.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextBrowser>
#include <QTabWidget>
#include <QTest>

#include <cstdio>
#include <fstream>

namespace {

std::string read(const std::string& path)
{
    return readFile(path);
}

// Presses keys in whatever menu is open, as the user would.
void pressInMenu(std::initializer_list<Qt::Key> keys)
{
    for (Qt::Key key : keys) {
        QWidget* menu = QApplication::activePopupWidget();
        ASSERT_TRUE(menu);
        QTest::keyClick(menu, key);
        PaneTestApp::settle();
    }
}

std::string nodeName(KLOutlineView& outline, int row)
{
    auto* node = static_cast<KLUserItem*>(outline.itemAtRow(row));
    return node ? node->value() : std::string();
}

TEST_F(PaneFixture, EveryOutletIsAWidgetOfThatName)
{
    const char* outlets[] = {
        "window", "tabs", "fendrelStatus", "userAddPanel", "userField", "errorField", "confirmField", "passField",
        "webDirOutline", "directoryMenu", "userAddressTabs", "userTable", "userEditButton", "userDeleteButton",
        "groupOutline", "groupDeleteButton", "addressMode", "addressTable", "addressDeleteButton",
        "addressDiscoverSwitch", "manualEditTabViewItem", "customViewText", "customSaveButton", "customRevertButton",
        "apacheTabViewItem", "userSortCheck", "groupSortCheck", "accessFileDeleteCheck", "userDeleteCheck",
        "groupDeleteCheck", "webDirFolder", "manualEditCheck", "customDirCheck", "remoteApacheCheck",
        "nameVersionText", "creditsText", "versionCheckButton", "versionCheckProgress", "launchVersionCheck",
        "lastCheckText", "helpWindow", "helpWebView", "passwordWarningField", "passwordHashMenu",
        // The web server tab.
        "apachectlBox", "toggleButton", "restartButton", "gracefulSwitch", "configCheckButton", "configCheckStatus",
        "configErrorView", "logBox", "logPicker", "logDisplayButton", "webcheckBox", "webcheckButton", "authView",
    };
    for (const char* name : outlets)
        EXPECT_TRUE(window->findChild<QWidget*>(name)) << name;
    EXPECT_EQ(window->findChild<QWidget*>("window"), &pane()) << "the controller sizes the window through the pane";
    EXPECT_EQ(window->windowTitle(), "Fendrel");
    EXPECT_EQ(pane().size(), QSize(670, 461)) << "the controller's content size";
    auto* status = pane().findChild<QLabel*>("fendrelStatus");
    EXPECT_EQ(status->text(), "Apache status not available") << "no web server controller here";
    EXPECT_TRUE(pane().findChild<QTextBrowser*>("helpWebView")->toPlainText().contains("Fendrel Help"));
    EXPECT_TRUE(pane().findChild<QTextBrowser*>("creditsText")->toPlainText().contains("Quillmoor"));
}

TEST_F(PaneFixture, TickingAUserRewritesTheFoldersAccessFile)
{
    clickFolder(DemoTree::kPrivate);
    ASSERT_NE(read(file("private/.htaccess")).find("Require user alice\n"), std::string::npos);
    KLTableView& users = *pane().userTable();
    QModelIndex bob = users.tableModel()->index(2, 0);
    ASSERT_EQ(users.tableModel()->index(2, 1).data().toString(), "bob");
    EXPECT_TRUE(bob.data(QtColumn::kEnabledRole).toBool()) << "the folder is password protected";
    users.setFocus();
    users.setCurrentIndex(bob);
    QTest::keyClick(&users, Qt::Key_Space);
    PaneTestApp::settle();
    EXPECT_NE(read(file("private/.htaccess")).find("Require user alice bob\n"), std::string::npos);
    EXPECT_EQ(bob.data(Qt::CheckStateRole).toInt(), Qt::Checked);

    clickFolder(DemoTree::kPublic);
    EXPECT_FALSE(users.tableModel()->index(2, 0).data(QtColumn::kEnabledRole).toBool())
        << "an unprotected folder's check boxes are off";
}

TEST_F(PaneFixture, DeleteKeyInTheUsersTableAsksBeforeDeletingTheUser)
{
    KLTableView& users = *pane().userTable();
    users.selectRow(1, false);
    PaneTestApp::settle();
    auto* deleteButton = pane().findChild<QAbstractButton*>("userDeleteButton");
    EXPECT_TRUE(deleteButton->isEnabled());
    users.setFocus();
    QTest::keyClick(&users, Qt::Key_Delete);
    PaneTestApp::settle();
    QMessageBox* box = openAlert();
    ASSERT_TRUE(box);
    EXPECT_EQ(box->text(), "Delete User");
    EXPECT_TRUE(box->informativeText().contains("\"alice\""));
    ASSERT_TRUE(answerAlert("No"));
    EXPECT_EQ(users.tableModel()->rowCount(), 4);

    QTest::keyClick(&users, Qt::Key_Delete);
    PaneTestApp::settle();
    ASSERT_TRUE(answerAlert("Yes"));
    EXPECT_EQ(users.tableModel()->rowCount(), 3);
    EXPECT_EQ(read(file(".htusers")).find("alice:"), std::string::npos);
}

TEST_F(PaneFixture, ReturnInTheGroupsOutlineKeepsARefusedNameAndTheFocus)
{
    QtWarningCatcher warnings;
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    KLOutlineView& groups = *pane().groupOutline();
    pane().findChild<QAbstractButton*>("addGroupButton")->click();
    PaneTestApp::settle();
    ASSERT_TRUE(groups.isEditing());
    auto* editor = groups.findChild<QLineEdit*>();
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->text(), "Group 1");
    EXPECT_EQ(QApplication::focusWidget(), editor);
    editor->setText("STAFF");
    QTest::keyClick(editor, Qt::Key_Return);
    PaneTestApp::settle();
    EXPECT_TRUE(groups.isEditing()) << "a name that exists (in any case) is refused";
    EXPECT_EQ(editor->text(), "STAFF");

    editor->setText("team");
    QTest::keyClick(editor, Qt::Key_Return);
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return !groups.isEditing(); }));
    int row = groups.selectedRow();
    EXPECT_EQ(groups.indexAtRow(row, 1).data().toString(), "team") << "the edited row stays selected";
    EXPECT_NE(read(file(".htgroups")).find("team:"), std::string::npos);
    EXPECT_EQ(QApplication::focusWidget(), &groups) << "the outline keeps the keyboard";
    EXPECT_EQ(warnings.containing("does not belong to this view"), QStringList());

    // The reload left the check box column current; the edit key still
    // renames the group.
    ASSERT_EQ(groups.currentIndex().column(), 0);
    QTest::keyClick(&groups, Qt::Key_F2);
    ASSERT_TRUE(groups.isEditing());
    editor = groups.findChild<QLineEdit*>();
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->text(), "team");
    QTest::keyClick(editor, Qt::Key_Escape);
    EXPECT_TRUE(PaneTestApp::waitFor([&] { return !groups.isEditing(); }));
}

TEST_F(PaneFixture, AUserDraggedOntoAGroupBecomesAMember)
{
    KLTableView& users = *pane().userTable();
    KLOutlineView& groups = *pane().groupOutline();
    users.selectRow(3, false); // carol
    std::unique_ptr<QMimeData> dragged(users.tableModel()->mimeData({users.tableModel()->index(3, 1)}));
    ASSERT_TRUE(dragged);
    EXPECT_FALSE(users.dragImageForRows({3}).isNull());

    int staffRow = -1;
    for (int row = 0; row < groups.numberOfRows(); ++row)
        if (groups.indexAtRow(row, 1).data().toString() == "staff")
            staffRow = row;
    ASSERT_GE(staffRow, 0);
    QPoint target = groups.visualRect(groups.indexAtRow(staffRow, 1)).center();
    QDragEnterEvent enter(target, Qt::CopyAction, dragged.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(groups.viewport(), &enter);
    QDragMoveEvent move(target, Qt::CopyAction, dragged.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(groups.viewport(), &move);
    EXPECT_TRUE(move.isAccepted()) << "a group takes users";
    QDropEvent drop(target, Qt::CopyAction, dragged.get(), Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(groups.viewport(), &drop);
    PaneTestApp::settle();
    std::string groupsFile = read(file(".htgroups"));
    std::string staff = groupsFile.substr(0, groupsFile.find('\n'));
    EXPECT_EQ(staff.rfind("staff:", 0), 0u) << groupsFile;
    EXPECT_NE(staff.find(" carol"), std::string::npos) << groupsFile;
    EXPECT_NE(staff.find(" alice"), std::string::npos) << groupsFile;
}

TEST_F(PaneFixture, AUserJoinsAndLeavesAGroupByKeyboardOnly)
{
    KLTableView& users = *pane().userTable();
    KLOutlineView& groups = *pane().groupOutline();
    users.setFocus();
    QTest::keyClick(&users, Qt::Key_Home);
    QTest::keyClick(&users, Qt::Key_End, Qt::ControlModifier);
    ASSERT_EQ(users.selectedRow(), 3) << "carol";
    QTest::keyClick(&users, Qt::Key_G, Qt::ControlModifier);
    PaneTestApp::settle();
    auto* menu = users.findChild<QMenu*>("userMenu");
    ASSERT_TRUE(menu && menu->isVisible());
    QMenu* join = menu->actions().front()->menu();
    ASSERT_TRUE(join);
    ASSERT_EQ(join->actions().size(), 2);
    EXPECT_TRUE(join->actions()[0]->isEnabled()) << "staff";
    EXPECT_FALSE(join->actions()[1]->isEnabled()) << "carol is in guests already, as a drop would find";
    pressInMenu({Qt::Key_Down, Qt::Key_Right, Qt::Key_Return});
    EXPECT_EQ(read(file(".htgroups")), "staff: carol alice bob \nguests: carol \n") << "written as a drop writes it";

    // The new member is shown under its group; the menu key and Return leave.
    groups.setFocus();
    QTest::keyClick(&groups, Qt::Key_Home);
    QTest::keyClick(&groups, Qt::Key_Down);
    ASSERT_EQ(nodeName(groups, groups.selectedRow()), "carol");
    QPoint at = groups.visualRect(groups.currentIndex()).center();
    QContextMenuEvent request(QContextMenuEvent::Keyboard, at, groups.viewport()->mapToGlobal(at));
    QApplication::sendEvent(groups.viewport(), &request);
    PaneTestApp::settle();
    auto* groupMenu = groups.findChild<QMenu*>("groupMenu");
    ASSERT_TRUE(groupMenu);
    EXPECT_EQ(groupMenu->actions().front()->text(), "Remove from Group");
    pressInMenu({Qt::Key_Down, Qt::Key_Return});
    QMessageBox* box = openAlert();
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->informativeText().contains("remove the user \"carol\" from the group \"staff\""));
    QTest::keyClick(box, Qt::Key_Return);
    PaneTestApp::settle();
    EXPECT_EQ(read(file(".htgroups")), "staff: alice bob \nguests: carol \n");

    // Delete on a member does the same.
    groups.setFocus();
    QTest::keyClick(&groups, Qt::Key_Home);
    QTest::keyClick(&groups, Qt::Key_Down);
    ASSERT_EQ(nodeName(groups, groups.selectedRow()), "alice");
    QTest::keyClick(&groups, Qt::Key_Delete);
    PaneTestApp::settle();
    ASSERT_TRUE(openAlert());
    QTest::keyClick(openAlert(), Qt::Key_Return);
    PaneTestApp::settle();
    EXPECT_EQ(read(file(".htgroups")), "staff: bob \nguests: carol \n");
}

TEST_F(PaneFixture, TheFilterNarrowsAHundredThousandUsersAndTicksTheRightOne)
{
    std::ofstream usersFile(file(".htusers"), std::ios::trunc);
    for (int i = 0; i < 100000; ++i) {
        char line[32];
        std::snprintf(line, sizeof line, "user%06d:abcdefghijklm\n", i);
        usersFile << line;
    }
    usersFile.close();
    pref().reloadUsersAndGroups();
    clickFolder(DemoTree::kPrivate);
    KLTableView& users = *pane().userTable();
    KLFilterField& filter = *pane().userFilter();
    ASSERT_EQ(users.tableModel()->rowCount(), 100001);

    struct Case
    {
        const char* typed;
        bool caseSensitive;
        int rows;
        const char* first;
    } cases[] = {
        {"USER04210", false, 10, "user042100"},
        {"USER04210", true, 0, ""},
        {"user04210\b", true, 100, "user042100"}, // a shorter text widens again
        {"valid", false, 1, "Any Valid User"},
    };
    for (const Case& c : cases) {
        KLUserDefaults::standardUserDefaults().setBool(c.caseSensitive, "Case Sensitive Compare");
        filter.clear();
        QTest::keyClicks(&filter, c.typed);
        EXPECT_EQ(users.tableModel()->rowCount(), c.rows) << c.typed;
        EXPECT_EQ(users.tableModel()->index(0, 1).data().toString(), c.first) << c.typed;
    }

    filter.clear();
    QTest::keyClicks(&filter, "user04210");
    QModelIndex shown = users.tableModel()->index(3, 0);
    ASSERT_EQ(shown.siblingAtColumn(1).data().toString(), "user042103");
    users.setFocus();
    users.setCurrentIndex(shown);
    QTest::keyClick(&users, Qt::Key_Space);
    PaneTestApp::settle();
    std::string access = read(file("private/.htaccess"));
    EXPECT_NE(access.find("Require user alice user042103\n"), std::string::npos) << access;
    EXPECT_EQ(users.selectedRow(), 42104) << "the source's row: the pseudo-user is row 0";
    EXPECT_TRUE(pane().findChild<QAbstractButton*>("userEditButton")->isEnabled());

    QTest::keyClick(&filter, Qt::Key_Escape);
    EXPECT_TRUE(filter.text().isEmpty());
    EXPECT_EQ(users.tableModel()->rowCount(), 100001);
    EXPECT_EQ(users.selectedRow(), 42104) << "the selection stays on the user";
}

TEST_F(PaneFixture, GroupRowsMatchUserRowsFilterByMemberAndTabInReadingOrder)
{
    KLTableView& users = *pane().userTable();
    KLOutlineView& groups = *pane().groupOutline();
    groups.expandAll();
    PaneTestApp::settle();
    ASSERT_EQ(groups.numberOfRows(), 5);
    QFont font = pane().font();
    for (double scale : {1.0, 1.5}) {
        font.setPointSizeF(pane().font().pointSizeF() * scale);
        pane().setFont(font);
        PaneTestApp::settle();
        for (int row = 0; row < groups.numberOfRows(); ++row)
            EXPECT_EQ(groups.visualRect(groups.indexAtRow(row, 1)).height(), users.rowHeight(0)) << scale << row;
        EXPECT_GE(users.rowHeight(0), std::max(users.fontMetrics().height(), NSImageAndTextCell::kImageSize)) << scale;
    }
    EXPECT_FALSE(groups.indexAtRow(1, 1).data(Qt::DecorationRole).isNull()) << "a member has the users' icon";

    QTest::keyClicks(pane().groupFilter(), "CAR");
    ASSERT_EQ(groups.numberOfRows(), 2) << "guests stays for its member carol";
    EXPECT_EQ(nodeName(groups, 1), "carol");
    QTest::keyClick(pane().groupFilter(), Qt::Key_Escape);
    EXPECT_EQ(groups.numberOfRows(), 5);

    const char* order[] = {"userFilterField", "userTable", "addUserButton", "userDeleteButton", "userEditButton",
                           "groupFilterField", "groupOutline", "addGroupButton"};
    users.selectRow(1, false); // the user buttons take the keyboard only when they act
    window->activateWindow();
    pane().findChild<QWidget*>("userFilterField")->setFocus();
    for (const char* name : order) {
        QWidget* focus = QApplication::focusWidget();
        ASSERT_TRUE(focus);
        EXPECT_EQ(focus->objectName(), name);
        QTest::keyClick(focus, Qt::Key_Tab);
    }
}

TEST_F(PaneFixture, TheManualEditorsQuestionHoldsBackAnotherFolder)
{
    pane().findChild<QAbstractButton*>("manualEditCheck")->click();
    PaneTestApp::settle();
    ASSERT_GE(pane().userAddressTabs()->indexOf(pane().findChild<QWidget*>("manualEditTabViewItem")), 0);
    clickFolder(DemoTree::kPrivate);
    QPlainTextEdit& editor = *pane().customViewText();
    EXPECT_NE(editor.toPlainText().toStdString().find("Require user alice"), std::string::npos);
    auto* save = pane().findChild<QAbstractButton*>("customSaveButton");
    EXPECT_FALSE(save->isEnabled());
    editor.moveCursor(QTextCursor::End);
    QTest::keyClick(&editor, Qt::Key_Return);
    QTest::keyClicks(&editor, "# mine");
    EXPECT_TRUE(save->isEnabled());

    clickFolder(DemoTree::kIntranet);
    ASSERT_TRUE(openAlert());
    EXPECT_EQ(openAlert()->text(), "Do you want to save manual editor changes?");
    ASSERT_TRUE(answerAlert("Cancel"));
    EXPECT_EQ(pane().webDirOutline()->selectedRow(), folderRow(DemoTree::kPrivate));
    EXPECT_TRUE(editor.toPlainText().contains("# mine"));

    clickFolder(DemoTree::kIntranet);
    ASSERT_TRUE(answerAlert("Don't Save"));
    EXPECT_EQ(pane().webDirOutline()->selectedRow(), folderRow(DemoTree::kIntranet));
    EXPECT_TRUE(editor.toPlainText().contains("Allow from 127.0.0.1"));
    EXPECT_EQ(read(file("private/.htaccess")).find("# mine"), std::string::npos);

    editor.moveCursor(QTextCursor::End);
    QTest::keyClick(&editor, Qt::Key_Return);
    QTest::keyClicks(&editor, "# kept");
    clickFolder(DemoTree::kPublic);
    ASSERT_TRUE(answerAlert("Save"));
    EXPECT_NE(read(file("intranet/.htaccess")).find("# kept"), std::string::npos);
    EXPECT_EQ(pane().webDirOutline()->selectedRow(), folderRow(DemoTree::kPublic));
}

TEST_F(PaneFixture, TheDeleteButtonOfTheSelectedFolderRemovesItsAccessFileAfterAsking)
{
    clickFolder(DemoTree::kPrivate);
    KLOutlineView& outline = *pane().webDirOutline();
    QModelIndex button = outline.indexAtRow(folderRow(DemoTree::kPrivate), 2);
    ASSERT_TRUE(button.data(QtColumn::kEnabledRole).toBool());
    QTest::mouseClick(outline.viewport(), Qt::LeftButton, {}, outline.visualRect(button).center());
    PaneTestApp::settle();
    ASSERT_TRUE(openAlert());
    EXPECT_EQ(openAlert()->text(), "Delete Access File");
    ASSERT_TRUE(answerAlert("Cancel"));
    EXPECT_TRUE(QFile::exists(QString::fromStdString(file("private/.htaccess"))));

    QTest::mouseClick(outline.viewport(), Qt::LeftButton, {}, outline.visualRect(button).center());
    PaneTestApp::settle();
    ASSERT_TRUE(answerAlert("Delete"));
    EXPECT_FALSE(QFile::exists(QString::fromStdString(file("private/.htaccess"))));
    EXPECT_FALSE(outline.indexAtRow(folderRow(DemoTree::kPrivate), 2).data(QtColumn::kEnabledRole).toBool());
}

TEST_F(PaneFixture, ChoosingAModeFromTheFoldersPopUpProtectsIt)
{
    KLOutlineView& outline = *pane().webDirOutline();
    QModelIndex mode = outline.indexAtRow(folderRow(DemoTree::kPublic), 1);
    EXPECT_EQ(mode.data().toString(), "None");
    QTest::mouseClick(outline.viewport(), Qt::LeftButton, {}, outline.visualRect(mode).center());
    QMenu* menu = pane().protectCell()->openMenu();
    ASSERT_TRUE(menu);
    QList<QAction*> actions = menu->actions();
    ASSERT_EQ(actions.size(), 5);
    EXPECT_EQ(actions[1]->text(), "Password");
    actions[1]->trigger();
    PaneTestApp::settle();
    EXPECT_EQ(outline.indexAtRow(folderRow(DemoTree::kPublic), 1).data().toString(), "Password");
    EXPECT_NE(read(file("public/.htaccess")).find("Require user fendreled"), std::string::npos)
        << "nobody may enter before someone is ticked";
}

TEST_F(PaneFixture, TheUserSheetShowsWhatIsWrongAndAddsTheUserWhenRight)
{
    pane().findChild<QAbstractButton*>("addUserButton")->click();
    PaneTestApp::settle();
    KLUserSheet& sheet = *pane().userSheet();
    ASSERT_TRUE(sheet.isVisible());
    EXPECT_EQ(sheet.windowModality(), Qt::WindowModal);
    QTest::keyClicks(sheet.userField(), "dave");
    QTest::keyClicks(sheet.passField(), "secret-long");
    EXPECT_TRUE(sheet.passwordWarningField()->text().startsWith("Only the first 8 characters of this password"));
    QTest::keyClicks(sheet.confirmField(), "secrets");
    sheet.okButton()->click();
    PaneTestApp::settle();
    EXPECT_TRUE(sheet.isVisible());
    EXPECT_EQ(sheet.errorField()->text(), "Passwords do not match");

    sheet.confirmField()->setText("secret-long");
    sheet.okButton()->click();
    PaneTestApp::settle();
    EXPECT_FALSE(sheet.isVisible());
    EXPECT_NE(read(file(".htusers")).find("dave:"), std::string::npos);
    EXPECT_EQ(pane().userTable()->model()->index(1, 2).data().toString(), "DES");

    // bcrypt chosen in the options: the warning goes, the whole password counts.
    auto* hashMenu = pane().findChild<QComboBox*>("passwordHashMenu");
    hashMenu->setCurrentIndex(1);
    emit hashMenu->activated(1);
    EXPECT_EQ(KLUserDefaults::standardUserDefaults().stringForKey("Password Hash"), "bcrypt");

    pane().findChild<QAbstractButton*>("addUserButton")->click();
    PaneTestApp::settle();
    QTest::keyClick(&sheet, Qt::Key_Escape);
    PaneTestApp::settle();
    EXPECT_FALSE(sheet.isVisible()) << "Escape cancels through the controller";
}

TEST_F(PaneFixture, ClosingWithUnsavedManualEditsAsksAndCancelKeepsThePane)
{
    pane().findChild<QAbstractButton*>("manualEditCheck")->click();
    clickFolder(DemoTree::kPrivate);
    pane().customViewText()->moveCursor(QTextCursor::End);
    QTest::keyClick(pane().customViewText(), Qt::Key_Return);
    QTest::keyClicks(pane().customViewText(), "# pending");
    bool left = false;
    QObject::connect(window.get(), &FendrelHostWindow::unselected, [&] { left = true; });

    window->close();
    PaneTestApp::settle();
    ASSERT_TRUE(answerAlert("Cancel"));
    EXPECT_TRUE(window->isVisible());
    EXPECT_FALSE(left);

    window->close();
    PaneTestApp::settle();
    ASSERT_TRUE(answerAlert("Save"));
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return !window->isVisible(); }));
    EXPECT_TRUE(left);
    EXPECT_NE(read(file("private/.htaccess")).find("# pending"), std::string::npos);
}

TEST_F(PaneFixture, ClosingWithoutEditsLeavesAtOnce)
{
    bool left = false;
    QObject::connect(window.get(), &FendrelHostWindow::unselected, [&] { left = true; });
    EXPECT_TRUE(window->close());
    EXPECT_TRUE(left);
    EXPECT_FALSE(openAlert());
}

TEST_F(PaneFixture, TheRemoteServerOptionTakesTheWebServerTabAwayAndBack)
{
    QTabWidget& tabs = *pane().tabs();
    QWidget* apache = pane().apachePage();
    EXPECT_GE(tabs.indexOf(apache), 0);
    auto* remote = pane().findChild<QAbstractButton*>("remoteApacheCheck");
    ASSERT_TRUE(remote->isEnabled()) << "the custom folder is allowed";
    remote->click();
    PaneTestApp::settle();
    EXPECT_EQ(tabs.indexOf(apache), -1);
    remote->click();
    PaneTestApp::settle();
    EXPECT_EQ(tabs.indexOf(apache), -1) << "without a web server controller the tab stays away";
}

TEST_F(PaneFixture, DoubleClickingAFolderOpensItsWebAddressAndHelpShowsTheHelpWindow)
{
    UrlCatcher desktop;
    KLOutlineView& outline = *pane().webDirOutline();
    QModelIndex folder = outline.indexAtRow(folderRow(DemoTree::kPublic));
    ASSERT_TRUE(outline.model()->hasChildren(folder));
    bool expanded = outline.isExpanded(folder);
    // What the platform sends for a double click: a click, then the second
    // press as a double click, then its release.
    QPoint at = outline.visualRect(folder).center();
    QTest::mouseClick(outline.viewport(), Qt::LeftButton, {}, at);
    QMouseEvent twice(QEvent::MouseButtonDblClick, at, outline.viewport()->mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(outline.viewport(), &twice);
    QTest::mouseRelease(outline.viewport(), Qt::LeftButton, {}, at);
    PaneTestApp::settle();
    ASSERT_EQ(desktop.urls.size(), 1);
    EXPECT_EQ(desktop.urls[0], "http://127.0.0.1/public");
    EXPECT_EQ(outline.isExpanded(outline.indexAtRow(folderRow(DemoTree::kPublic))), expanded)
        << "the double click does not open or close the folder";

    pane().findChild<QAbstractButton*>("revealWebDirButton")->click();
    ASSERT_EQ(desktop.urls.size(), 2);
    EXPECT_EQ(desktop.urls[1], QUrl::fromLocalFile(QString::fromStdString(root.path())).toString());

    EXPECT_FALSE(pane().findChild<QWidget*>("helpWindow")->isVisible());
    pane().findChild<QAbstractButton*>("helpButton")->click();
    EXPECT_TRUE(pane().findChild<QWidget*>("helpWindow")->isVisible());
    window->close();
    EXPECT_FALSE(pane().findChild<QWidget*>("helpWindow")->isVisible()) << "leaving the pane hides help";
}

TEST_F(PaneFixture, TheFolderMenuSelectsTheFolderAndSetsItsProtection)
{
    clickFolder(DemoTree::kPrivate);
    KLOutlineView& outline = *pane().webDirOutline();
    QPoint at = outline.visualRect(outline.indexAtRow(folderRow(DemoTree::kPublic))).center();
    QContextMenuEvent request(QContextMenuEvent::Keyboard, at, outline.viewport()->mapToGlobal(at));
    QApplication::sendEvent(outline.viewport(), &request);
    PaneTestApp::settle();
    EXPECT_EQ(outline.selectedRow(), folderRow(DemoTree::kPublic));
    auto* menu = outline.findChild<QMenu*>("folderMenu");
    ASSERT_TRUE(menu);
    QMenu* modes = menu->actions().first()->menu();
    ASSERT_TRUE(modes);
    EXPECT_FALSE(menu->actions()[1]->isEnabled()) << "the folder has no access file to remove";
    modes->actions()[2]->trigger();
    PaneTestApp::settle();
    EXPECT_EQ(outline.indexAtRow(folderRow(DemoTree::kPublic), 1).data().toString(), "Address");
    EXPECT_TRUE(QFile::exists(QString::fromStdString(file("public/.htaccess"))));
    menu->close();
}

} // namespace

TEST_F(PaneFixture, EachProtectedFolderShowsTheServersAnswerAndTheSelectedOneItsReason)
{
    const std::map<std::string, int> answers = {{"/private/", 401}, {"/shared/", 200}, {"/intranet/", 200}};
    LoopbackHTTPServer server([&](Socket& connection, const std::string& request) {
        auto found = answers.find(LoopbackHTTPServer::requestPath(request));
        connection.writeString("HTTP/1.1 " + std::to_string(found == answers.end() ? 404 : found->second) +
                               " X\r\n\r\n");
    });
    KLUserDefaults::standardUserDefaults().setObject(KLPlist(server.address()), "Apache Site Address");
    pane().findChild<QPushButton*>("webRefreshButton")->click();
    KLOutlineView& outline = *pane().webDirOutline();
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return folderRow(DemoTree::kShared) > 0 && server.requests().size() >= 3; }));

    struct Row
    {
        const char* folder;
        const char* image;
        std::string tip;
    };
    for (const Row& row : std::vector<Row>{
             {DemoTree::kPrivate, KLAccessCheck::kEnforcedImage, "Apache asks for a password"},
             {DemoTree::kShared, KLAccessCheck::kNotEnforcedImage, "Apache ignores the access file"},
             {DemoTree::kIntranet, KLAccessCheck::kCannotJudgeImage, "cannot be judged from this machine"},
             {DemoTree::kPublic, nullptr, ""},
         }) {
        QModelIndex verdict;
        ASSERT_TRUE(PaneTestApp::waitFor([&] {
            verdict = outline.indexAtRow(folderRow(row.folder), 3);
            return verdict.data(Qt::ToolTipRole).toString().contains(QString::fromStdString(row.tip));
        })) << row.folder << ": " << verdict.data(Qt::ToolTipRole).toString().toStdString();
        QIcon icon = qvariant_cast<QIcon>(verdict.data(Qt::DecorationRole));
        EXPECT_EQ(icon.isNull(), !row.image) << row.folder;
        if (row.image) {
            EXPECT_EQ(icon.pixmap(16).toImage(), QtImages::named(row.image).pixmap(16).toImage()) << row.folder;
        }
    }
    clickFolder(DemoTree::kShared);
    EXPECT_TRUE(pane().findChild<QLabel*>("accessCheckText")->text().startsWith("Not enforced: Apache ignores"));

    // Protecting another folder asks the server again.
    auto* publicItem = static_cast<KLFSItem*>(outline.itemAtRow(folderRow(DemoTree::kPublic)));
    pref().files()->setObjectValue(outline, KLPlist(1), KLFSDataSource::kProtectColumn, publicItem);
    EXPECT_TRUE(PaneTestApp::waitFor([&] {
        return outline.indexAtRow(folderRow(DemoTree::kPublic), 3).data(Qt::ToolTipRole).toString().contains(
            "does not serve this folder at /public/");
    }));
}

// Another program adds a user while the pane is shown: the table shows it
// soon, through the Qt run loop, and the selected user stays selected.
TEST_F(PaneFixture, AUserAddedByAnotherProgramShowsAndTheSelectionStays)
{
    KLTableView& users = *pane().userTable();
    users.selectRow(2, false);
    ASSERT_EQ(users.tableModel()->index(2, 1).data().toString(), "bob");
    std::string text = read(file(".htusers"));
    std::ofstream(file(".htusers")) << "zoe:abJnggxhB/yWI\n" << text;
    EXPECT_TRUE(PaneTestApp::waitFor([&] { return users.tableModel()->index(3, 1).data().toString() == "bob"; }, 10000));
    EXPECT_EQ(users.selectedRow(), 3);
}
