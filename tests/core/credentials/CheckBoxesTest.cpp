#include "FakeOutlets.h"
#include "FakePaneContext.h"
#include "KLAddressDataSource.h"
#include "KLFSItem.h"
#include "KLGroupsDataSource.h"
#include "KLLog.h"
#include "TempDir.h"

#include <gtest/gtest.h>

namespace {

class CheckBoxesTest : public ::testing::Test
{
protected:
    CheckBoxesTest()
    {
        pane.root = dir.path();
        pane.userNames = std::vector<std::string>{"alice", "bob"};
        pane.groupNames = std::vector<std::string>{"staff", "ops"};
        pane.selected = folder.get();
    }
    KLPlist chosen(const char* key) { return folder->authDict()[key]; }
    // Whether the access file was written since the last call.
    bool written()
    {
        bool exists = ::access(dir.file("private/.htaccess").c_str(), F_OK) == 0;
        ::unlink(dir.file("private/.htaccess").c_str());
        return exists;
    }
    template <class Source, class Item>
    std::pair<bool, bool> box(Source& source, Item item)
    {
        KLCell cell;
        source.willDisplayCell(view, cell, "active", item);
        return {cell.enabled, cell.transparent};
    }

    TempDir dir;
    FakePaneContext pane;
    FakeListView view;
    std::shared_ptr<KLFSItem> folder = KLFSItem::create(dir.mkdir("private"));
};

TEST_F(CheckBoxesTest, GroupsAreTickedOnePerGroupAddressesOnlyWhenTheListChanges)
{
    folder->setAuthStatus(KLFSItem::kPasswordBit, false);
    dir.write(".htgroups", "staff: alice \nops: bob \n");
    auto groups = KLGroupsDataSource::initWithUsers({"alice", "bob"});
    KLUserItem *staff = groups->rootArray()[0].get(), *ops = groups->rootArray()[1].get();
    KLUserItem* alice = (*staff->children())[0].get();
    groups->setObjectValue(view, true, "active", staff);
    written();
    groups->setObjectValue(view, true, "active", staff);
    EXPECT_TRUE(written()) << "every click writes";
    groups->setObjectValue(view, true, "active", ops);
    EXPECT_EQ(chosen(KLFSItem::kRequireGroup), KLPlist::stringArray({"staff", "ops"}));
    EXPECT_EQ(std::pair(groups->objectValue(view, "active", staff), groups->objectValue(view, "active", alice)),
              std::pair(KLPlist(true), KLPlist(false)));
    written();
    groups->setObjectValue(view, false, "active", alice);
    EXPECT_FALSE(written()) << "a member's box does nothing";
    groups->setObjectValue(view, false, "active", staff);
    EXPECT_EQ(chosen(KLFSItem::kRequireGroup), KLPlist::stringArray({"ops"}));

    EXPECT_EQ(std::pair(box(*groups, alice), box(*groups, ops)), std::pair(std::pair(false, true), std::pair(true, false)));
    folder->setAuthStatus(KLFSItem::kAddressBit, false);
    EXPECT_FALSE(box(*groups, ops).first) << "no password, no groups";

    // Missing nodes are logged.
    std::vector<std::string> lines;
    KLSetLogSink([&](const std::string& line) { lines.push_back(line); });
    KLGroupsDataSource empty;
    EXPECT_EQ(empty.objectValue(view, "group", nullptr), KLPlist(""));
    empty.setObjectValue(view, "x", "group", nullptr);
    KLSetLogSink(nullptr);
    EXPECT_EQ(lines, (std::vector<std::string>(2, "Fendrel Error: Invalid Group Structure")));
    folder->setAllow(true);
    folder->setAuthStatus(KLFSItem::kAddressBit, false);
    pane.addressList = {"10.0.0.1", "192.168.0.0/16"};
    KLAddressDataSource addresses(std::make_shared<KLPlist::Array>(pane.addressList));
    EXPECT_EQ(std::tuple(addresses.numberOfRows(view), addresses.objectValue(view, "address", 1), addresses.objectValue(view, "active", 1)),
              std::tuple(2, KLPlist("192.168.0.0/16"), KLPlist(false)));
    addresses.setObjectValue(view, true, "active", 1);
    EXPECT_EQ(addresses.objectValue(view, "active", 1), KLPlist(true));
    EXPECT_EQ(chosen(KLFSItem::kAllowFrom), KLPlist::stringArray({"192.168.0.0/16"}));
    written();
    // row, on, whether the file is written
    for (auto [row, on, writes] : {std::tuple(1, true, false), std::tuple(0, false, false), std::tuple(1, false, true)}) {
        addresses.setObjectValue(view, on, "active", row);
        EXPECT_EQ(written(), writes) << row << on;
    }
    EXPECT_EQ(addresses.objectValue(view, "active", 1), KLPlist(false));
    EXPECT_TRUE(box(addresses, 0).first);
    folder->setAuthStatus(KLFSItem::kPasswordBit, false);
    EXPECT_FALSE(box(addresses, 0).first);

    // Edited addresses go to the pane in lower case.
    addresses.setObjectValue(view, "Host.EXAMPLE.org", "address", 0);
    EXPECT_EQ(pane.replacedAddresses, (std::vector<std::pair<std::size_t, std::string>>{{0, "host.example.org"}}));
}

} // namespace
