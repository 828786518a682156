#include "FakeOutlets.h"
#include "FakePaneContext.h"
#include "KLFSItem.h"
#include "KLUsersDataSource.h"
#include "TempDir.h"

#include <gtest/gtest.h>

namespace {

using Names = std::vector<std::string>;

class UsersTableTest : public ::testing::Test
{
protected:
    UsersTableTest()
    {
        pane.root = dir.path();
        pane.userNames = Names{"alice", "bob"};
        dir.write(".htusers", "alice:h1\n bob :h2\n");
        users = KLUsersDataSource::initWithUserfile();
        pane.usersSource = users.get();
        folder->setAuthStatus(KLFSItem::kPasswordBit, false);
        pane.selected = folder.get();
    }
    KLPlist required() const { return folder->authDict().at(KLFSItem::kRequireUser); }
    // The boxes of the three rows: any valid user, alice, "bob ".
    std::vector<bool> boxes()
    {
        std::vector<bool> on;
        for (int row = 0; row < 3; ++row)
            on.push_back(users->objectValue(view, "active", row) == KLPlist(true));
        return on;
    }
    KLCell cell(const char* column, int row)
    {
        KLCell shown;
        users->willDisplayCell(view, shown, column, row);
        return shown;
    }

    TempDir dir;
    FakePaneContext pane;
    FakeListView view{"userTable"};
    std::shared_ptr<KLUsersDataSource> users;
    std::shared_ptr<KLFSItem> folder = KLFSItem::create(dir.mkdir("private"));
};

TEST_F(UsersTableTest, RowZeroIsAnyValidUserDraggingPutsTheNameWithoutPasswordAndDeletingTellsThePane)
{
    EXPECT_EQ(std::tuple(users->numberOfRows(view), users->objectValue(view, "user", 0), users->objectValue(view, "user", 2)),
              std::tuple(3, KLPlist("Any Valid User"), KLPlist("bob ")));
    EXPECT_EQ(std::pair(users->summaryTextForRow(0), users->summaryTextForRow(1)),
              std::pair(std::string("Any Valid User"), std::string("alice")));
    EXPECT_EQ(std::tuple(users->shouldEdit(view, "user", 0), users->shouldEdit(view, "active", 0),
                         users->shouldEdit(view, "user", 1)),
              std::tuple(false, true, true));
    EXPECT_EQ(std::pair(cell("user", 0).imageName, cell("user", 1).imageName), std::pair(std::string(), std::string("genericuser")));
    KLPasteboard pasteboard;
    EXPECT_FALSE(users->writeRows(view, {0}, pasteboard) || !pasteboard.types().empty());
    ASSERT_TRUE(users->writeRows(view, {2, 1}, pasteboard));
    EXPECT_EQ(pasteboard.types(), (Names{"KLFendrelUser", KLPasteboard::kStringType}));
    EXPECT_EQ(pasteboard.stringForType("KLFendrelUser"), "bob :(null)");
    EXPECT_EQ(pasteboard.stringForType(KLPasteboard::kStringType), "bob :(null)");
    EXPECT_EQ(users->validateDrop(view, pasteboard, 1, KLDropOperation::On), KLDragOperation::None);
    EXPECT_FALSE(users->acceptDrop(view, pasteboard, 1, KLDropOperation::On));

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
    EXPECT_FALSE(users->containsItem("alice"));
}

TEST_F(UsersTableTest, AnyValidUserAndChosenUsersExcludeEachOther)
{
    // row clicked, on, the users required after, the boxes after ("bob " is compared trimmed)
    const std::tuple<int, bool, Names, std::vector<bool>> steps[] = {
        {1, true, {"alice"}, {false, true, false}},      {2, true, {"alice", "bob"}, {false, true, true}},
        {0, true, {"valid-user"}, {true, false, false}}, {2, true, {"bob"}, {false, false, true}},
        {2, false, {}, {false, false, false}},           {0, true, {"valid-user"}, {true, false, false}},
        {0, false, {}, {false, false, false}}};
    for (const auto& [row, on, after, shown] : steps) {
        int reloads = view.reloads;
        users->setObjectValue(view, on, "active", row);
        EXPECT_EQ(required(), KLPlist::stringArray(after)) << row << on;
        EXPECT_EQ(boxes(), shown) << row << on;
        EXPECT_TRUE(row != 0 || !on || view.reloads > reloads) << "any valid user redraws the table";
    }
    // Already on: nothing changes, but the file is written all the same.
    users->setObjectValue(view, true, "active", 1);
    ASSERT_EQ(::unlink(dir.file("private/.htaccess").c_str()), 0);
    users->setObjectValue(view, true, "active", 1);
    EXPECT_EQ(required(), KLPlist::stringArray({"alice"}));
    EXPECT_NE(readFile(dir.file("private/.htaccess")).find("alice"), std::string::npos);

    EXPECT_TRUE(cell("active", 1).enabled);
    folder->setAuthStatus(KLFSItem::kAddressBit, false);
    EXPECT_FALSE(cell("active", 1).enabled) << "no password, no users";
    // No folder selected: nothing is on, nothing can be clicked or changed.
    pane.selected = nullptr;
    EXPECT_FALSE(cell("active", 1).enabled);
    EXPECT_EQ(boxes(), (std::vector<bool>{false, false, false}));
    users->setObjectValue(view, true, "active", 1);
}

} // namespace
