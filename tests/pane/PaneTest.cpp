#include "PaneFixture.h"

#include "KLAccessCheck.h"
#include "KLApachePage.h"
#include "KLFSDataSource.h"
#include "KLFSItem.h"
#include "KLFilterField.h"
#include "KLPopUpCell.h"
#include "KLUserItem.h"
#include "KLUpdatePanel.h"
#include "KLUserSheet.h"
#include "LoopbackHTTPServer.h"
#include "QtImages.h"
#include "QtTableModel.h"
#include "UrlCatcher.h"
#include "VersionsReply.h"

#include <QAbstractItemModelTester>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QTabWidget>
#include <QTextBrowser>

#include <gmock/gmock.h>

#include <fstream>
#include <iomanip>

namespace {

using testing::HasSubstr;

// Qt's warnings while a test listens, so that it can fail on one.
QStringList warnings;
QtMessageHandler previousHandler = nullptr;
void listen(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtWarningMsg)
        warnings << message;
    if (previousHandler)
        previousHandler(type, context, message);
}

void pressInMenu(std::initializer_list<Qt::Key> keys)
{
    for (Qt::Key key : keys) {
        ASSERT_TRUE(QApplication::activePopupWidget());
        QTest::keyClick(QApplication::activePopupWidget(), key);
        PaneTestApp::settle();
    }
}

std::string nodeName(KLOutlineView& outline, int row)
{
    auto* node = static_cast<KLUserItem*>(outline.itemAtRow(row));
    return node ? node->value() : std::string();
}

// Asks for the view's context menu on this row from the keyboard.
void requestMenu(QAbstractItemView& view, const QModelIndex& index)
{
    QPoint at = view.visualRect(index).center();
    QContextMenuEvent request(QContextMenuEvent::Keyboard, at, view.viewport()->mapToGlobal(at));
    QApplication::sendEvent(view.viewport(), &request);
    PaneTestApp::settle();
}

void appendLine(QPlainTextEdit& editor, const char* line)
{
    editor.moveCursor(QTextCursor::End);
    QTest::keyClick(&editor, Qt::Key_Return);
    QTest::keyClicks(&editor, line);
}

TEST_F(PaneFixture, TheWindowShowsThePaneAtTheControllersSizeWithoutAWebServerTab)
{
    EXPECT_EQ(window->findChild<QWidget*>("window"), &pane()) << "the controller sizes the window through the pane";
    EXPECT_EQ(window->windowTitle(), "Fendrel");
    EXPECT_EQ(pane().size(), QSize(670, 461)) << "the controller's content size";
    // Without a controller the remote server option takes the web server tab away for good.
    QWidget* apache = pane().apachePage();
    EXPECT_GE(pane().tabs()->indexOf(apache), 0);
    ASSERT_TRUE(child("remoteApacheCheck")->isEnabled()) << "the custom folder is allowed";
    press("remoteApacheCheck");
    EXPECT_EQ(pane().tabs()->indexOf(apache), -1);
    press("remoteApacheCheck");
    EXPECT_EQ(pane().tabs()->indexOf(apache), -1);
    EXPECT_TRUE(child<QTextBrowser>("helpWebView")->toPlainText().contains("Fendrel Help"));
    EXPECT_TRUE(child<QTextBrowser>("creditsText")->toPlainText().contains("Quillmoor"));
}

