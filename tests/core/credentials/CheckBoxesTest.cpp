#include "FakeOutlets.h"
#include "FakePaneContext.h"
#include "KLAddressDataSource.h"
#include "KLFSItem.h"
#include "KLGroupsDataSource.h"
#include "KLLog.h"
#include "TempDir.h"

#include <gtest/gtest.h>

namespace {

std::vector<std::string> strings(const KLPlist* list)
{
    std::vector<std::string> out;
    if (list && list->array()) {
        for (const KLPlist& value : *list->array())
            out.push_back(value.description());
    }
    return out;
}

class CheckBoxesTest : public ::testing::Test
{
protected:
    CheckBoxesTest()
    {
        pane.root = dir.path();
        pane.userNames = std::vector<std::string>{"alice", "bob"};
        pane.groupNames = std::vector<std::string>{"staff", "ops"};
        folder = KLFSItem::create(dir.mkdir("private"));
        pane.selected = folder.get();
    }

    bool accessFileExists() const { return ::access(dir.file("private/.htaccess").c_str(), F_OK) == 0; }
    void removeAccessFile() const { ::unlink(dir.file("private/.htaccess").c_str()); }

    TempDir dir;
    FakePaneContext pane;
    FakeListView view;
    std::shared_ptr<KLFSItem> folder;
};

TEST_F(CheckBoxesTest, GroupsAreTickedOnePerGroup)
{
    folder->setAuthStatus(KLFSItem::kPasswordBit, false);
    dir.write(".htgroups", "staff: alice \nops: bob \n");
    auto groups = KLGroupsDataSource::initWithUsers({"alice", "bob"});
    KLUserItem* staff = groups->rootArray()[0].get();
    KLUserItem* ops = groups->rootArray()[1].get();
    KLUserItem* alice = (*staff->children())[0].get();

    groups->setObjectValue(view, true, "active", staff);
    removeAccessFile();
    groups->setObjectValue(view, true, "active", staff);
    EXPECT_TRUE(accessFileExists());
    groups->setObjectValue(view, true, "active", ops);
    EXPECT_EQ(strings(&folder->authDict()[KLFSItem::kRequireGroup]), (std::vector<std::string>{"staff", "ops"}));
    EXPECT_EQ(groups->objectValue(view, "active", staff), KLPlist(true));
    EXPECT_EQ(groups->objectValue(view, "active", alice), KLPlist(false));

    // A member's box does nothing and writes nothing.
    removeAccessFile();
    groups->setObjectValue(view, false, "active", alice);
    EXPECT_FALSE(accessFileExists());
    groups->setObjectValue(view, false, "active", staff);
    EXPECT_EQ(strings(&folder->authDict()[KLFSItem::kRequireGroup]), (std::vector<std::string>{"ops"}));

    KLCell group;
    KLCell member;
    groups->willDisplayCell(view, group, "active", ops);
    groups->willDisplayCell(view, member, "active", alice);
    EXPECT_TRUE(group.enabled);
    EXPECT_FALSE(group.transparent);
    EXPECT_FALSE(member.enabled);
    EXPECT_TRUE(member.transparent);
    folder->setAuthStatus(KLFSItem::kAddressBit, false);
    KLCell addressOnly;
    groups->willDisplayCell(view, addressOnly, "active", ops);
    EXPECT_FALSE(addressOnly.enabled);
}

TEST_F(CheckBoxesTest, MissingNodesAreLogged)
{
    std::vector<std::string> lines;
    KLSetLogSink([&](const std::string& line) { lines.push_back(line); });
    KLGroupsDataSource groups;
    EXPECT_EQ(groups.objectValue(view, "group", nullptr), KLPlist(""));
    groups.setObjectValue(view, "x", "group", nullptr);
    KLSetLogSink(nullptr);
    EXPECT_EQ(lines, (std::vector<std::string>(2, "Fendrel Error: Invalid Group Structure")));
}

TEST_F(CheckBoxesTest, AddressesAreWrittenOnlyWhenTheListChanges)
{
    folder->setAllow(true);
    folder->setAuthStatus(KLFSItem::kAddressBit, false);
    pane.addressList = {"10.0.0.1", "192.168.0.0/16"};
    auto shared = std::make_shared<KLPlist::Array>(pane.addressList);
    KLAddressDataSource addresses(shared);
    EXPECT_EQ(addresses.numberOfRows(view), 2);
    EXPECT_EQ(addresses.objectValue(view, "address", 1), KLPlist("192.168.0.0/16"));
    EXPECT_EQ(addresses.objectValue(view, "active", 1), KLPlist(false));

    addresses.setObjectValue(view, true, "active", 1);
    EXPECT_EQ(addresses.objectValue(view, "active", 1), KLPlist(true));
    EXPECT_EQ(strings(&folder->authDict()[KLFSItem::kAllowFrom]), (std::vector<std::string>{"192.168.0.0/16"}));
    removeAccessFile();
    addresses.setObjectValue(view, true, "active", 1);
    EXPECT_FALSE(accessFileExists());
    addresses.setObjectValue(view, false, "active", 0);
    EXPECT_FALSE(accessFileExists());
    addresses.setObjectValue(view, false, "active", 1);
    EXPECT_TRUE(accessFileExists());
    EXPECT_EQ(addresses.objectValue(view, "active", 1), KLPlist(false));

    KLCell cell;
    addresses.willDisplayCell(view, cell, "active", 0);
    EXPECT_TRUE(cell.enabled);
    folder->setAuthStatus(KLFSItem::kPasswordBit, false);
    addresses.willDisplayCell(view, cell, "active", 0);
    EXPECT_FALSE(cell.enabled);
}

TEST_F(CheckBoxesTest, EditedAddressesGoToThePaneInLowerCase)
{
    pane.addressList = {"10.0.0.1"};
    KLAddressDataSource addresses(std::make_shared<KLPlist::Array>(pane.addressList));
    addresses.setObjectValue(view, "Host.EXAMPLE.org", "address", 0);
    ASSERT_EQ(pane.replacedAddresses.size(), 1u);
    EXPECT_EQ(pane.replacedAddresses[0], (std::pair<std::size_t, std::string>{0, "host.example.org"}));
}

} // namespace
