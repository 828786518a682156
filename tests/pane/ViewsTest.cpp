#include "FakePaneContext.h"
#include "FakeSources.h"
#include "KLOutlineView.h"
#include "KLTableView.h"
#include "NSImageAndTextCell.h"
#include "PaneTestApp.h"
#include "QtOutlineModel.h"
#include "QtTableModel.h"
#include "QtWarningCatcher.h"

#include <QApplication>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

namespace {

QtColumns tableColumns()
{
    return {{"active", "", QtColumn::Kind::Check}, {"name", "Name", QtColumn::Kind::Text, true}};
}

QtColumns outlineColumns()
{
    return {{"group", "Group", QtColumn::Kind::Text, true}, {"active", "", QtColumn::Kind::Check}};
}

QLineEdit* openEditor(QAbstractItemView& view)
{
    return view.findChild<QLineEdit*>();
}

TEST(KLTableViewTest, DeleteKeyAsksThePaneWithTheSelectedRowOrMinusOne)
{
    FakePaneContext pane;
    FakeTableSource source;
    source.rows = {{"Any Valid User"}, {"alice"}, {"bob"}};
    KLTableView view("userTable", tableColumns());
    view.setDataSource(&source);
    view.show();

    QTest::keyClick(&view, Qt::Key_Delete);
    view.selectRow(2, false);
    QTest::keyClick(&view, Qt::Key_Backspace);
    ASSERT_EQ(pane.deletedRows.size(), 2u);
    EXPECT_EQ(pane.deletedRows[0].first, static_cast<KLListView*>(&view));
    EXPECT_EQ(pane.deletedRows[0].second, -1);
    EXPECT_EQ(pane.deletedRows[1].second, 2);
    QTest::keyClick(&view, Qt::Key_Delete, Qt::ControlModifier);
    EXPECT_EQ(pane.deletedRows.size(), 2u) << "a modified key is no delete";
}

TEST(KLTableViewTest, ReturnEndsTheEditAndKeepsTheRowSelected)
{
    FakePaneContext pane;
    FakeTableSource source;
    source.rows = {{"one"}, {"two"}, {"three"}};
    KLTableView view("addressTable", tableColumns());
    view.setDataSource(&source);
    view.show();
    view.selectRow(1, false);
    view.editColumn("name", 1);
    QLineEdit* editor = openEditor(view);
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->selectedText(), "two") << "the text is selected for typing over";
    QTest::keyClicks(editor, "deux");
    QTest::keyClick(editor, Qt::Key_Return);
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return !view.isEditing(); }));
    EXPECT_EQ(source.rows[1].name, "deux");
    EXPECT_EQ(view.selectedRow(), 1);
    EXPECT_EQ(view.selectedRows(), std::vector<int>{1});
    EXPECT_TRUE(pane.deletedRows.empty()) << "keys typed into the editor are not the list's";
}

TEST(KLTableViewTest, SelectionSurvivesAReloadAndIsReportedOnlyWhenItMoves)
{
    FakeTableSource source;
    source.rows = {{"a"}, {"b"}, {"c"}};
    KLTableView view("userTable", tableColumns());
    view.setDataSource(&source);
    QSignalSpy changes(&view, &KLTableView::selectionDidChange);
    view.selectRow(2, false);
    EXPECT_EQ(changes.count(), 1);
    view.reloadData();
    EXPECT_EQ(view.selectedRow(), 2);
    EXPECT_EQ(changes.count(), 1);
    source.rows.pop_back();
    view.reloadData();
    EXPECT_EQ(view.selectedRow(), -1) << view.selectedRows().size();
    EXPECT_EQ(changes.count(), 2);
}

