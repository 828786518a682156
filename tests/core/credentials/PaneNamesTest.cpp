#include "FakeOutlets.h"
#include "FendrelPref.h"
#include "KLFSItem.h"
#include "KLGroupsDataSource.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"
#include "TempDir.h"

#include <gtest/gtest.h>

namespace {

// The pane controller's name queries over real users and groups sources.
class PaneNamesTest : public ::testing::Test
{
protected:
    PaneNamesTest()
    {
        FendrelPref::setSharedInstance(&pane);
        KLUserDefaults::standardUserDefaults().setInteger(2, "Fendrel Protected Folder");
        KLUserDefaults::standardUserDefaults().setObject(dir.path(), "Web Dir");
    }
    ~PaneNamesTest() override { FendrelPref::setSharedInstance(nullptr); }

    TempDir dir;
    FendrelPref pane;
};

TEST_F(PaneNamesTest, NoSourcesNoNames)
{
    EXPECT_FALSE(pane.userArray());
    EXPECT_FALSE(pane.groupArray());
    EXPECT_FALSE(pane.hasUser("alice"));
    EXPECT_FALSE(pane.hasGroup("staff"));
}

TEST_F(PaneNamesTest, NamesFollowTheSources)
{
    dir.write(".htusers", "carol:h3\nalice:h1\n");
    dir.write(".htgroups", "staff: alice \nops: \n");
    auto users = KLUsersDataSource::initWithUserfile();
    pane.setUsers(users);
    auto groups = KLGroupsDataSource::initWithUsers(*pane.userArray());
    pane.setGroups(groups);

    EXPECT_EQ(pane.userArray(), (std::vector<std::string>{"carol", "alice"}));
    EXPECT_EQ(pane.groupArray(), (std::vector<std::string>{"staff", "ops"}));
    EXPECT_TRUE(pane.hasUser("alice"));
    EXPECT_FALSE(pane.hasUser("Alice"));
    EXPECT_TRUE(pane.hasGroup("ops"));

    // Changes made the pane's way show at once.
    users->dataArray().push_back(KLPlist::Dictionary{{"user", "dave"}, {"basic password", "h4"}});
    EXPECT_TRUE(pane.hasUser("dave"));
    FakeListView table;
    ASSERT_TRUE(users->deleteRow(table, 2, false));
    EXPECT_FALSE(pane.hasUser("alice"));
    EXPECT_EQ(pane.userArray(), (std::vector<std::string>{"carol", "dave"}));

    FakeListView outline;
    groups->setObjectValue(outline, "admins", "group", groups->rootArray()[1].get());
    EXPECT_TRUE(pane.hasGroup("admins"));
    EXPECT_FALSE(pane.hasGroup("ops"));
    groups->addNewGroup("web");
    EXPECT_TRUE(pane.hasGroup("web"));
    ASSERT_TRUE(groups->deleteRowForItem(outline, groups->rootArray()[0].get()));
    EXPECT_FALSE(pane.hasGroup("staff"));
    EXPECT_EQ(pane.groupArray(), (std::vector<std::string>{"admins", "web"}));
}

TEST_F(PaneNamesTest, FolderReadersKeepOnlyKnownNames)
{
    dir.write(".htusers", "alice:h1\n");
    dir.write(".htgroups", "staff: alice \n");
    pane.setUsers(KLUsersDataSource::initWithUserfile());
    pane.setGroups(KLGroupsDataSource::initWithUsers(*pane.userArray()));
    dir.write("private/.htaccess",
              "AuthType Basic\nRequire user alice mallory\nRequire group staff crew\n");
    auto folder = KLFSItem::create(dir.file("private"));
    auto names = [](const KLPlist& list) {
        std::vector<std::string> out;
        for (const KLPlist& v : *list.array())
            out.push_back(v.description());
        return out;
    };
    EXPECT_EQ(names(folder->authDict()[KLFSItem::kRequireUser]), (std::vector<std::string>{"alice"}));
    EXPECT_EQ(names(folder->authDict()[KLFSItem::kRequireGroup]), (std::vector<std::string>{"staff"}));
}

} // namespace
