#include "FakePaneContext.h"
#include "FakeTableSource.h"
#include "KLTableView.h"
#include "NSImageAndTextCell.h"
#include "PaneTestApp.h"
#include "QtTableModel.h"

#include <QAbstractItemModelTester>
#include <QIcon>
#include <QLineEdit>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

namespace {

// A users table over a fake, its model watched by Qt's model tester.
class TableViewTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        source.rows = {{"Any Valid User", false}, {"alice", true}, {"bob", false}};
        view.setDataSource(&source);
    }
    FakePaneContext pane;
    FakeTableSource source;
    KLTableView view{"userTable", FakeTableSource::columns()};
    QtTableModel& model = *view.tableModel();
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(TableViewTest, ShowsTheSourceAndTakesItsChangesAtTheNextReload)
{
    ASSERT_EQ(model.rowCount(), 3);
    EXPECT_EQ(model.index(1, 1).data().toString(), "alice");
    EXPECT_EQ(model.index(1, 0).data(Qt::CheckStateRole).toInt(), Qt::Checked);
    EXPECT_EQ(model.index(2, 0).data(Qt::CheckStateRole).toInt(), Qt::Unchecked);
    EXPECT_EQ(model.headerData(1, Qt::Horizontal, Qt::DisplayRole).toString(), "Name");
    EXPECT_FALSE(qvariant_cast<QIcon>(model.index(1, 1).data(Qt::DecorationRole)).isNull());
    QSignalSpy changes(&view, &KLTableView::selectionDidChange);
    view.selectRow(2, false);
    source.rows.push_back({"carol", false});
    EXPECT_EQ(model.rowCount(), 3);
    view.reloadData();
    EXPECT_EQ(model.rowCount(), 4);
    EXPECT_EQ(view.selectedRow(), 2) << "the selection survives a reload";
    EXPECT_EQ(changes.count(), 1) << "and is reported only when it moves";
    source.rows.erase(source.rows.begin() + 1, source.rows.end());
    EXPECT_FALSE(model.index(2, 1).data().isValid()) << "rows past the source's end are not asked for";
    view.reloadData();
    EXPECT_EQ(model.rowCount(), 1);
    EXPECT_EQ(view.selectedRow(), -1);
    EXPECT_EQ(changes.count(), 2);
}

TEST_F(TableViewTest, ChecksAndEditsGoToTheSourceOnlyWhereAllowed)
{
    EXPECT_TRUE(model.flags(model.index(2, 0)) & Qt::ItemIsUserCheckable);
    EXPECT_TRUE(model.flags(model.index(1, 1)) & Qt::ItemIsEditable);
    EXPECT_TRUE(model.setData(model.index(2, 0), Qt::Checked, Qt::CheckStateRole));
    EXPECT_TRUE(source.rows[2].active);
    source.checksEnabled = false;
    EXPECT_FALSE(model.flags(model.index(2, 0)) & Qt::ItemIsUserCheckable);
    EXPECT_FALSE(model.index(2, 0).data(QtColumn::kEnabledRole).toBool());
    view.selectRow(2, false);
    EXPECT_EQ(view.selectedRow(), 2) << "a row with a disabled check box can still be selected";
    EXPECT_TRUE(model.setData(model.index(1, 1), "alicia", Qt::EditRole));
    EXPECT_EQ(source.rows[1].name, "alicia");
    EXPECT_FALSE(model.setData(model.index(1, 1), "x", Qt::DisplayRole)) << "only edits count";
    source.editable = false;
    EXPECT_FALSE(model.flags(model.index(1, 1)) & Qt::ItemIsEditable);
    source.reloadOnSet = true; // the model stays consistent for the tester
    source.checksEnabled = true;
    EXPECT_TRUE(model.setData(model.index(1, 0), Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_FALSE(source.rows[1].active);
}

TEST_F(TableViewTest, KeysDeleteTheSelectedRowOrEndTheEdit)
{
    view.show();
    QTest::keyClick(&view, Qt::Key_Delete);
    view.selectRow(1, false);
    QTest::keyClick(&view, Qt::Key_Backspace);
    QTest::keyClick(&view, Qt::Key_Delete, Qt::ControlModifier); // a modified key is no delete
    EXPECT_EQ(pane.deletedRows, (std::vector<std::pair<KLListView*, int>>{{&view, -1}, {&view, 1}}));

    view.editColumn("name", 1);
    QLineEdit* editor = view.findChild<QLineEdit*>();
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->selectedText(), "alice") << "the text is selected for typing over";
    QTest::keyClicks(editor, "ally");
    QTest::keyClick(editor, Qt::Key_Return);
    ASSERT_TRUE(PaneTestApp::waitFor([&] { return !view.isEditing(); }));
    EXPECT_EQ(source.rows[1].name, "ally");
    EXPECT_EQ(view.selectedRows(), std::vector<int>{1});
    EXPECT_EQ(pane.deletedRows.size(), 2u) << "keys typed into the editor are not the list's";
}

TEST_F(TableViewTest, ADragCarriesTheUserTypeAndShowsTheSummaryInTwelvePointSystemFont)
{
    view.setDragTypes(true, {});
    std::unique_ptr<QMimeData> data(model.mimeData({model.index(2, 1)}));
    ASSERT_TRUE(data);
    EXPECT_EQ(data->data("KLFendrelUser"), "bob");
    EXPECT_FALSE(model.mimeData({model.index(0, 1)})) << "the source refuses to drag row 0";
    view.setDragTypes(false, {});
    EXPECT_FALSE(model.mimeData({model.index(2, 1)}));

    QPixmap image = view.dragImageForRows({1});
    QFont font = QApplication::font();
    font.setPointSize(12);
    EXPECT_EQ(image.deviceIndependentSize().toSize(), QSize(QFontMetrics(font).horizontalAdvance("alice "), QFontMetrics(font).height()));
    QImage pixels = image.toImage();
    EXPECT_EQ(qAlpha(pixels.pixel(pixels.width() - 1, 0)), 0) << "the background is transparent";
    bool inked = false;
    for (int x = 0; x < pixels.width(); ++x)
        for (int y = 0; y < pixels.height(); ++y)
            inked = inked || qAlpha(pixels.pixel(x, y)) > 0;
    EXPECT_TRUE(inked);
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
