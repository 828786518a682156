#include "FakeSources.h"
#include "KLOutlineView.h"
#include "KLTableView.h"
#include "PaneTestApp.h"
#include "QtOutlineModel.h"
#include "QtTableModel.h"

#include <QAbstractItemModelTester>
#include <QIcon>
#include <QMimeData>

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

class TableModelTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        source.rows = {{"Any Valid User", false}, {"alice", true}, {"bob", false}};
        view.setDataSource(&source);
    }
    FakeTableSource source;
    KLTableView view{"userTable", tableColumns()};
    QtTableModel& model = *view.tableModel();
};

TEST_F(TableModelTest, ShowsTheSourceAndPassesTheModelTester)
{
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    ASSERT_EQ(model.rowCount(), 3);
    EXPECT_EQ(model.index(1, 1).data().toString(), "alice");
    EXPECT_EQ(model.index(1, 0).data(Qt::CheckStateRole).toInt(), Qt::Checked);
    EXPECT_EQ(model.index(2, 0).data(Qt::CheckStateRole).toInt(), Qt::Unchecked);
    EXPECT_EQ(model.headerData(1, Qt::Horizontal, Qt::DisplayRole).toString(), "Name");
    EXPECT_FALSE(qvariant_cast<QIcon>(model.index(1, 1).data(Qt::DecorationRole)).isNull());
    // The roles a delegate asks for together answer as they do one by one.
    for (const QModelIndex& index : {model.index(1, 0), model.index(2, 0), model.index(1, 1)}) {
        QModelRoleData roles[] = {QModelRoleData(Qt::DisplayRole), QModelRoleData(Qt::CheckStateRole),
                                  QModelRoleData(QtColumn::kEnabledRole), QModelRoleData(QtColumn::kSummaryRole)};
        model.multiData(index, roles);
        for (const QModelRoleData& role : roles)
            EXPECT_EQ(role.data(), index.data(role.role())) << role.role();
    }

    // Rows the source adds appear at the next reload, not before.
    source.rows.push_back({"carol", false});
    EXPECT_EQ(model.rowCount(), 3);
    view.reloadData();
    EXPECT_EQ(model.rowCount(), 4);
    source.rows.erase(source.rows.begin() + 1, source.rows.end());
    EXPECT_FALSE(model.index(2, 1).data().isValid()) << "rows past the source's end are not asked for";
    view.reloadData();
    EXPECT_EQ(model.rowCount(), 1);
}

TEST_F(TableModelTest, CheckBoxesAndEditsGoToTheSourceOnlyWhereAllowed)
{
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_TRUE(model.flags(model.index(2, 0)) & Qt::ItemIsUserCheckable);
    EXPECT_TRUE(model.setData(model.index(2, 0), Qt::Checked, Qt::CheckStateRole));
    EXPECT_TRUE(source.rows[2].active);

    source.checksEnabled = false;
    EXPECT_FALSE(model.flags(model.index(2, 0)) & Qt::ItemIsUserCheckable);
    EXPECT_FALSE(model.index(2, 0).data(QtColumn::kEnabledRole).toBool());
    view.selectRow(2, false);
    EXPECT_EQ(view.selectedRow(), 2) << "a row with a disabled check box can still be selected";

    EXPECT_TRUE(model.flags(model.index(1, 1)) & Qt::ItemIsEditable);
    EXPECT_TRUE(model.setData(model.index(1, 1), "alicia", Qt::EditRole));
    EXPECT_EQ(source.rows[1].name, "alicia");
    source.editable = false;
    EXPECT_FALSE(model.flags(model.index(1, 1)) & Qt::ItemIsEditable);
    EXPECT_FALSE(model.setData(model.index(1, 1), "x", Qt::DisplayRole)) << "only edits count";
}

TEST_F(TableModelTest, ASourceThatReloadsWhileStoringKeepsTheModelConsistent)
{
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    source.reloadOnSet = true;
    EXPECT_TRUE(model.setData(model.index(1, 0), Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_FALSE(source.rows[1].active);
    EXPECT_EQ(model.rowCount(), 3);
}

TEST_F(TableModelTest, DraggedRowsCarryTheUserTypeTheSourceWrote)
{
    view.setDragTypes(true, {});
    std::unique_ptr<QMimeData> data(model.mimeData({model.index(2, 1)}));
    ASSERT_TRUE(data);
    EXPECT_EQ(data->data("KLFendrelUser"), "bob");
    EXPECT_FALSE(model.mimeData({model.index(0, 1)})) << "the source refuses to drag row 0";
    view.setDragTypes(false, {});
    EXPECT_FALSE(model.mimeData({model.index(2, 1)}));
}

class OutlineModelTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        staff = source.addGroup("staff");
        source.addMember(staff, "alice");
        source.addMember(staff, "bob");
        guests = source.addGroup("guests");
        view.setDataSource(&source);
    }
    FakeOutlineSource source;
    FakeOutlineSource::Node* staff = nullptr;
    FakeOutlineSource::Node* guests = nullptr;
    KLOutlineView view{"groupOutline", outlineColumns()};
    QtOutlineModel& model = *view.outlineModel();
};