TEST_F(PaneFixture, TickingAUserRewritesTheFoldersAccessFile)
{
    clickFolder(DemoTree::kPrivate);
    ASSERT_THAT(read("private/.htaccess"), HasSubstr("Require user alice\n"));
    QAbstractItemModelTester tester(users().model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    QModelIndex bob = users().tableModel()->index(2, 0);
    EXPECT_FALSE(users().tableModel()->setData(bob, Qt::Checked, Qt::DisplayRole)) << "only a check or an edit counts";
    ASSERT_EQ(bob.siblingAtColumn(1).data().toString(), "bob");
    EXPECT_TRUE(bob.data(QtColumn::kEnabledRole).toBool()) << "the folder is password protected";
    users().setFocus();
    users().setCurrentIndex(bob);
    key(&users(), Qt::Key_Space);
    EXPECT_THAT(read("private/.htaccess"), HasSubstr("Require user alice bob\n"));
    EXPECT_EQ(bob.data(Qt::CheckStateRole).toInt(), Qt::Checked);
    // The roles a delegate asks for together answer as they do one by one.
    for (const QModelIndex& index : {bob, users().tableModel()->index(0, 0), bob.siblingAtColumn(1)}) {
        QModelRoleData roles[] = {QModelRoleData(Qt::DisplayRole), QModelRoleData(Qt::CheckStateRole),
                                  QModelRoleData(QtColumn::kEnabledRole), QModelRoleData(QtColumn::kSummaryRole)};
        users().tableModel()->multiData(index, roles);
        for (const QModelRoleData& role : roles)
            EXPECT_EQ(role.data(), index.data(role.role())) << role.role();
    }
    clickFolder(DemoTree::kPublic);
    EXPECT_FALSE(users().tableModel()->index(2, 0).data(QtColumn::kEnabledRole).toBool())
        << "an unprotected folder's check boxes are off";
}

TEST_F(PaneFixture, DeleteKeyInTheUsersTableAsksBeforeDeletingTheUser)
{
    users().setFocus();
    users().selectRow(1, false);
    key(&users(), Qt::Key_Delete, Qt::ControlModifier);
    EXPECT_FALSE(openAlert()) << "a modified key is no delete";
    EXPECT_TRUE(child("userDeleteButton")->isEnabled());
    const std::pair<const char*, int> answers[] = {{"No", 4}, {"Yes", 3}};
    for (const auto& [answer, rows] : answers) {
        key(&users(), Qt::Key_Delete);
        ASSERT_TRUE(openAlert());
        EXPECT_EQ(openAlert()->text(), "Delete User");
        EXPECT_TRUE(openAlert()->informativeText().contains("\"alice\""));
        ASSERT_TRUE(answerAlert(answer));
        EXPECT_EQ(users().tableModel()->rowCount(), rows) << answer;
    }
    EXPECT_THAT(read(".htusers"), testing::Not(HasSubstr("alice:")));
}

TEST_F(PaneFixture, ReturnInTheGroupsOutlineKeepsARefusedNameAndTheFocus)
{
    warnings.clear();
    previousHandler = qInstallMessageHandler(listen);
    window->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    press("addGroupButton");
    ASSERT_TRUE(groups().isEditing());
    auto* editor = groups().findChild<QLineEdit*>();
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->text(), "Group 1");
    EXPECT_EQ(QApplication::focusWidget(), editor);
    editor->setText("STAFF");
    key(editor, Qt::Key_Return);
    EXPECT_TRUE(groups().isEditing()) << "a name that exists (in any case) is refused";
    EXPECT_EQ(editor->text(), "STAFF");
    editor->setText("team");
    QTest::keyClick(editor, Qt::Key_Return);
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return !groups().isEditing(); }));
    EXPECT_EQ(groups().indexAtRow(groups().selectedRow(), 1).data().toString(), "team") << "the edited row stays selected";
    EXPECT_THAT(read(".htgroups"), HasSubstr("team:"));
    EXPECT_EQ(QApplication::focusWidget(), &groups()) << "the outline keeps the keyboard";
    qInstallMessageHandler(previousHandler);
    EXPECT_EQ(warnings.filter("does not belong to this view"), QStringList());

    // The reload left the check box column current; the edit key still
    // renames, and Escape drops the edit without asking or writing.
    ASSERT_EQ(groups().currentIndex().column(), 0);
    std::string before = read(".htgroups");
    QTest::keyClick(&groups(), Qt::Key_F2);
    ASSERT_TRUE(groups().isEditing() && (editor = groups().findChild<QLineEdit*>()));
    EXPECT_EQ(editor->text(), "team");
    editor->setText("guests");
    QTest::keyClick(editor, Qt::Key_Escape);
    EXPECT_TRUE(PaneTestApp::waitFor([&] { return !groups().isEditing(); }));
    EXPECT_FALSE(openAlert());
    EXPECT_EQ(read(".htgroups"), before);
}

