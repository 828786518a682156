// Users and groups written by the credential sources, judged by a real
// Apache answering on 127.0.0.1: DES hashes from encryptPassword log in,
// password changes and deletions take effect, dropped group members and
// "Any Valid User" are let in exactly as the lists say.

#include "ApacheSandbox.h"
#include "FakeOutlets.h"
#include "FendrelPref.h"
#include "KLFSItem.h"
#include "KLGroupsDataSource.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <fstream>

namespace {

// The pane controller with a folder selected the way a click would.
class TestPane : public FendrelPref
{
public:
    void select(KLFSItem* item) { fsItem_ = item; }
};

class CredentialsApacheTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!ApacheSandbox::available())
            GTEST_SKIP() << "apache2 is not installed";
        docs = apache.documentRoot();
        FendrelPref::setSharedInstance(&pane);
        KLUserDefaults::standardUserDefaults().setInteger(2, "Fendrel Protected Folder");
        KLUserDefaults::standardUserDefaults().setObject(docs, "Web Dir");
        users = KLUsersDataSource::initWithUserfile();
        pane.setUsers(users);
        groups = KLGroupsDataSource::initWithUsers({});
        groups->setOutlineView(&groupOutline);
        pane.setGroups(groups);
        ASSERT_TRUE(apache.start()) << apache.error();
    }

    void TearDown() override { FendrelPref::setSharedInstance(nullptr); }

    // What the pane does when the add-user sheet succeeds.
    void addUser(const std::string& name, const std::string& password)
    {
        ASSERT_FALSE(users->containsItem(name));
        KLPlist::Dictionary record;
        record[KLUsersDataSource::kUserKey] = name;
        record[KLUsersDataSource::kPasswordKey] = users->encryptPassword(password, KLPasswordHash::Kind::DES).value();
        users->dataArray().emplace_back(std::move(record));
        ASSERT_TRUE(users->writeUserfile());
    }

    int rowOf(const std::string& name)
    {
        for (int row = 1; row < users->numberOfRows(userTable); ++row) {
            if (users->objectValue(userTable, KLUsersDataSource::kUserColumn, row) == KLPlist(name))
                return row;
        }
        return -1;
    }

    // A password-protected folder with an index page, selected in the pane.
    void protectFolder(const std::string& name)
    {
        std::filesystem::create_directories(docs + "/" + name);
        std::ofstream(docs + "/" + name + "/index.html") << "<p>" << name << "</p>\n";
        folder = KLFSItem::create(docs + "/" + name);
        pane.select(folder.get());
        folder->setAuthStatus(KLFSItem::kPasswordBit, false);
        ASSERT_TRUE(folder->isPasswordProtected()) << folder->stringValue();
    }

    void tick(int row, bool on) { users->setObjectValue(userTable, on, KLUsersDataSource::kActiveColumn, row); }

    int get(const std::string& user, const std::string& password)
    {
        return apache.status("/" + folderName + "/", user, password);
    }

    ApacheSandbox apache;
    TestPane pane;
    std::string docs;
    std::string folderName = "private";
    std::shared_ptr<KLUsersDataSource> users;
    std::shared_ptr<KLGroupsDataSource> groups;
    std::shared_ptr<KLFSItem> folder;
    FakeListView userTable{"userTable"};
    FakeListView groupOutline{"groupOutline"};
};

TEST_F(CredentialsApacheTest, ChosenUsersLogInWithTheirCurrentPassword)
{
    addUser("alice", "alice-pw");
    addUser("bob", "bob-pw");
    protectFolder(folderName);
    tick(rowOf("alice"), true);
    EXPECT_EQ(apache.status("/private/"), 401);
    EXPECT_EQ(get("alice", "alice-pw"), 200) << folder->stringValue();
    EXPECT_EQ(get("bob", "bob-pw"), 401);

    // A new password the way the pane's edit sheet stores it: the new
    // record is appended, then the old row is deleted as a replacement.
    int oldRow = rowOf("alice");
    KLPlist::Dictionary record;
    record[KLUsersDataSource::kUserKey] = "alice";
    record[KLUsersDataSource::kPasswordKey] = users->encryptPassword("new-secret", KLPasswordHash::Kind::DES).value();
    users->dataArray().emplace_back(std::move(record));
    ASSERT_TRUE(users->deleteRow(userTable, oldRow, true));
    EXPECT_EQ(get("alice", "new-secret"), 200);
    EXPECT_EQ(get("alice", "alice-pw"), 401);

    // A deleted user is refused even where any valid user may enter.
    tick(0, true);
    EXPECT_EQ(get("bob", "bob-pw"), 200);
    ASSERT_TRUE(users->deleteRow(userTable, rowOf("bob"), false));
    EXPECT_EQ(get("bob", "bob-pw"), 401);
    EXPECT_EQ(get("alice", "new-secret"), 200);
}

