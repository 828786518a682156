#include "FakePaneContext.h"
#include "FakeSources.h"
#include "KLOutlineView.h"
#include "KLTableView.h"
#include "NSImageAndTextCell.h"
#include "PaneTestApp.h"
#include "QtOutlineModel.h"
#include "QtTableModel.h"
#include "QtWarningCatcher.h"

#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

namespace {

// A users table and a groups outline (staff with alice, guests) over fakes.
class ViewsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        table.rows = {{"Any Valid User"}, {"alice"}, {"bob"}};
        users.setDataSource(&table);
        staff = tree.addGroup("staff");
        tree.addMember(staff, "alice");
        guests = tree.addGroup("guests");
        groups.setDataSource(&tree);
        groups.resize(300, 200);
        groups.show();
    }
    QLineEdit* editor(QAbstractItemView& view) { return view.findChild<QLineEdit*>(); }
    // Edits the row's name, types the text and ends with the key.
    void typeName(KLListView& view, QAbstractItemView& widget, const char* column, int row, const char* text, Qt::Key key)
    {
        view.editColumn(column, row);
        QLineEdit* field = editor(widget);
        ASSERT_TRUE(field);
        field->setText(text);
        QTest::keyClick(field, key);
        PaneTestApp::settle();
    }
    template <class View> bool waitEdited(View& view) { return PaneTestApp::waitFor([&] { return !view.isEditing(); }); }

    FakePaneContext pane;
    FakeTableSource table;
    KLTableView users{"userTable", tableColumns()};
    FakeOutlineSource tree;
    FakeOutlineSource::Node *staff = nullptr, *guests = nullptr;
    KLOutlineView groups{"groupOutline", outlineColumns()};
};

TEST_F(ViewsTest, DeleteKeyAsksThePaneWithTheSelectedRowOrMinusOne)
{
    users.show();
    QTest::keyClick(&users, Qt::Key_Delete);
    users.selectRow(2, false);
    QTest::keyClick(&users, Qt::Key_Backspace);
    QTest::keyClick(&users, Qt::Key_Delete, Qt::ControlModifier); // a modified key is no delete
    groups.selectRow(1, false);
    groups.setFocus();
    QTest::keyClick(&groups, Qt::Key_Delete);
    using Asked = std::pair<KLListView*, int>;
    EXPECT_EQ(pane.deletedRows, (std::vector<Asked>{{&users, -1}, {&users, 2}, {&groups, 1}}));
}

TEST_F(ViewsTest, ReturnEndsATableEditAndKeepsTheRowSelected)
{
    users.show();
    users.selectRow(1, false);
    users.editColumn("name", 1);
    ASSERT_TRUE(editor(users));
    EXPECT_EQ(editor(users)->selectedText(), "alice") << "the text is selected for typing over";
    QTest::keyClicks(editor(users), "ally");
    QTest::keyClick(editor(users), Qt::Key_Return);
    ASSERT_TRUE(waitEdited(users));
    EXPECT_EQ(table.rows[1].name, "ally");
    EXPECT_EQ(users.selectedRows(), std::vector<int>{1});
    EXPECT_EQ(users.selectedRow(), 1);
    EXPECT_TRUE(pane.deletedRows.empty()) << "keys typed into the editor are not the list's";
}

TEST_F(ViewsTest, SelectionSurvivesAReloadAndIsReportedOnlyWhenItMoves)
{
    QSignalSpy changes(&users, &KLTableView::selectionDidChange);
    users.selectRow(2, false);
    users.reloadData();
    EXPECT_EQ(users.selectedRow(), 2);
    EXPECT_EQ(changes.count(), 1);
    table.rows.pop_back();
    users.reloadData();
    EXPECT_EQ(users.selectedRow(), -1);
    EXPECT_EQ(changes.count(), 2);

    groups.expandItem(staff);
    groups.selectRow(2, false);
    int before = tree.selectionChanges;
    groups.reloadData();
    EXPECT_TRUE(groups.isItemExpanded(staff)) << "open groups stay open";
    EXPECT_EQ(groups.selectedRow(), 2);
    EXPECT_EQ(tree.selectionChanges, before);
}

TEST_F(ViewsTest, TheDragImageIsTheSummaryTextInTwelvePointSystemFont)
{
    QImage pixels = users.dragImageForRows({1}).toImage();
    QFont font = QApplication::font();
    font.setPointSize(12);
    QFontMetrics metrics(font);
    EXPECT_EQ(users.dragImageForRows({1}).deviceIndependentSize().toSize(),
              QSize(metrics.horizontalAdvance("alice "), metrics.height()));
    EXPECT_EQ(qAlpha(pixels.pixel(pixels.width() - 1, 0)), 0) << "the background is transparent";
    bool inked = false;
    for (int x = 0; x < pixels.width(); ++x)
        for (int y = 0; y < pixels.height(); ++y)
            inked = inked || qAlpha(pixels.pixel(x, y)) > 0;
    EXPECT_TRUE(inked);
}