TEST_F(PaneFixture, AUserDraggedOntoAGroupBecomesAMember)
{
    users().selectRow(3, false); // carol
    std::unique_ptr<QMimeData> dragged(users().tableModel()->mimeData({users().tableModel()->index(3, 1)}));
    ASSERT_TRUE(dragged);
    EXPECT_FALSE(users().tableModel()->mimeData({users().tableModel()->index(0, 1)})) << "the pseudo-user stays";
    EXPECT_FALSE(users().dragImageForRows({3}).isNull());
    groups().expandAll();
    ASSERT_EQ(groups().indexAtRow(0, 1).data().toString(), "staff");
    EXPECT_FALSE(groups().model()->canDropMimeData(dragged.get(), Qt::CopyAction, -1, -1, groups().indexAtRow(1, 1)))
        << "a member is no group";
    QPoint target = groups().visualRect(groups().indexAtRow(0, 1)).center();
    QDragEnterEvent enter(target, Qt::CopyAction, dragged.get(), Qt::LeftButton, Qt::NoModifier);
    QDragMoveEvent move(target, Qt::CopyAction, dragged.get(), Qt::LeftButton, Qt::NoModifier);
    QDropEvent drop(target, Qt::CopyAction, dragged.get(), Qt::LeftButton, Qt::NoModifier);
    for (QEvent* event : std::initializer_list<QEvent*>{&enter, &move, &drop})
        QApplication::sendEvent(groups().viewport(), event);
    PaneTestApp::settle();
    EXPECT_TRUE(move.isAccepted()) << "a group takes users";
    EXPECT_EQ(read(".htgroups"), "staff: carol alice bob \nguests: carol \n");
    EXPECT_EQ(nodeName(groups(), 1), "carol");
}

