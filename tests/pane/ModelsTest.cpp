#include "FakeSources.h"
#include "KLOutlineView.h"
#include "KLTableView.h"
#include "QtOutlineModel.h"
#include "QtTableModel.h"

#include <QAbstractItemModelTester>
#include <QIcon>
#include <QMimeData>

#include <gtest/gtest.h>

namespace {

using Tester = QAbstractItemModelTester;

// Both models over their fakes, each watched by Qt's model tester.
class ModelsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        table.rows = {{"Any Valid User", false}, {"alice", true}, {"bob", false}};
        users.setDataSource(&table);
        staff = tree.addGroup("staff");
        tree.addMember(staff, "alice");
        tree.addMember(staff, "bob");
        guests = tree.addGroup("guests");
        groups.setDataSource(&tree);
    }
    FakeTableSource table;
    KLTableView users{"userTable", tableColumns()};
    QtTableModel& model = *users.tableModel();
    Tester tableTester{&model, Tester::FailureReportingMode::Fatal};
    FakeOutlineSource tree;
    FakeOutlineSource::Node *staff = nullptr, *guests = nullptr;
    KLOutlineView groups{"groupOutline", outlineColumns()};
    QtOutlineModel& outline = *groups.outlineModel();
    Tester outlineTester{&outline, Tester::FailureReportingMode::Fatal};
};

TEST_F(ModelsTest, TableShowsTheSourceAndTakesItsNewRowsAtTheNextReload)
{
    ASSERT_EQ(model.rowCount(), 3);
    EXPECT_EQ(model.index(1, 1).data().toString(), "alice");
    EXPECT_EQ(model.index(1, 0).data(Qt::CheckStateRole).toInt(), Qt::Checked);
    EXPECT_EQ(model.index(2, 0).data(Qt::CheckStateRole).toInt(), Qt::Unchecked);
    EXPECT_EQ(model.headerData(1, Qt::Horizontal, Qt::DisplayRole).toString(), "Name");
    EXPECT_FALSE(qvariant_cast<QIcon>(model.index(1, 1).data(Qt::DecorationRole)).isNull());
    table.rows.push_back({"carol", false});
    EXPECT_EQ(model.rowCount(), 3);
    users.reloadData();
    EXPECT_EQ(model.rowCount(), 4);
    table.rows.erase(table.rows.begin() + 1, table.rows.end());
    EXPECT_FALSE(model.index(2, 1).data().isValid()) << "rows past the source's end are not asked for";
    users.reloadData();
    EXPECT_EQ(model.rowCount(), 1);
}

