#include "FakeOutlets.h"
#include "FakePaneContext.h"
#include "KLFSItem.h"
#include "KLUsersDataSource.h"
#include "TempDir.h"

#include <gtest/gtest.h>

namespace {

std::vector<std::string> strings(const KLPlist& list)
{
    std::vector<std::string> out;
    if (const KLPlist::Array* array = list.array()) {
        for (const KLPlist& value : *array)
            out.push_back(value.description());
    }
    return out;
}

class UsersTableTest : public ::testing::Test
{
protected:
    UsersTableTest()
    {
        pane.root = dir.path();
        pane.userNames = std::vector<std::string>{"alice", "bob"};
        dir.write(".htusers", "alice:h1\n bob :h2\n");
        users = KLUsersDataSource::initWithUserfile();
        pane.usersSource = users.get();
        folder = KLFSItem::create(dir.mkdir("private"));
        folder->setAuthStatus(KLFSItem::kPasswordBit, false);
        pane.selected = folder.get();
    }

    std::vector<std::string> required() const { return strings(folder->authDict()[KLFSItem::kRequireUser]); }
    bool active(int row) { return users->objectValue(view, "active", row) == KLPlist(true); }
    void click(int row, bool on) { users->setObjectValue(view, on, "active", row); }
    std::string accessFile() const { return dir.file("private/.htaccess"); }

    TempDir dir;
    FakePaneContext pane;
    FakeListView view{"userTable"};
    std::shared_ptr<KLUsersDataSource> users;
    std::shared_ptr<KLFSItem> folder;
};

TEST_F(UsersTableTest, RowZeroIsAnyValidUser)
{
    EXPECT_EQ(users->numberOfRows(view), 3);
    EXPECT_EQ(users->objectValue(view, "user", 0), KLPlist("Any Valid User"));
    EXPECT_EQ(users->objectValue(view, "user", 2), KLPlist("bob "));
    EXPECT_EQ(users->summaryTextForRow(0), "Any Valid User");
    EXPECT_EQ(users->summaryTextForRow(1), "alice");
    EXPECT_FALSE(users->shouldEdit(view, "user", 0));
    EXPECT_TRUE(users->shouldEdit(view, "active", 0));
    EXPECT_TRUE(users->shouldEdit(view, "user", 1));
}

TEST_F(UsersTableTest, AnyValidUserAndChosenUsersExcludeEachOther)
{
    click(1, true);
    click(2, true);
    EXPECT_EQ(required(), (std::vector<std::string>{"alice", "bob"}));
    EXPECT_TRUE(active(1));
    // The name "bob " is compared trimmed.
    EXPECT_TRUE(active(2));
    EXPECT_FALSE(active(0));

    int reloads = view.reloads;
    click(0, true);
    EXPECT_EQ(required(), (std::vector<std::string>{"valid-user"}));
    EXPECT_GT(view.reloads, reloads);
    EXPECT_TRUE(active(0));
    EXPECT_FALSE(active(1));

    click(2, true);
    EXPECT_EQ(required(), (std::vector<std::string>{"bob"}));
    click(2, false);
    EXPECT_TRUE(required().empty());
    click(0, true);
    click(0, false);
    EXPECT_TRUE(required().empty());
}

TEST_F(UsersTableTest, EveryClickWritesTheAccessFile)
{
    click(1, true);
    ASSERT_EQ(::unlink(accessFile().c_str()), 0);
    // Already on: nothing changes, the file is written all the same.
    click(1, true);
    EXPECT_EQ(required(), (std::vector<std::string>{"alice"}));
    EXPECT_NE(readFile(accessFile()).find("alice"), std::string::npos);
}

TEST_F(UsersTableTest, CellsFollowTheFolder)
{
    KLCell box;
    users->willDisplayCell(view, box, "active", 1);
    EXPECT_TRUE(box.enabled);
    KLCell name0;
    KLCell name1;
    users->willDisplayCell(view, name0, "user", 0);
    users->willDisplayCell(view, name1, "user", 1);
    EXPECT_EQ(name0.imageName, "");
    EXPECT_EQ(name1.imageName, "genericuser");

    folder->setAuthStatus(KLFSItem::kAddressBit, false);
    KLCell addressOnly;
    users->willDisplayCell(view, addressOnly, "active", 1);
    EXPECT_FALSE(addressOnly.enabled);

    // No folder selected: nothing is on, nothing can be clicked or changed.
    pane.selected = nullptr;
    KLCell none;
    users->willDisplayCell(view, none, "active", 1);
    EXPECT_FALSE(none.enabled);
    EXPECT_FALSE(active(0));
    click(1, true);
}

TEST_F(UsersTableTest, DeletingTellsThePaneUnlessReplacing)
{
    EXPECT_FALSE(users->deleteRow(view, 0, false));
    EXPECT_FALSE(users->deleteRow(view, -1, false));
    EXPECT_FALSE(users->deleteRow(view, 3, false));
    EXPECT_EQ(readFile(dir.file(".htusers")), "alice:h1\n bob :h2\n");

    EXPECT_TRUE(users->deleteRow(view, 2, true));
    EXPECT_TRUE(pane.deletedUsers.empty());
    EXPECT_EQ(readFile(dir.file(".htusers")), "alice:h1\n");
    EXPECT_FALSE(users->hasUser("bob "));

    EXPECT_TRUE(users->deleteRow(view, 1, false));
    EXPECT_EQ(pane.deletedUsers, (std::vector<std::string>{"alice"}));
    EXPECT_EQ(readFile(dir.file(".htusers")), "");
    EXPECT_FALSE(users->containsItem("alice"));
}

TEST_F(UsersTableTest, DraggingPutsTheNameAndAMissingPassword)
{
    KLPasteboard pasteboard;
    EXPECT_FALSE(users->writeRows(view, {0}, pasteboard));
    EXPECT_TRUE(pasteboard.types().empty());
    ASSERT_TRUE(users->writeRows(view, {2, 1}, pasteboard));
    EXPECT_EQ(pasteboard.types(), (std::vector<std::string>{"KLFendrelUser", KLPasteboard::kStringType}));
    EXPECT_EQ(pasteboard.stringForType("KLFendrelUser"), "bob :(null)");
    EXPECT_EQ(pasteboard.stringForType(KLPasteboard::kStringType), "bob :(null)");
    EXPECT_EQ(users->validateDrop(view, pasteboard, 1, KLDropOperation::On), KLDragOperation::None);
    EXPECT_FALSE(users->acceptDrop(view, pasteboard, 1, KLDropOperation::On));
}

} // namespace