TEST_F(PaneFixture, TheGroupsOutlineShowsMembersUnderGroupsAndKeepsThemOpenOverAReload)
{
    QAbstractItemModelTester tester(groups().model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    groups().collapseAll();
    ASSERT_EQ(groups().numberOfRows(), 2);
    groups().expandItem(groups().itemAtRow(0));
    ASSERT_EQ(groups().numberOfRows(), 4);
    EXPECT_EQ(nodeName(groups(), 2), "bob");
    EXPECT_FALSE(groups().indexAtRow(1, 1).data(Qt::DecorationRole).isNull()) << "a member has the users' icon";
    QModelIndex alice = groups().indexAtRow(1, 1);
    EXPECT_EQ(alice.parent(), groups().indexAtRow(0));
    EXPECT_TRUE(groups().indexAtRow(0, 0).data(Qt::CheckStateRole).isValid());
    EXPECT_FALSE(groups().indexAtRow(1, 0).data(Qt::CheckStateRole).isValid()) << "a member shows no check box";
    groups().setFocus();
    groups().setCurrentIndex(alice);
    QTest::keyClick(&groups(), Qt::Key_F2);
    EXPECT_FALSE(groups().isEditing()) << "a member's name cannot be edited";

    groups().selectRow(2, false);
    groups().reloadData();
    EXPECT_TRUE(groups().isItemExpanded(groups().itemAtRow(0)));
    EXPECT_EQ(groups().selectedRow(), 2);

    groups().expandAll();
    QTest::keyClicks(pane().groupFilter(), "CAR");
    ASSERT_EQ(groups().numberOfRows(), 2) << "guests stays for its member carol";
    EXPECT_EQ(nodeName(groups(), 1), "carol");
    QTest::keyClick(pane().groupFilter(), Qt::Key_Escape);
    EXPECT_EQ(groups().numberOfRows(), 5);
}

TEST_F(PaneFixture, AUserJoinsAndLeavesAGroupByKeyboardOnly)
{
    users().setFocus();
    QTest::keyClick(&users(), Qt::Key_Home);
    QTest::keyClick(&users(), Qt::Key_End, Qt::ControlModifier);
    ASSERT_EQ(users().selectedRow(), 3) << "carol";
    key(&users(), Qt::Key_G, Qt::ControlModifier);
    auto* menu = users().findChild<QMenu*>("userMenu");
    ASSERT_TRUE(menu && menu->isVisible() && menu->actions().front()->menu());
    QList<QAction*> join = menu->actions().front()->menu()->actions();
    ASSERT_EQ(join.size(), 2);
    EXPECT_TRUE(join[0]->isEnabled()) << "staff";
    EXPECT_FALSE(join[1]->isEnabled()) << "carol is in guests already, as a drop would find";
    pressInMenu({Qt::Key_Down, Qt::Key_Right, Qt::Key_Return});
    EXPECT_EQ(read(".htgroups"), "staff: carol alice bob \nguests: carol \n") << "written as a drop writes it";

    // The first member of staff leaves: by the menu key, then by Delete.
    const struct { const char* member; bool byMenu; const char* left; } steps[] = {
        {"carol", true, "staff: alice bob \n"}, {"alice", false, "staff: bob \n"}};
    for (const auto& step : steps) {
        groups().setFocus();
        QTest::keyClick(&groups(), Qt::Key_Home);
        QTest::keyClick(&groups(), Qt::Key_Down);
        ASSERT_EQ(nodeName(groups(), groups().selectedRow()), step.member);
        if (step.byMenu) {
            requestMenu(groups(), groups().currentIndex());
            auto* groupMenu = groups().findChild<QMenu*>("groupMenu");
            ASSERT_TRUE(groupMenu);
            EXPECT_EQ(groupMenu->actions().front()->text(), "Remove from Group");
            pressInMenu({Qt::Key_Down, Qt::Key_Return});
        } else {
            key(&groups(), Qt::Key_Delete);
        }
        ASSERT_TRUE(openAlert());
        EXPECT_THAT(openAlert()->informativeText().toStdString(),
                    HasSubstr("remove the user \"" + std::string(step.member) + "\" from the group \"staff\""));
        key(openAlert(), Qt::Key_Return);
        EXPECT_EQ(read(".htgroups"), std::string(step.left) + "guests: carol \n");
    }
}

TEST_F(PaneFixture, TheFilterNarrowsAHundredThousandUsersAndTicksTheRightOne)
{
    std::ofstream usersFile(file(".htusers"), std::ios::trunc);
    for (int i = 0; i < 100000; ++i)
        usersFile << "user" << std::setw(6) << std::setfill('0') << i << ":abcdefghijklm\n";
    usersFile.close();
    pref().reloadUsersAndGroups();
    clickFolder(DemoTree::kPrivate);
    KLFilterField& filter = *pane().userFilter();
    ASSERT_EQ(users().tableModel()->rowCount(), 100001);
    const struct { const char* typed; bool caseSensitive; int rows; const char* first; } cases[] = {
        {"USER04210", false, 10, "user042100"}, {"USER04210", true, 0, ""},
        {"user04210\b", true, 100, "user042100"}, // a shorter text widens again
        {"valid", false, 1, "Any Valid User"}, {"user04210", false, 10, "user042100"}};
    for (const auto& c : cases) {
        KLUserDefaults::standardUserDefaults().setBool(c.caseSensitive, "Case Sensitive Compare");
        filter.clear();
        QTest::keyClicks(&filter, c.typed);
        EXPECT_EQ(users().tableModel()->rowCount(), c.rows) << c.typed;
        EXPECT_EQ(users().tableModel()->index(0, 1).data().toString(), c.first) << c.typed;
    }
    QModelIndex shown = users().tableModel()->index(3, 0);
    ASSERT_EQ(shown.siblingAtColumn(1).data().toString(), "user042103");
    users().setFocus();
    users().setCurrentIndex(shown);
    key(&users(), Qt::Key_Space);
    EXPECT_THAT(read("private/.htaccess"), HasSubstr("Require user alice user042103\n"));
    EXPECT_EQ(users().selectedRow(), 42104) << "the source's row: the pseudo-user is row 0";
    EXPECT_TRUE(child("userEditButton")->isEnabled());
    QTest::keyClick(&filter, Qt::Key_Escape);
    EXPECT_TRUE(filter.text().isEmpty());
    EXPECT_EQ(users().tableModel()->rowCount(), 100001);
    EXPECT_EQ(users().selectedRow(), 42104) << "the selection stays on the user";
}

TEST_F(PaneFixture, TheManualEditorsQuestionHoldsBackAnotherFolder)
{
    press("manualEditCheck");
    ASSERT_GE(pane().userAddressTabs()->indexOf(child<QWidget>("manualEditTabViewItem")), 0);
    clickFolder(DemoTree::kPrivate);
    QPlainTextEdit& editor = *pane().customViewText();
    EXPECT_TRUE(editor.toPlainText().contains("Require user alice"));
    EXPECT_FALSE(child("customSaveButton")->isEnabled());
    appendLine(editor, "# mine");
    EXPECT_TRUE(child("customSaveButton")->isEnabled());

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
    EXPECT_THAT(read("private/.htaccess"), testing::Not(HasSubstr("# mine")));
    appendLine(editor, "# kept");
    clickFolder(DemoTree::kPublic);
    ASSERT_TRUE(answerAlert("Save"));
    EXPECT_THAT(read("intranet/.htaccess"), HasSubstr("# kept"));
    EXPECT_EQ(pane().webDirOutline()->selectedRow(), folderRow(DemoTree::kPublic));
}

TEST_F(PaneFixture, TheDeleteButtonOfTheSelectedFolderRemovesItsAccessFileAfterAsking)
{
    clickFolder(DemoTree::kPrivate);
    QModelIndex button = folders().indexAtRow(folderRow(DemoTree::kPrivate), 2);
    ASSERT_TRUE(button.data(QtColumn::kEnabledRole).toBool());
    const std::pair<const char*, bool> answers[] = {{"Cancel", true}, {"Delete", false}};
    for (const auto& [answer, kept] : answers) {
        QTest::mouseClick(folders().viewport(), Qt::LeftButton, {}, folders().visualRect(button).center());
        PaneTestApp::settle();
        ASSERT_TRUE(openAlert());
        EXPECT_EQ(openAlert()->text(), "Delete Access File");
        ASSERT_TRUE(answerAlert(answer));
        EXPECT_EQ(QFile::exists(QString::fromStdString(file("private/.htaccess"))), kept) << answer;
    }
    EXPECT_FALSE(folders().indexAtRow(folderRow(DemoTree::kPrivate), 2).data(QtColumn::kEnabledRole).toBool());
}

TEST_F(PaneFixture, ChoosingAModeFromTheFoldersMenuOrPopUpProtectsIt)
{
    auto mode = [&] { return folders().indexAtRow(folderRow(DemoTree::kPublic), 1); };
    EXPECT_EQ(mode().data().toString(), "None");
    clickFolder(DemoTree::kPrivate);
    requestMenu(folders(), folders().indexAtRow(folderRow(DemoTree::kPublic)));
    EXPECT_EQ(folders().selectedRow(), folderRow(DemoTree::kPublic)) << "the menu selects its folder";
    auto* menu = folders().findChild<QMenu*>("folderMenu");
    ASSERT_TRUE(menu && menu->actions().first()->menu());
    EXPECT_FALSE(menu->actions()[1]->isEnabled()) << "the folder has no access file to remove";
    menu->actions().first()->menu()->actions()[2]->trigger();
    PaneTestApp::settle();
    EXPECT_EQ(mode().data().toString(), "Address");
    EXPECT_TRUE(QFile::exists(QString::fromStdString(file("public/.htaccess"))));
    menu->close();

    QTest::mouseClick(folders().viewport(), Qt::LeftButton, {}, folders().visualRect(mode()).center());
    QMenu* popUp = pane().protectCell()->openMenu();
    ASSERT_TRUE(popUp);
    ASSERT_EQ(popUp->actions().size(), 5);
    EXPECT_EQ(popUp->actions()[1]->text(), "Password");
    popUp->actions()[1]->trigger();
    PaneTestApp::settle();
    EXPECT_EQ(mode().data().toString(), "Password");
    EXPECT_THAT(read("public/.htaccess"), HasSubstr("Require user fendreled")) << "nobody enters before a tick";
}

TEST_F(PaneFixture, TheUserSheetShowsWhatIsWrongAndAddsTheUserWhenRight)
{
    press("addUserButton");
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
    EXPECT_THAT(read(".htusers"), HasSubstr("dave:"));
    EXPECT_EQ(pane().userTable()->model()->index(1, 2).data().toString(), "DES");

    auto* hashMenu = child<QComboBox>("passwordHashMenu");
    hashMenu->setCurrentIndex(1);
    emit hashMenu->activated(1);
    EXPECT_EQ(KLUserDefaults::standardUserDefaults().stringForKey("Password Hash"), "bcrypt");
    press("addUserButton");
    key(&sheet, Qt::Key_Escape);
    EXPECT_FALSE(sheet.isVisible()) << "Escape cancels through the controller";
}

TEST_F(PaneFixture, ClosingWithUnsavedManualEditsAsksAndCancelKeepsThePane)
{
    bool left = false;
    QObject::connect(window.get(), &FendrelHostWindow::unselected, [&] { left = true; });
    press("manualEditCheck");
    clickFolder(DemoTree::kPrivate);
    appendLine(*pane().customViewText(), "# pending");
    const std::pair<const char*, bool> answers[] = {{"Cancel", false}, {"Save", true}};
    for (const auto& [answer, leaves] : answers) {
        window->close();
        PaneTestApp::settle();
        ASSERT_TRUE(answerAlert(answer));
        EXPECT_EQ(PaneTestApp::waitFor([&] { return !window->isVisible(); }, leaves ? 2000 : 0), leaves) << answer;
        EXPECT_EQ(left, leaves) << answer;
    }
    EXPECT_THAT(read("private/.htaccess"), HasSubstr("# pending"));
}

TEST_F(PaneFixture, DoubleClickingAFolderOpensItsWebAddressAndHelpShowsTheHelpWindow)
{
    UrlCatcher desktop;
    // What the platform sends: a click, the second press as a double click, its release.
    QPoint at = folders().visualRect(folders().indexAtRow(folderRow(DemoTree::kPublic))).center();
    QTest::mouseClick(folders().viewport(), Qt::LeftButton, {}, at);
    QMouseEvent twice(QEvent::MouseButtonDblClick, at, folders().viewport()->mapToGlobal(at), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(folders().viewport(), &twice);
    QTest::mouseRelease(folders().viewport(), Qt::LeftButton, {}, at);
    PaneTestApp::settle();
    child("revealWebDirButton")->click();
    EXPECT_EQ(desktop.urls, QStringList({"http://127.0.0.1/public",
                                         QUrl::fromLocalFile(QString::fromStdString(root.path())).toString()}));
    QWidget* help = child<QWidget>("helpWindow");
    EXPECT_FALSE(help->isVisible());
    child("helpButton")->click();
    EXPECT_TRUE(help->isVisible());
    window->close();
    EXPECT_FALSE(help->isVisible()) << "leaving the pane hides help";
}

TEST_F(PaneFixture, EachProtectedFolderShowsTheServersAnswerAndTheSelectedOneItsReason)
{
    const std::map<std::string, int> answers = {{"/private/", 401}, {"/shared/", 200}, {"/intranet/", 200}};
    LoopbackHTTPServer server([&](Socket& connection, const std::string& request) {
        auto found = answers.find(LoopbackHTTPServer::requestPath(request));
        connection.writeString("HTTP/1.1 " + std::to_string(found == answers.end() ? 404 : found->second) + " X\r\n\r\n");
    });
    KLUserDefaults::standardUserDefaults().setObject(KLPlist(server.address()), "Apache Site Address");
    press("webRefreshButton");
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return folderRow(DemoTree::kShared) > 0 && server.requests().size() >= 3; }));
    auto tipShows = [&](const char* folder, const std::string& tip) {
        return PaneTestApp::waitFor([&] {
            return folders().indexAtRow(folderRow(folder), 3).data(Qt::ToolTipRole).toString().contains(QString::fromStdString(tip));
        });
    };
    const struct { const char* folder; const char* image; std::string tip; } rows[] = {
        {DemoTree::kPrivate, KLAccessCheck::kEnforcedImage, "Apache asks for a password"},
        {DemoTree::kShared, KLAccessCheck::kNotEnforcedImage, "Apache ignores the access file"},
        {DemoTree::kIntranet, KLAccessCheck::kCannotJudgeImage, "cannot be judged from this machine"},
        {DemoTree::kPublic, nullptr, ""},
    };
    for (const auto& row : rows) {
        ASSERT_TRUE(tipShows(row.folder, row.tip)) << row.folder;
        QModelIndex verdict = folders().indexAtRow(folderRow(row.folder), 3);
        QIcon icon = qvariant_cast<QIcon>(verdict.data(Qt::DecorationRole));
        EXPECT_EQ(icon.isNull(), !row.image) << row.folder;
        EXPECT_TRUE(!row.image || icon.pixmap(16).toImage() == QtImages::named(row.image).pixmap(16).toImage()) << row.folder;
    }
    clickFolder(DemoTree::kShared);
    EXPECT_TRUE(child<QLabel>("accessCheckText")->text().startsWith("Not enforced: Apache ignores"));

    // Protecting another folder asks the server again.
    auto* publicItem = static_cast<KLFSItem*>(folders().itemAtRow(folderRow(DemoTree::kPublic)));
    pref().files()->setObjectValue(folders(), KLPlist(1), KLFSDataSource::kProtectColumn, publicItem);
    EXPECT_TRUE(tipShows(DemoTree::kPublic, "does not serve this folder at /public/"));
}