TEST_F(ModelsTest, TableChecksAndEditsGoToTheSourceOnlyWhereAllowed)
{
    EXPECT_TRUE(model.flags(model.index(2, 0)) & Qt::ItemIsUserCheckable);
    EXPECT_TRUE(model.setData(model.index(2, 0), Qt::Checked, Qt::CheckStateRole));
    EXPECT_TRUE(table.rows[2].active);
    table.checksEnabled = false;
    EXPECT_FALSE(model.flags(model.index(2, 0)) & Qt::ItemIsUserCheckable);
    EXPECT_FALSE(model.index(2, 0).data(QtColumn::kEnabledRole).toBool());
    users.selectRow(2, false);
    EXPECT_EQ(users.selectedRow(), 2) << "a row with a disabled check box can still be selected";
    EXPECT_TRUE(model.flags(model.index(1, 1)) & Qt::ItemIsEditable);
    EXPECT_TRUE(model.setData(model.index(1, 1), "alicia", Qt::EditRole));
    EXPECT_EQ(table.rows[1].name, "alicia");
    table.editable = false;
    EXPECT_FALSE(model.flags(model.index(1, 1)) & Qt::ItemIsEditable);
    EXPECT_FALSE(model.setData(model.index(1, 1), "x", Qt::DisplayRole)) << "only edits count";
    // A source that reloads while storing leaves the model consistent.
    table.reloadOnSet = true;
    EXPECT_TRUE(model.setData(model.index(1, 0), Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_FALSE(table.rows[1].active);
    EXPECT_EQ(model.rowCount(), 3);
}

TEST_F(ModelsTest, DraggedRowsCarryTheUserTypeTheSourceWrote)
{
    users.setDragTypes(true, {});
    std::unique_ptr<QMimeData> data(model.mimeData({model.index(2, 1)}));
    ASSERT_TRUE(data);
    EXPECT_EQ(data->data("KLFendrelUser"), "bob");
    EXPECT_FALSE(model.mimeData({model.index(0, 1)})) << "the source refuses to drag row 0";
    users.setDragTypes(false, {});
    EXPECT_FALSE(model.mimeData({model.index(2, 1)}));
}

TEST_F(ModelsTest, OutlineShowsTheTreeWithParents)
{
    ASSERT_EQ(outline.rowCount(), 2);
    QModelIndex staffIndex = outline.index(0, 0);
    EXPECT_EQ(staffIndex.data().toString(), "staff");
    ASSERT_EQ(outline.rowCount(staffIndex), 2);
    QModelIndex bob = outline.index(1, 0, staffIndex);
    EXPECT_EQ(bob.data().toString(), "bob");
    EXPECT_EQ(outline.parent(bob), staffIndex);
    EXPECT_EQ(outline.indexForItem(staff), staffIndex);
    EXPECT_TRUE(outline.hasChildren(outline.index(1, 0))) << "an empty group can still be opened";
    EXPECT_EQ(outline.rowCount(outline.index(1, 0)), 0);
    EXPECT_TRUE(outline.flags(staffIndex) & Qt::ItemIsEditable);
    EXPECT_FALSE(outline.flags(bob) & Qt::ItemIsEditable);
    EXPECT_TRUE(outline.index(0, 1).data(Qt::CheckStateRole).isValid());
    QModelIndex bobCheck = outline.index(1, 1, staffIndex);
    EXPECT_FALSE(bobCheck.data(Qt::CheckStateRole).isValid()) << "a transparent cell shows no check box";
    EXPECT_FALSE(outline.flags(bobCheck) & Qt::ItemIsUserCheckable);
}

TEST_F(ModelsTest, ReloadingAnItemShowsItsNewChildrenAndKeepsUnchangedOnes)
{
    QModelIndex guestsIndex = outline.index(1, 0), staffIndex = outline.index(0, 0);
    ASSERT_EQ(outline.rowCount(guestsIndex), 0);
    tree.addMember(guests, "carol");
    EXPECT_EQ(outline.rowCount(guestsIndex), 0) << "the model keeps what it was told until a reload";
    groups.reloadItem(guests);
    ASSERT_EQ(outline.rowCount(guestsIndex), 1);
    EXPECT_EQ(outline.index(0, 0, guestsIndex).data().toString(), "carol");
    groups.expand(staffIndex);
    QPersistentModelIndex alice = outline.index(0, 0, staffIndex);
    groups.reloadItem(staff);
    EXPECT_TRUE(alice.isValid()) << "children that did not change keep their rows";
    EXPECT_TRUE(groups.isExpanded(staffIndex));
    staff->children.erase(staff->children.begin());
    groups.reloadItem(staff);
    EXPECT_FALSE(alice.isValid());
    ASSERT_EQ(outline.rowCount(staffIndex), 1);
    EXPECT_EQ(outline.index(0, 0, staffIndex).data().toString(), "bob");
}

TEST_F(ModelsTest, AUserDroppedOnAGroupBecomesAMember)
{
    groups.setDragTypes(false, {"KLFendrelUser"});
    QMimeData data, other;
    data.setData("KLFendrelUser", "carol");
    other.setData("text/plain", "carol");
    QModelIndex guestsIndex = outline.index(1, 0);
    EXPECT_FALSE(outline.canDropMimeData(&data, Qt::CopyAction, 0, 0, guestsIndex)) << "between rows is refused";
    EXPECT_FALSE(outline.canDropMimeData(&data, Qt::CopyAction, -1, -1, outline.index(0, 0, outline.index(0, 0))))
        << "a member is no group";
    EXPECT_FALSE(outline.canDropMimeData(&other, Qt::CopyAction, -1, -1, guestsIndex));
    ASSERT_TRUE(outline.dropMimeData(&data, Qt::CopyAction, -1, -1, guestsIndex));
    ASSERT_EQ(outline.rowCount(guestsIndex), 1);
    EXPECT_EQ(outline.index(0, 0, guestsIndex).data().toString(), "carol");
}

} // namespace