TEST_F(ViewsTest, OutlineRowsCountWhatIsShown)
{
    EXPECT_EQ(groups.numberOfRows(), 2);
    groups.expandItem(staff);
    EXPECT_TRUE(groups.isItemExpanded(staff));
    EXPECT_EQ(groups.numberOfRows(), 3);
    EXPECT_EQ(groups.itemAtRow(1), staff->children[0].get());
    EXPECT_EQ(groups.rowForItem(guests), 2);
    EXPECT_EQ(groups.itemAtRow(3), nullptr);
    EXPECT_EQ(tree.expandedNames, std::vector<std::string>{"staff"});
}

TEST_F(ViewsTest, ARefusedNameKeepsTheEditorAndEscapeDropsTheEditUnasked)
{
    groups.selectRow(1, false);
    typeName(groups, groups, "group", 1, "STAFF", Qt::Key_Return);
    EXPECT_EQ(tree.validated, std::vector<std::string>{"STAFF"});
    ASSERT_TRUE(groups.isEditing());
    EXPECT_EQ(editor(groups)->text(), "STAFF") << "the refused name stays for correcting";
    EXPECT_EQ(guests->name, "guests");
    editor(groups)->setText("visitors");
    QTest::keyClick(editor(groups), Qt::Key_Return);
    ASSERT_TRUE(waitEdited(groups));
    EXPECT_EQ(guests->name, "visitors");
    EXPECT_EQ(groups.selectedRow(), 1);

    typeName(groups, groups, "group", 0, "guests", Qt::Key_Escape);
    ASSERT_TRUE(waitEdited(groups));
    EXPECT_EQ(tree.validated.size(), 2u) << "Escape asks nothing";
    EXPECT_EQ(staff->name, "staff");
}

TEST_F(ViewsTest, ASourceThatReloadsWhileStoringTheNameLeavesTheFocusInTheList)
{
    QtWarningCatcher warnings;
    tree.reloadOnSet = true;
    groups.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&groups));
    groups.selectRow(0, false);
    typeName(groups, groups, "group", 0, "crew", Qt::Key_Return);
    ASSERT_TRUE(waitEdited(groups));
    EXPECT_EQ(staff->name, "crew");
    EXPECT_EQ(groups.selectedRow(), 0);
    EXPECT_EQ(QApplication::focusWidget(), &groups);

    // Tab ends the edit the usual way: the next row's name is edited.
    typeName(groups, groups, "group", 0, "team", Qt::Key_Tab);
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return groups.isEditing() && editor(groups); }));
    EXPECT_EQ(staff->name, "team");
    EXPECT_EQ(groups.selectedRow(), 1);
    EXPECT_EQ(editor(groups)->text(), "guests");
    EXPECT_EQ(warnings.containing("does not belong to this view"), QStringList());
}

TEST_F(ViewsTest, TheEditKeyRenamesAGroupWhicheverColumnIsCurrentButNoMember)
{
    groups.selectRow(0, false);
    groups.setFocus();
    groups.setCurrentIndex(groups.indexAtRow(0, 1)); // the check box column
    QTest::keyClick(&groups, Qt::Key_F2);
    ASSERT_TRUE(groups.isEditing());
    EXPECT_EQ(editor(groups)->text(), "staff");
    QTest::keyClick(editor(groups), Qt::Key_Escape);
    ASSERT_TRUE(waitEdited(groups));
    groups.expandItem(staff);
    groups.setCurrentIndex(groups.indexAtRow(1, 1)); // alice
    QTest::keyClick(&groups, Qt::Key_F2);
    EXPECT_FALSE(groups.isEditing());
}

TEST_F(ViewsTest, TheSourceMayRefuseAClickButNotTheControllersOwnSelection)
{
    auto click = [&](FakeOutlineSource::Node* node) {
        QTest::mouseClick(groups.viewport(), Qt::LeftButton, {},
                          groups.visualRect(groups.outlineModel()->indexForItem(node)).center());
    };
    tree.refuseSelection = true;
    click(guests);
    EXPECT_GE(tree.selectionQuestions, 1);
    EXPECT_EQ(groups.selectedRow(), -1);
    EXPECT_EQ(tree.selectionChanges, 0);
    groups.selectRow(1, false);
    EXPECT_EQ(groups.selectedRow(), 1);
    EXPECT_EQ(tree.selectionChanges, 1);
    tree.refuseSelection = false;
    click(staff);
    EXPECT_EQ(groups.selectedRow(), 0);
}

TEST(NSImageAndTextCellTest, TheIconSitsThreePointsInAndCentredTheTextTakesTheRest)
{
    QRect cell(10, 20, 200, 25);
    EXPECT_EQ(NSImageAndTextCell::imageFrameForCellFrame(cell, true), QRect(13, 25, 16, 16)) << "ceil((25 - 16) / 2)";
    EXPECT_EQ(NSImageAndTextCell::textFrameForCellFrame(cell, true), QRect(29, 20, 181, 25));
    EXPECT_TRUE(NSImageAndTextCell::imageFrameForCellFrame(cell, false).isEmpty());
    EXPECT_EQ(NSImageAndTextCell::textFrameForCellFrame(cell, false), cell);
}

} // namespace