// Another program adds a user while the pane is shown: the table shows it
// soon, through the Qt run loop, the selected user stays selected and the
// hash column widens to the new user's hash name.
TEST_F(PaneFixture, AUserAddedByAnotherProgramShowsAndTheSelectionStays)
{
    users().selectRow(2, false);
    ASSERT_EQ(users().tableModel()->index(2, 1).data().toString(), "bob");
    int hashWidth = users().columnWidth(2);
    std::string text = read(".htusers");
    std::ofstream(file(".htusers")) << "zoe:$2y$05$abcdefghijklmnopqrstuuVbWJ0Cz2OGkpaGeGn6S0y2CshAhzGj\n" << text;
    EXPECT_TRUE(PaneTestApp::waitFor([&] { return users().tableModel()->index(3, 1).data().toString() == "bob"; }, 10000));
    EXPECT_EQ(users().selectedRow(), 3);
    EXPECT_GT(users().columnWidth(2), hashWidth) << "\"bcrypt\" is wider than \"DES\"";
}

TEST_F(PaneFixture, ANewerVersionOpensTheUpdatePanelAndLaterClosesIt)
{
    LoopbackHTTPServer server(LoopbackHTTPServer::serving({{"/KLSVersions.php", versionsReply("99.0")}}));
    KLUserDefaults::standardUserDefaults().setObject(KLPlist(server.address()), "Update Server");
    press("versionCheckButton");
    KLUpdatePanel& panel = *pane().updatePanel();
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return panel.isVisible(); }, 10000));
    EXPECT_EQ(child("versionCheckButton")->text(), "Check Now") << "the check has ended";
    EXPECT_EQ(panel.findChild<QPlainTextEdit*>("releaseNotes")->toPlainText(), "Folders open faster.");
    EXPECT_EQ(panel.findChild<QLabel*>("noteField")->text(), "Maintenance tonight");
    QtTableModel& details = *panel.findChild<KLTableView*>("detailsTable")->tableModel();
    ASSERT_EQ(details.rowCount(), 1);
    EXPECT_EQ(details.index(0, 0).data().toString(), "99.0");
    EXPECT_EQ(details.index(0, 1).data().toString(), "123456");
    EXPECT_NE(child<QLabel>("lastCheckText")->text(), "Last Check: never");
    panel.laterButton()->click();
    EXPECT_FALSE(panel.isVisible());
}

TEST_F(PaneFixture, TheRunningVersionIsAnnouncedUpToDate)
{
    LoopbackHTTPServer server(LoopbackHTTPServer::serving({{"/KLSVersions.php", versionsReply("0.1")}}));
    KLUserDefaults::standardUserDefaults().setObject(KLPlist(server.address()), "Update Server");
    press("versionCheckButton");
    ASSERT_TRUE(openAlert(10000));
    EXPECT_EQ(openAlert()->text(), "Up to Date");
    EXPECT_TRUE(openAlert()->informativeText().contains("KLS Notes: Maintenance tonight"));
    EXPECT_TRUE(answerAlert("OK"));
    EXPECT_FALSE(pane().updatePanel()->isVisible());
}

} // namespace
