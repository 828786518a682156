// Users and groups written by the credential sources, judged by a real Apache answering on 127.0.0.1: DES hashes
// log in, password changes and deletions take effect, "Any Valid User" lets in exactly the users of the file, and
// edits from other programs survive the pane's next change.

#include "ApacheSandbox.h"
#include "FakeOutlets.h"
#include "FendrelPref.h"
#include "KLFSItem.h"
#include "KLGroupsDataSource.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

namespace {

// The pane controller with a folder selected the way a click would.
class TestPane : public FendrelPref
{
public:
    void select(KLFSItem* item) { fsItem_ = item; }
};

// Logins and what Apache answers them at the protected folder.
using Answers = std::vector<std::tuple<std::string, std::string, int>>;

class CredentialsApacheTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!ApacheSandbox::available())
            GTEST_SKIP() << "apache2 is not installed";
        FendrelPref::setSharedInstance(&pane);
        KLUserDefaults::standardUserDefaults().setInteger(2, "Fendrel Protected Folder");
        KLUserDefaults::standardUserDefaults().setObject(docs, "Web Dir");
        users = KLUsersDataSource::initWithUserfile();
        pane.setUsers(users);
        for (const auto& [name, password] : {std::pair{"alice", "alice-pw"}, {"bob", "bob-pw"}})
            addUser(name, password);
        ASSERT_TRUE(apache.start()) << apache.error();
    }
    void TearDown() override { FendrelPref::setSharedInstance(nullptr); }

    // What the pane does when the add-user sheet succeeds (and, before deleting the old row, the edit sheet).
    void addUser(const std::string& name, const std::string& password, bool write = true)
    {
        KLPlist::Dictionary record;
        record[KLUsersDataSource::kUserKey] = name;
        record[KLUsersDataSource::kPasswordKey] = users->encryptPassword(password, KLPasswordHash::Kind::DES).value();
        users->dataArray().emplace_back(std::move(record));
        ASSERT_TRUE(!write || users->writeUserfile());
    }
    int rowOf(const std::string& name)
    {
        for (int row = 1; row < users->numberOfRows(userTable); ++row)
            if (users->objectValue(userTable, KLUsersDataSource::kUserColumn, row) == KLPlist(name))
                return row;
        return -1;
    }
    // A password-protected folder with an index page, selected in the pane, with groups of the current users.
    void protectFolder()
    {
        groups = KLGroupsDataSource::initWithUsers(*pane.userArray());
        groups->setOutlineView(&groupOutline);
        pane.setGroups(groups);
        std::filesystem::create_directories(docs + "/private");
        std::ofstream(docs + "/private/index.html") << "<p>private</p>\n";
        folder = KLFSItem::create(docs + "/private");
        pane.select(folder.get());
        folder->setAuthStatus(KLFSItem::kPasswordBit, false);
    }
    void tick(int row, bool on) { users->setObjectValue(userTable, on, KLUsersDataSource::kActiveColumn, row); }
    void expectAnswers(const Answers& answers)
    {
        for (const auto& [user, password, status] : answers)
            EXPECT_EQ(apache.status("/private/", user, password), status)
                << user << " " << password << "\n" << readFile(docs + "/.htusers") << folder->stringValue();
    }

    ApacheSandbox apache;
    TestPane pane;
    std::string docs = apache.documentRoot();
    std::shared_ptr<KLUsersDataSource> users;
    std::shared_ptr<KLGroupsDataSource> groups;
    std::shared_ptr<KLFSItem> folder;
    FakeListView userTable{"userTable"};
    FakeListView groupOutline{"groupOutline"};
};

TEST_F(CredentialsApacheTest, ChosenUsersLogInWithTheirCurrentPassword)
{
    addUser("carol", "carol-long-password"); // DES reads eight characters: the first eight alone let in
    ASSERT_TRUE(KLUsersDataSource::passwordIsTruncated("carol-long-password"));
    protectFolder();
    tick(rowOf("alice"), true);
    EXPECT_EQ(apache.status("/private/"), 401);
    expectAnswers({{"alice", "alice-pw", 200}, {"bob", "bob-pw", 401}});

    // A new password as the edit sheet stores it: the new record appended, the old row deleted as a replacement.
    int oldRow = rowOf("alice");
    addUser("alice", "new-secret", false);
    ASSERT_TRUE(users->deleteRow(userTable, oldRow, true));
    expectAnswers({{"alice", "new-secret", 200}, {"alice", "alice-pw", 401}});

    // Any valid user replaces the ticked users; a deleted user is refused even so.
    tick(0, true);
    EXPECT_EQ(users->objectValue(userTable, KLUsersDataSource::kActiveColumn, rowOf("alice")), KLPlist(false));
    expectAnswers({{"alice", "new-secret", 200}, {"bob", "bob-pw", 200}, {"carol", "carol-long-password", 200},
                   {"carol", "carol-lo", 200}, {"carol", "carol-l", 401}, {"mallory", "new-secret", 401}});
    ASSERT_TRUE(users->deleteRow(userTable, rowOf("bob"), false));
    expectAnswers({{"bob", "bob-pw", 401}, {"alice", "new-secret", 200}});
}

// Other programs (htpasswd, an editor) change the users, groups and access files while the pane holds the root
// open; each change the pane makes next keeps theirs, and Apache sees both.
TEST_F(CredentialsApacheTest, EditsFromOtherProgramsSurviveThePanesNextChange)
{
    protectFolder();
    tick(0, true);
    const std::string htusers = " " + docs + "/.htusers ";
    const std::tuple<std::string, std::function<void()>, Answers> steps[] = {
        {"htpasswd -bd" + htusers + "zoe zoe-pw", [&] { addUser("dave", "dave-pw"); },
         {{"zoe", "zoe-pw", 200}, {"dave", "dave-pw", 200}, {"alice", "alice-pw", 200}}},
        {"htpasswd -D" + htusers + "alice", [&] { ASSERT_TRUE(users->deleteRow(userTable, rowOf("bob"), false)); },
         {{"alice", "alice-pw", 401}, {"bob", "bob-pw", 401}, {"zoe", "zoe-pw", 200}, {"dave", "dave-pw", 200}}},
        {"true", [&] { tick(0, false); tick(rowOf("dave"), true); }, {{"dave", "dave-pw", 200}, {"zoe", "zoe-pw", 401}}},
        // A hand edit of the managed list, then a user ticked in the pane.
        {"sed -i 's/^Require user dave$/Require user dave zoe/' " + docs + "/private/.htaccess",
         [&] { addUser("erin", "erin-pw"); tick(rowOf("erin"), true); },
         {{"dave", "dave-pw", 200}, {"zoe", "zoe-pw", 200}, {"erin", "erin-pw", 200}}},
        {"echo 'admins: zoe' >> " + docs + "/.htgroups",
         [&] {
             KLUserItem* team = groups->addNewGroup("Group 1");
             groups->setObjectValue(groupOutline, "team", KLGroupsDataSource::kGroupColumn, team);
         },
         {}},
    };
    for (const auto& [command, paneChange, answers] : steps) {
        SCOPED_TRACE(command);
        ASSERT_EQ(std::system((command + " 2>/dev/null").c_str()), 0);
        paneChange();
        expectAnswers(answers);
    }
    EXPECT_EQ(readFile(docs + "/.htgroups"), "admins: zoe \nteam: \n");
    EXPECT_TRUE(pane.hasGroup("admins"));
}

} // namespace
