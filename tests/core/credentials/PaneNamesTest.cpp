#include "FakeOutlets.h"
#include "FendrelPref.h"
#include "KLGroupsDataSource.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"
#include "TempDir.h"

#include <gtest/gtest.h>

namespace {

using Names = std::vector<std::string>;

// The pane controller's name queries over real users and groups sources.
TEST(PaneNamesTest, NamesFollowTheSources)
{
    TempDir dir;
    FendrelPref pane;
    FendrelPref::setSharedInstance(&pane);
    KLUserDefaults::standardUserDefaults().setInteger(2, "Fendrel Protected Folder");
    KLUserDefaults::standardUserDefaults().setObject(dir.path(), "Web Dir");
    EXPECT_FALSE(pane.userArray() || pane.groupArray() || pane.hasUser("alice") || pane.hasGroup("staff"));
    dir.write(".htusers", "carol:h3\nalice:h1\n");
    dir.write(".htgroups", "staff: alice \nops: \n");
    auto users = KLUsersDataSource::initWithUserfile();
    pane.setUsers(users);
    auto groups = KLGroupsDataSource::initWithUsers(*pane.userArray());
    pane.setGroups(groups);
    EXPECT_EQ(pane.userArray(), (Names{"carol", "alice"}));
    EXPECT_EQ(pane.groupArray(), (Names{"staff", "ops"}));
    EXPECT_TRUE(pane.hasUser("alice") && !pane.hasUser("Alice") && pane.hasGroup("ops"));
    // Changes made the pane's way show at once.
    users->dataArray().push_back(KLPlist::Dictionary{{"user", "dave"}, {"basic password", "h4"}});
    EXPECT_TRUE(pane.hasUser("dave"));
    FakeListView view;
    ASSERT_TRUE(users->deleteRow(view, 2, false));
    EXPECT_EQ(pane.userArray(), (Names{"carol", "dave"}));
    groups->setObjectValue(view, "admins", "group", groups->rootArray()[1].get());
    groups->addNewGroup("web");
    EXPECT_TRUE(pane.hasGroup("admins") && !pane.hasGroup("ops") && pane.hasGroup("web"));
    ASSERT_TRUE(groups->deleteRowForItem(view, groups->rootArray()[0].get()));
    EXPECT_EQ(pane.groupArray(), (Names{"admins", "web"}));
    EXPECT_FALSE(pane.hasGroup("staff") || pane.hasUser("alice"));
    FendrelPref::setSharedInstance(nullptr);
}

} // namespace