TEST(KLTableViewTest, TheDragImageIsTheSummaryTextInTwelvePointSystemFont)
{
    FakeTableSource source;
    source.rows = {{"Any Valid User"}, {"alice"}};
    KLTableView view("userTable", tableColumns());
    view.setDataSource(&source);
    QPixmap image = view.dragImageForRows({1});
    QFont font = QApplication::font();
    font.setPointSize(12);
    QFontMetrics metrics(font);
    EXPECT_EQ(image.deviceIndependentSize().toSize(), QSize(metrics.horizontalAdvance("alice "), metrics.height()));
    QImage pixels = image.toImage();
    EXPECT_EQ(qAlpha(pixels.pixel(pixels.width() - 1, 0)), 0) << "the background is transparent";
    bool inked = false;
    for (int x = 0; x < pixels.width() && !inked; ++x)
        for (int y = 0; y < pixels.height() && !inked; ++y)
            inked = qAlpha(pixels.pixel(x, y)) > 0;
    EXPECT_TRUE(inked);
}

class KLOutlineViewTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        staff = source.addGroup("staff");
        source.addMember(staff, "alice");
        guests = source.addGroup("guests");
        view.setDataSource(&source);
        view.resize(300, 200);
        view.show();
    }
    FakePaneContext pane;
    FakeOutlineSource source;
    FakeOutlineSource::Node* staff = nullptr;
    FakeOutlineSource::Node* guests = nullptr;
    KLOutlineView view{"groupOutline", outlineColumns()};
};

TEST_F(KLOutlineViewTest, RowsCountWhatIsShown)
{
    EXPECT_EQ(view.numberOfRows(), 2);
    view.expandItem(staff);
    EXPECT_TRUE(view.isItemExpanded(staff));
    EXPECT_EQ(view.numberOfRows(), 3);
    EXPECT_EQ(view.itemAtRow(1), staff->children[0].get());
    EXPECT_EQ(view.rowForItem(guests), 2);
    EXPECT_EQ(view.itemAtRow(3), nullptr);
    EXPECT_EQ(source.expandedNames, std::vector<std::string>{"staff"});
}

TEST_F(KLOutlineViewTest, ReturnWithARefusedNameKeepsTheEditorOpen)
{
    view.selectRow(1, false);
    view.editColumn("group", 1);
    QLineEdit* editor = openEditor(view);
    ASSERT_TRUE(editor);
    editor->setText("STAFF");
    QTest::keyClick(editor, Qt::Key_Return);
    PaneTestApp::settle();
    ASSERT_FALSE(source.validated.empty());
    EXPECT_EQ(source.validated.back(), "STAFF");
    EXPECT_TRUE(view.isEditing());
    EXPECT_EQ(openEditor(view), editor);
    EXPECT_EQ(editor->text(), "STAFF") << "the refused name stays for correcting";
    EXPECT_EQ(guests->name, "guests");

    editor->setText("visitors");
    QTest::keyClick(editor, Qt::Key_Return);
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return !view.isEditing(); }));
    EXPECT_EQ(guests->name, "visitors");
    EXPECT_EQ(view.selectedRow(), 1);
}

TEST_F(KLOutlineViewTest, ASourceThatReloadsWhileStoringTheNameLeavesTheFocusInTheList)
{
    QtWarningCatcher warnings;
    source.reloadOnSet = true;
    view.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
    view.selectRow(0, false);
    view.editColumn("group", 0);
    QLineEdit* editor = openEditor(view);
    ASSERT_TRUE(editor);
    ASSERT_EQ(QApplication::focusWidget(), editor);
    editor->setText("crew");
    QTest::keyClick(editor, Qt::Key_Return);
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return !view.isEditing(); }));
    EXPECT_EQ(staff->name, "crew");
    EXPECT_EQ(view.selectedRow(), 0);
    EXPECT_EQ(QApplication::focusWidget(), &view);

    // Tab ends the edit the usual way: the next row's name is edited.
    view.editColumn("group", 0);
    editor = openEditor(view);
    ASSERT_TRUE(editor);
    editor->setText("team");
    QTest::keyClick(editor, Qt::Key_Tab);
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return view.isEditing() && openEditor(view) != editor; }));
    EXPECT_EQ(staff->name, "team");
    EXPECT_EQ(view.selectedRow(), 1);
    ASSERT_TRUE(openEditor(view));
    EXPECT_EQ(openEditor(view)->text(), "guests");
    EXPECT_EQ(warnings.containing("does not belong to this view"), QStringList());
}