TEST_F(CredentialsApacheTest, DroppedGroupMembersAreLetIn)
{
    addUser("alice", "alice-pw");
    addUser("bob", "bob-pw");
    addUser("carol", "carol-pw");
    groups = KLGroupsDataSource::initWithUsers(*pane.userArray());
    groups->setOutlineView(&groupOutline);
    pane.setGroups(groups);

    KLUserItem* team = groups->addNewGroup("Group 1");
    groups->setObjectValue(groupOutline, "team", KLGroupsDataSource::kGroupColumn, team);
    KLPasteboard drag;
    ASSERT_TRUE(users->writeRows(userTable, {rowOf("bob")}, drag));
    ASSERT_EQ(groups->validateDrop(groupOutline, drag, team, -1), KLDragOperation::Copy);
    ASSERT_TRUE(groups->acceptDrop(groupOutline, drag, team, 0));
    ASSERT_TRUE(pane.hasGroup("team"));

    protectFolder(folderName);
    groups->setObjectValue(groupOutline, true, KLGroupsDataSource::kActiveColumn, team);
    EXPECT_EQ(get("bob", "bob-pw"), 200) << folder->stringValue();
    EXPECT_EQ(get("alice", "alice-pw"), 401);
    EXPECT_EQ(get("carol", "carol-pw"), 401);

    groups->removeUserFromGroups("bob");
    EXPECT_EQ(get("bob", "bob-pw"), 401);
}

TEST_F(CredentialsApacheTest, AnyValidUserAdmitsEveryUserOfTheFile)
{
    addUser("alice", "alice-pw");
    addUser("bob", "bob-pw");
    // DES reads eight characters: the server accepts the first eight alone.
    addUser("carol", "carol-long-password");
    ASSERT_TRUE(KLUsersDataSource::passwordIsTruncated("carol-long-password"));
    protectFolder(folderName);
    tick(rowOf("alice"), true);
    tick(0, true);
    EXPECT_EQ(users->objectValue(userTable, KLUsersDataSource::kActiveColumn, rowOf("alice")), KLPlist(false));
    EXPECT_EQ(get("alice", "alice-pw"), 200) << folder->stringValue();
    EXPECT_EQ(get("bob", "bob-pw"), 200);
    EXPECT_EQ(get("carol", "carol-long-password"), 200);
    EXPECT_EQ(get("carol", "carol-lo"), 200);
    EXPECT_EQ(get("carol", "carol-l"), 401);
    EXPECT_EQ(get("mallory", "alice-pw"), 401);
}

// Other programs (htpasswd, an editor) change the users, groups and access
// files while the pane holds the root open; each change the pane makes next
// keeps theirs, and Apache sees both.
TEST_F(CredentialsApacheTest, EditsFromOtherProgramsSurviveThePanesNextChange)
{
    auto outside = [&](const std::string& command) { ASSERT_EQ(std::system(command.c_str()), 0) << command; };
    auto file = [&](const char* name) {
        std::ifstream in(docs + "/" + name);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    addUser("alice", "alice-pw");
    addUser("bob", "bob-pw");
    protectFolder(folderName);
    tick(0, true);
    const std::string htusers = " " + docs + "/.htusers ";

    struct Step
    {
        std::string outsideCommand;
        std::function<void()> paneChange;
        std::vector<std::tuple<std::string, std::string, int>> answers;
    };
    const std::vector<Step> steps = {
        {"htpasswd -bd" + htusers + "zoe zoe-pw 2>/dev/null", [&] { addUser("dave", "dave-pw"); },
         {{"zoe", "zoe-pw", 200}, {"dave", "dave-pw", 200}, {"alice", "alice-pw", 200}}},
        {"htpasswd -D" + htusers + "alice 2>/dev/null", [&] { ASSERT_TRUE(users->deleteRow(userTable, rowOf("bob"), false)); },
         {{"alice", "alice-pw", 401}, {"bob", "bob-pw", 401}, {"zoe", "zoe-pw", 200}, {"dave", "dave-pw", 200}}},
        {"", [&] { tick(0, false); tick(rowOf("dave"), true); }, {{"dave", "dave-pw", 200}, {"zoe", "zoe-pw", 401}}},
        // A hand edit of the managed list, then a user ticked in the pane.
        {"sed -i 's/^Require user dave$/Require user dave zoe/' " + docs + "/" + folderName + "/.htaccess",
         [&] { addUser("erin", "erin-pw"); tick(rowOf("erin"), true); },
         {{"dave", "dave-pw", 200}, {"zoe", "zoe-pw", 200}, {"erin", "erin-pw", 200}}},
        {"echo 'admins: zoe' >> " + docs + "/.htgroups",
         [&] {
             KLUserItem* team = groups->addNewGroup("Group 1");
             groups->setObjectValue(groupOutline, "team", KLGroupsDataSource::kGroupColumn, team);
         },
         {}},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.outsideCommand);
        if (!step.outsideCommand.empty())
            outside(step.outsideCommand);
        step.paneChange();
        for (const auto& [user, password, status] : step.answers)
            EXPECT_EQ(get(user, password), status) << user << "\n" << file(".htusers") << folder->stringValue();
    }
    EXPECT_EQ(file(".htgroups"), "admins: zoe \nteam: \n");
    EXPECT_TRUE(pane.hasGroup("admins"));
}

} // namespace