TEST_F(OutlineModelTest, ShowsTheTreeWithParentsAndPassesTheModelTester)
{
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    ASSERT_EQ(model.rowCount(), 2);
    QModelIndex staffIndex = model.index(0, 0);
    EXPECT_EQ(staffIndex.data().toString(), "staff");
    ASSERT_EQ(model.rowCount(staffIndex), 2);
    QModelIndex bob = model.index(1, 0, staffIndex);
    EXPECT_EQ(bob.data().toString(), "bob");
    EXPECT_EQ(model.parent(bob), staffIndex);
    EXPECT_EQ(model.indexForItem(staff), staffIndex);
    EXPECT_TRUE(model.hasChildren(model.index(1, 0))) << "an empty group can still be opened";
    EXPECT_EQ(model.rowCount(model.index(1, 0)), 0);
    EXPECT_TRUE(model.flags(staffIndex) & Qt::ItemIsEditable);
    EXPECT_FALSE(model.flags(bob) & Qt::ItemIsEditable);
    EXPECT_TRUE(model.index(0, 1).data(Qt::CheckStateRole).isValid());
    QModelIndex bobCheck = model.index(1, 1, staffIndex);
    EXPECT_FALSE(bobCheck.data(Qt::CheckStateRole).isValid()) << "a transparent cell shows no check box";
    EXPECT_FALSE(model.flags(bobCheck) & Qt::ItemIsUserCheckable);
}

TEST_F(OutlineModelTest, ReloadingAnItemShowsItsNewChildrenAndKeepsUnchangedOnes)
{
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    QModelIndex guestsIndex = model.index(1, 0);
    ASSERT_EQ(model.rowCount(guestsIndex), 0);
    source.addMember(guests, "carol");
    EXPECT_EQ(model.rowCount(guestsIndex), 0) << "the model keeps what it was told until a reload";
    view.reloadItem(guests);
    ASSERT_EQ(model.rowCount(guestsIndex), 1);
    EXPECT_EQ(model.index(0, 0, guestsIndex).data().toString(), "carol");

    view.expand(model.index(0, 0));
    QPersistentModelIndex alice = model.index(0, 0, model.index(0, 0));
    view.reloadItem(staff);
    EXPECT_TRUE(alice.isValid()) << "children that did not change keep their rows";
    EXPECT_TRUE(view.isExpanded(model.index(0, 0)));

    staff->children.erase(staff->children.begin());
    view.reloadItem(staff);
    EXPECT_FALSE(alice.isValid());
    ASSERT_EQ(model.rowCount(model.index(0, 0)), 1);
    EXPECT_EQ(model.index(0, 0, model.index(0, 0)).data().toString(), "bob");
}

TEST_F(OutlineModelTest, AUserDroppedOnAGroupBecomesAMember)
{
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    view.setDragTypes(false, {"KLFendrelUser"});
    QMimeData data;
    data.setData("KLFendrelUser", "carol");
    QModelIndex guestsIndex = model.index(1, 0);
    EXPECT_FALSE(model.canDropMimeData(&data, Qt::CopyAction, 0, 0, guestsIndex)) << "between rows is refused";
    EXPECT_FALSE(model.canDropMimeData(&data, Qt::CopyAction, -1, -1, model.index(0, 0, model.index(0, 0))))
        << "a member is no group";
    QMimeData other;
    other.setData("text/plain", "carol");
    EXPECT_FALSE(model.canDropMimeData(&other, Qt::CopyAction, -1, -1, guestsIndex));
    ASSERT_TRUE(model.dropMimeData(&data, Qt::CopyAction, -1, -1, guestsIndex));
    ASSERT_EQ(model.rowCount(guestsIndex), 1);
    EXPECT_EQ(model.index(0, 0, guestsIndex).data().toString(), "carol");
}

} // namespace