TEST_F(KLOutlineViewTest, TheEditKeyRenamesTheRowWhicheverColumnIsCurrent)
{
    view.selectRow(0, false);
    view.setFocus();
    view.setCurrentIndex(view.indexAtRow(0, 1)); // the check box column
    QTest::keyClick(&view, Qt::Key_F2);
    ASSERT_TRUE(view.isEditing());
    QLineEdit* editor = openEditor(view);
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->text(), "staff");
    QTest::keyClick(editor, Qt::Key_Escape);
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return !view.isEditing(); }));

    view.expandItem(staff);
    view.setCurrentIndex(view.indexAtRow(1, 1)); // alice, a member
    QTest::keyClick(&view, Qt::Key_F2);
    EXPECT_FALSE(view.isEditing()) << "a member's name cannot be edited";
}

TEST_F(KLOutlineViewTest, EscapeDropsTheEditWithoutAsking)
{
    view.editColumn("group", 0);
    QLineEdit* editor = openEditor(view);
    ASSERT_TRUE(editor);
    editor->setText("guests");
    QTest::keyClick(editor, Qt::Key_Escape);
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return !view.isEditing(); }));
    EXPECT_TRUE(source.validated.empty());
    EXPECT_EQ(staff->name, "staff");
}

TEST_F(KLOutlineViewTest, TheSourceMayRefuseAClickButNotTheControllersOwnSelection)
{
    source.refuseSelection = true;
    QRect guestsRect = view.visualRect(view.outlineModel()->indexForItem(guests));
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, guestsRect.center());
    EXPECT_GE(source.selectionQuestions, 1);
    EXPECT_EQ(view.selectedRow(), -1);
    EXPECT_EQ(source.selectionChanges, 0);

    view.selectRow(1, false);
    EXPECT_EQ(view.selectedRow(), 1);
    EXPECT_EQ(source.selectionChanges, 1);

    source.refuseSelection = false;
    QRect staffRect = view.visualRect(view.outlineModel()->indexForItem(staff));
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, staffRect.center());
    EXPECT_EQ(view.selectedRow(), 0);
}

TEST_F(KLOutlineViewTest, AReloadKeepsOpenGroupsOpenAndTheSelectedRow)
{
    view.expandItem(staff);
    view.selectRow(2, false);
    int changes = source.selectionChanges;
    view.reloadData();
    EXPECT_TRUE(view.isItemExpanded(staff));
    EXPECT_EQ(view.selectedRow(), 2);
    EXPECT_EQ(source.selectionChanges, changes);
}

TEST_F(KLOutlineViewTest, DeleteKeyAsksThePane)
{
    view.selectRow(1, false);
    view.setFocus();
    QTest::keyClick(&view, Qt::Key_Delete);
    ASSERT_EQ(pane.deletedRows.size(), 1u);
    EXPECT_EQ(pane.deletedRows[0].second, 1);
}

TEST(NSImageAndTextCellTest, TheIconSitsThreePointsInAndCentredTheTextTakesTheRest)
{
    QRect cell(10, 20, 200, 25);
    QRect image = NSImageAndTextCell::imageFrameForCellFrame(cell, true);
    EXPECT_EQ(image, QRect(13, 20 + 5, 16, 16)) << "ceil((25 - 16) / 2) = 5";
    EXPECT_EQ(NSImageAndTextCell::textFrameForCellFrame(cell, true), QRect(29, 20, 181, 25));
    EXPECT_TRUE(NSImageAndTextCell::imageFrameForCellFrame(cell, false).isEmpty());
    EXPECT_EQ(NSImageAndTextCell::textFrameForCellFrame(cell, false), cell);
}

} // namespace
