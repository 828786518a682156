#include "FakeOutlets.h"
#include "FakePaneContext.h"
#include "KLAddressDataSource.h"
#include "KLFSItem.h"
#include "KLGroupsDataSource.h"
#include "KLLog.h"
#include "KLUsersDataSource.h"
#include "KLXDataSource.h"
#include "TempDir.h"

#include <gtest/gtest.h>

namespace {

using Names = std::vector<std::string>;

// A password-protected folder, selected, with the users alice and "bob ".
class CheckBoxesTest : public ::testing::Test
{
protected:
    CheckBoxesTest()
    {
        pane.root = dir.path();
        pane.userNames = Names{"alice", "bob"};
        pane.groupNames = Names{"staff", "ops"};
        dir.write(".htusers", "alice:h1\n bob :h2\n");
        users = KLUsersDataSource::initWithUserfile();
        pane.usersSource = users.get();
        folder->setAuthStatus(KLFSItem::kPasswordBit, false);
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
    // The users table's boxes of the three rows: any valid user, alice, "bob ".
    std::vector<bool> boxes()
    {
        std::vector<bool> on;
        for (int row = 0; row < 3; ++row)
            on.push_back(users->objectValue(view, "active", row) == KLPlist(true));
        return on;
    }
    template <class Source, class Item>
    KLCell cell(Source& source, const char* column, Item item)
    {
        KLCell shown;
        source.willDisplayCell(view, shown, column, item);
        return shown;
    }

    TempDir dir;
    FakePaneContext pane;
    FakeListView view{"userTable"};
    std::shared_ptr<KLUsersDataSource> users;
    std::shared_ptr<KLFSItem> folder = KLFSItem::create(dir.mkdir("private"));
};

TEST_F(CheckBoxesTest, GroupsAreTickedOnePerGroupAddressesOnlyWhenTheListChanges)
{
    dir.write(".htgroups", "staff: alice \nops: bob \n");
    auto groups = KLGroupsDataSource::initWithUsers(KLNameSet({"alice", "bob"}));
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

    KLCell member = cell(*groups, "active", alice), group = cell(*groups, "active", ops);
    EXPECT_EQ(std::tuple(member.enabled, member.transparent, group.enabled, group.transparent), std::tuple(false, true, true, false));
    folder->setAuthStatus(KLFSItem::kAddressBit, false);
    EXPECT_FALSE(cell(*groups, "active", ops).enabled) << "no password, no groups";

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
    EXPECT_TRUE(cell(addresses, "active", 0).enabled);
    folder->setAuthStatus(KLFSItem::kPasswordBit, false);
    EXPECT_FALSE(cell(addresses, "active", 0).enabled);

    // Edited addresses go to the pane in lower case.
    addresses.setObjectValue(view, "Host.EXAMPLE.org", "address", 0);
    EXPECT_EQ(pane.replacedAddresses, (std::vector<std::pair<std::size_t, std::string>>{{0, "host.example.org"}}));
}

TEST_F(CheckBoxesTest, RowZeroIsAnyValidUserExcludingChosenUsersDraggingPutsTheNameAndDeletingTellsThePane)
{
    EXPECT_EQ(std::tuple(users->numberOfRows(view), users->objectValue(view, "user", 0), users->objectValue(view, "user", 2)),
              std::tuple(3, KLPlist("Any Valid User"), KLPlist("bob ")));
    EXPECT_EQ(std::tuple(users->shouldEdit(view, "user", 0), users->shouldEdit(view, "active", 0),
                         users->shouldEdit(view, "user", 1)),
              std::tuple(false, true, true));
    EXPECT_EQ(std::pair(cell(*users, "user", 0).imageName, cell(*users, "user", 1).imageName), std::pair(std::string(), std::string("genericuser")));
    KLPasteboard pasteboard;
    ASSERT_TRUE(users->writeRows(view, {2, 1}, pasteboard));
    EXPECT_EQ(pasteboard.types(), (Names{"KLFendrelUser", KLPasteboard::kStringType}));
    EXPECT_EQ(pasteboard.stringForType("KLFendrelUser"), "bob :(null)");
    EXPECT_EQ(pasteboard.stringForType(KLPasteboard::kStringType), "bob :(null)");
    EXPECT_EQ(users->validateDrop(view, pasteboard, 1, KLDropOperation::On), KLDragOperation::None);
    EXPECT_FALSE(users->acceptDrop(view, pasteboard, 1, KLDropOperation::On));

    // row clicked, on, the users required after, the boxes after ("bob " is compared trimmed)
    const std::tuple<int, bool, Names, std::vector<bool>> steps[] = {
        {1, true, {"alice"}, {false, true, false}},      {2, true, {"alice", "bob"}, {false, true, true}},
        {0, true, {"valid-user"}, {true, false, false}}, {2, true, {"bob"}, {false, false, true}},
        {2, false, {}, {false, false, false}},           {0, true, {"valid-user"}, {true, false, false}},
        {0, false, {}, {false, false, false}}};
    for (const auto& [row, on, after, shown] : steps) {
        int reloads = view.reloads;
        users->setObjectValue(view, on, "active", row);
        EXPECT_EQ(chosen(KLFSItem::kRequireUser), KLPlist::stringArray(after)) << row << on;
        EXPECT_EQ(boxes(), shown) << row << on;
        EXPECT_TRUE(row != 0 || !on || view.reloads > reloads) << "any valid user redraws the table";
    }
    // Already on: nothing changes, but the file is written all the same.
    users->setObjectValue(view, true, "active", 1);
    ASSERT_EQ(::unlink(dir.file("private/.htaccess").c_str()), 0);
    users->setObjectValue(view, true, "active", 1);
    EXPECT_EQ(chosen(KLFSItem::kRequireUser), KLPlist::stringArray({"alice"}));
    EXPECT_NE(readFile(dir.file("private/.htaccess")).find("alice"), std::string::npos);

    EXPECT_TRUE(cell(*users, "active", 1).enabled);
    folder->setAuthStatus(KLFSItem::kAddressBit, false);
    EXPECT_FALSE(cell(*users, "active", 1).enabled) << "no password, no users";
    // No folder selected: nothing is on, nothing can be clicked or changed.
    pane.selected = nullptr;
    EXPECT_FALSE(cell(*users, "active", 1).enabled);
    EXPECT_EQ(boxes(), (std::vector<bool>{false, false, false}));
    users->setObjectValue(view, true, "active", 1);

    for (int row : {0, -1, 3})
        EXPECT_FALSE(users->deleteRow(view, row, false)) << row;
    EXPECT_EQ(readFile(dir.file(".htusers")), "alice:h1\n bob :h2\n");
    // Deleting tells the pane unless the row is being replaced.
    EXPECT_TRUE(users->deleteRow(view, 2, true));
    EXPECT_TRUE(pane.deletedUsers.empty());
    EXPECT_EQ(readFile(dir.file(".htusers")), "alice:h1\n");
    EXPECT_FALSE(users->hasUser("bob "));
    EXPECT_TRUE(users->deleteRow(view, 1, false));
    EXPECT_EQ(pane.deletedUsers, Names{"alice"});
    EXPECT_EQ(readFile(dir.file(".htusers")), "");
}

// Row deletion is checked through the users table, which deletes through this base.
TEST(XDataSourceTest, RowsShareTheArrayPlainOnesInOneColumnDictionariesKeyedByColumn)
{
    auto array = std::make_shared<KLPlist::Array>(KLPlist::Array{"10.0.0.1", "192.168.1.0/24"});
    KLXDataSource source(array);
    FakeListView view;
    EXPECT_EQ(std::pair(source.numberOfRows(view), source.numberOfColumns()), std::pair(2, 1));
    source.setObjectValue(view, "10.0.0.2", "whatever", 0);
    EXPECT_EQ(std::pair((*array)[0], source.summaryTextForRow(1)), std::pair(KLPlist("10.0.0.2"), std::string("192.168.1.0/24")));
    EXPECT_TRUE(source.objectAtRow(2, "address").isNull());
    source.setDataArray(nullptr);
    EXPECT_EQ(std::pair(source.numberOfRows(), array->size()), std::pair(0, std::size_t{2}));

    KLPlist::Array rows{KLPlist::Dictionary{{"user", "alice"}, {"basic password", "h1"}}};
    auto keyed = KLXDataSource::dataSourceWithDataArray(std::make_shared<KLPlist::Array>(rows));
    EXPECT_EQ(keyed->numberOfColumns(), 2);
    EXPECT_TRUE(keyed->objectAtRow(0, "missing").isNull());
    keyed->setObject("bob", 0, "user");
    EXPECT_EQ(keyed->objectAtRow(0, "user"), KLPlist("bob"));
    EXPECT_EQ(keyed->summaryTextForRow(0), "h1 bob "); // every value followed by one space
}

} // namespace
