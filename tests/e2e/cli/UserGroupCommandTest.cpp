#include "CliFixture.h"
#include "FileSizeLimit.h"

#include <crypt.h>
#include <filesystem>

using UserGroupCommandTest = CliFixture;

TEST_F(UserGroupCommandTest, UsersAreStoredWithDesHashes)
{
    addUser("  alice  ", "wonder"); // surrounding blanks are dropped, as in the pane
    addUser("bob", "builder");
    EXPECT_EQ(json({"user", "list"}), usersWith({{"alice", "DES"}, {"bob", "DES"}}));
    EXPECT_EQ(ctl({"user", "list"}).out, "alice\nbob\n");

    std::string file = readFile(tree.file(".htusers"));
    ASSERT_EQ(std::count(file.begin(), file.end(), '\n'), 2) << file;
    std::string line = file.substr(0, file.find('\n'));
    ASSERT_EQ(line.rfind("alice:", 0), 0u);
    std::string hash = line.substr(6);
    ASSERT_EQ(hash.size(), 13u);
    crypt_data data{};
    EXPECT_EQ(std::string(crypt_r("wonder", hash.c_str(), &data)), hash);

    // A new password replaces the hash and keeps the user once.
    ASSERT_EQ(ctl({"user", "passwd", "alice"}, "changed\n").status, 0);
    file = readFile(tree.file(".htusers"));
    EXPECT_EQ(std::count(file.begin(), file.end(), '\n'), 2) << file;
    std::size_t at = file.find("alice:");
    ASSERT_NE(at, std::string::npos);
    std::string newHash = file.substr(at + 6, 13);
    EXPECT_EQ(std::string(crypt_r("changed", newHash.c_str(), &data)), newHash);
}

TEST_F(UserGroupCommandTest, APasswordLongerThanEightCharactersIsWarnedAboutAndStoredAsBefore)
{
    const std::string warning = "fendrelctl: warning: the password is longer than 8 characters: only its first 8 "
                                "characters are used (DES crypt)\n";
    auto hashOf = [this](const std::string& name) {
        std::string file = readFile(tree.file(".htusers"));
        std::size_t at = file.find(name + ":");
        return at == std::string::npos ? std::string() : file.substr(at + name.size() + 1, 13);
    };
    crypt_data data{};

    CliResult added = ctl({"user", "add", "dave"}, "longpassword\n");
    EXPECT_EQ(added.status, 0);
    EXPECT_EQ(added.err, warning);
    EXPECT_EQ(added.out, "dave\n");
    std::string hash = hashOf("dave");
    ASSERT_EQ(hash.size(), 13u);
    EXPECT_EQ(std::string(crypt_r("longpassword", hash.c_str(), &data)), hash);
    EXPECT_EQ(std::string(crypt_r("longpass", hash.c_str(), &data)), hash) << "only 8 characters count";

    CliResult exact = ctl({"user", "passwd", "dave"}, "8letters\n");
    EXPECT_EQ(exact.status, 0);
    EXPECT_EQ(exact.err, "") << "eight characters are all used";
    EXPECT_EQ(std::string(crypt_r("8letters", hashOf("dave").c_str(), &data)), hashOf("dave"));

    CliResult changed = ctl({"user", "passwd", "dave"}, "another-long-one\n");
    EXPECT_EQ(changed.status, 0);
    EXPECT_EQ(changed.err, warning);
    EXPECT_EQ(std::string(crypt_r("another-long-one", hashOf("dave").c_str(), &data)), hashOf("dave"));

    // A refused password only gets the refusal.
    expectRefused(ctl({"user", "add", "dave"}, "longpassword\n"), 3, "Please choose a unique username");
    // Standard output stays JSON; the warning goes to standard error.
    CliResult json = ctl({"--json", "user", "add", "erin"}, "longpassword\n");
    EXPECT_EQ(json.status, 0);
    EXPECT_EQ(json.err, warning);
    EXPECT_EQ(json.json(), usersWith({{"dave", "DES"}, {"erin", "DES"}}));

    // bcrypt uses all of it: no warning, whether chosen for one run or stored.
    CliResult bcrypt = ctl({"user", "passwd", "--hash", "BCRYPT", "dave"}, "longpassword\n");
    EXPECT_EQ(bcrypt.err, "");
    ASSERT_EQ(ctl({"settings", "set", "Password Hash", "bcrypt"}).status, 0);
    EXPECT_EQ(ctl({"user", "add", "frank"}, "longpassword\n").err, "");
    EXPECT_EQ(ctl({"user", "passwd", "--hash", "des", "erin"}, "longpassword\n").err, warning);
    EXPECT_EQ(ctl({"--json", "user", "list"}).json(),
              usersWith({{"dave", "bcrypt"}, {"frank", "bcrypt"}, {"erin", "DES"}}));
    EXPECT_EQ(ctl({"user", "add", "--hash", "md5", "gina"}, "pw\n").status, 2);
}

TEST_F(UserGroupCommandTest, TheSheetsChecksAndMessagesApply)
{
    addUser("alice");
    std::string before = readFile(tree.file(".htusers"));

    expectRefused(ctl({"user", "add", "ALICE"}, "pw\n"), 3, "Please choose a unique username");
    expectRefused(ctl({"user", "add", "valid-user"}, "pw\n"), 3, "Please choose a unique username");
    expectRefused(ctl({"user", "add", ""}, "pw\n"), 3, "Please choose a unique username");
    expectRefused(ctl({"user", "add", "al ice"}, "pw\n"), 3, "Usernames cannot contain spaces, tabs, or line returns");
    expectRefused(ctl({"user", "add", "carol"}, "\n"), 3, "You must supply a password");
    expectRefused(ctl({"user", "add", "carol"}), 3, "You must supply a password");
    expectRefused(ctl({"user", "add", "FendreLed"}, "pw\n"), 3, "Invalid username. Please choose another");
    expectRefused(ctl({"user", "passwd", "nobody"}, "pw\n"), 4, "No such user: nobody");
    expectRefused(ctl({"user", "passwd", "alice"}, "\n"), 3, "You must supply a password");
    expectRefused(ctl({"--yes", "user", "delete", "nobody"}), 4, "No such user: nobody");
    EXPECT_EQ(readFile(tree.file(".htusers")), before);
}

TEST_F(UserGroupCommandTest, GroupsAndMembers)
{
    addUser("alice");
    addUser("bob");
    ASSERT_EQ(ctl({"group", "add", "staff"}).status, 0);
    ASSERT_EQ(ctl({"group", "add", "web"}).status, 0);
    ASSERT_EQ(ctl({"group", "add-member", "staff", "alice"}).status, 0);
    ASSERT_EQ(ctl({"group", "add-member", "staff", "bob"}).status, 0);
    ASSERT_EQ(ctl({"group", "add-member", "web", "bob"}).status, 0);
    EXPECT_EQ(readFile(tree.file(".htgroups")), "staff: alice bob \nweb: bob \n");
    EXPECT_EQ(json({"group", "list"}), nlohmann::json::parse(R"([{"name":"staff","members":["alice","bob"]},
                                                                 {"name":"web","members":["bob"]}])"));

    ASSERT_EQ(ctl({"group", "rename", "web", "www"}).status, 0);
    ASSERT_EQ(ctl({"--yes", "group", "remove-member", "staff", "alice"}).status, 0);
    EXPECT_EQ(readFile(tree.file(".htgroups")), "staff: bob \nwww: bob \n");

    // Deleting a user takes it out of every group.
    ASSERT_EQ(ctl({"--yes", "user", "delete", "bob"}).status, 0);
    EXPECT_EQ(json({"user", "list"}), usersWith({{"alice", "DES"}}));
    EXPECT_EQ(readFile(tree.file(".htgroups")), "staff: \nwww: \n");

    ASSERT_EQ(ctl({"--yes", "group", "delete", "www"}).status, 0);
    EXPECT_EQ(readFile(tree.file(".htgroups")), "staff: \n");
}

TEST_F(UserGroupCommandTest, GroupRefusals)
{
    addUser("alice");
    ASSERT_EQ(ctl({"group", "add", "staff"}).status, 0);
    ASSERT_EQ(ctl({"group", "add-member", "staff", "alice"}).status, 0);
    std::string before = readFile(tree.file(".htgroups"));

    const std::string badName = "Group names must be unique and cannot contain spaces, tabs, or line returns";
    expectRefused(ctl({"group", "add", "STAFF"}), 3, badName);
    expectRefused(ctl({"group", "add", "two words"}), 3, badName);
    expectRefused(ctl({"group", "rename", "staff", "a b"}), 3, badName);
    // Names the groups file cannot hold are refused before anything is written.
    for (const char* name : {"gr\xc3\xbcppe", "\xc3\xa9", "bell\x07", "del\x7f"}) {
        expectRefused(ctl({"group", "add", name}), 3, "Invalid group name. Please choose another");
        expectRefused(ctl({"group", "rename", "staff", name}), 3, "Invalid group name. Please choose another");
    }
    expectRefused(ctl({"group", "rename", "nogroup", "x"}), 4, "No such group: nogroup");
    expectRefused(ctl({"group", "add-member", "nogroup", "alice"}), 4, "No such group: nogroup");
    expectRefused(ctl({"group", "add-member", "staff", "nobody"}), 4, "No such user: nobody");
    expectRefused(ctl({"group", "add-member", "staff", "alice"}), 3, "User \"alice\" is already in group \"staff\"");
    expectRefused(ctl({"--yes", "group", "remove-member", "staff", "nobody"}), 4,
                  "No such member of group \"staff\": nobody");
    EXPECT_EQ(readFile(tree.file(".htgroups")), before);
}

TEST_F(UserGroupCommandTest, DeletionsAskUnlessToldYesOrTheDialogIsOff)
{
    addUser("alice");
    ASSERT_EQ(ctl({"group", "add", "staff"}).status, 0);
    std::string users = readFile(tree.file(".htusers"));
    std::string groups = readFile(tree.file(".htgroups"));

    EXPECT_EQ(ctl({"user", "delete", "alice"}).status, 3);
    EXPECT_EQ(ctl({"group", "delete", "staff"}).status, 3);
    EXPECT_EQ(readFile(tree.file(".htusers")), users);
    EXPECT_EQ(readFile(tree.file(".htgroups")), groups);

    ASSERT_EQ(runCli({"settings", "set", "User Delete Dialog", "false"}).status, 0);
    ASSERT_EQ(runCli({"settings", "set", "Group Delete Dialog", "false"}).status, 0);
    EXPECT_EQ(ctl({"user", "delete", "alice"}).status, 0);
    EXPECT_EQ(ctl({"group", "delete", "staff"}).status, 0);
    EXPECT_EQ(readFile(tree.file(".htusers")), "");
    EXPECT_EQ(readFile(tree.file(".htgroups")), "");
}

TEST_F(UserGroupCommandTest, KnownAddresses)
{
    EXPECT_EQ(json({"address", "list"}), nlohmann::json::array({"127.0.0.1"}));
    EXPECT_EQ(json({"address", "add", "10.0.0.1"}), nlohmann::json::array({"127.0.0.1", "10.0.0.1"}));
    EXPECT_EQ(json({"address", "add", "Example.ORG"}), nlohmann::json::array({"127.0.0.1", "10.0.0.1", "example.org"}));
    expectRefused(ctl({"address", "add", "10.0.0.1"}), 3, "Address \"10.0.0.1\" is already known");
    expectRefused(ctl({"address", "add", "host.domain.tld"}), 3, "Address \"host.domain.tld\" cannot be used");
    expectRefused(ctl({"address", "remove", "10.9.9.9"}), 4, "No such address: 10.9.9.9");
    EXPECT_EQ(json({"address", "remove", "10.0.0.1"}), nlohmann::json::array({"127.0.0.1", "example.org"}));
    EXPECT_EQ(json({"settings", "get", "Address Array"}), nlohmann::json::array({"127.0.0.1", "example.org"}));
}

TEST_F(UserGroupCommandTest, OnATerminalThePasswordIsAskedTwiceAndQuestionsAreAsked)
{
    std::vector<std::string> root = {"--root", tree.path()};
    auto args = [&root](std::vector<std::string> more) {
        more.insert(more.begin(), root.begin(), root.end());
        return more;
    };
    CliResult mismatch = runCliOnTerminal(args({"user", "add", "carol"}),
                                          {{"Password: ", "first"}, {"Password (again): ", "second"}});
    EXPECT_EQ(mismatch.status, 3);
    EXPECT_NE(mismatch.out.find("fendrelctl: Passwords do not match"), std::string::npos) << mismatch.out;
    EXPECT_EQ(mismatch.out.find("first"), std::string::npos) << "the password was echoed";
    EXPECT_EQ(json({"user", "list"}), nlohmann::json::array());

    CliResult added = runCliOnTerminal(args({"user", "add", "carol"}),
                                       {{"Password: ", "same"}, {"Password (again): ", "same"}});
    EXPECT_EQ(added.status, 0) << added.out;
    EXPECT_EQ(json({"user", "list"}), usersWith({{"carol", "DES"}}));

    CliResult kept = runCliOnTerminal(args({"user", "delete", "carol"}), {{"[Yes/Don't Ask/No] ", "no"}});
    EXPECT_EQ(kept.status, 1);
    EXPECT_NE(kept.out.find("Are you sure you wish to delete the user \"carol\"?"), std::string::npos) << kept.out;
    EXPECT_EQ(json({"user", "list"}), usersWith({{"carol", "DES"}}));

    // "Don't Ask" deletes and turns the question off for next time.
    CliResult gone = runCliOnTerminal(args({"user", "delete", "carol"}), {{"[Yes/Don't Ask/No] ", "d"}});
    EXPECT_EQ(gone.status, 0) << gone.out;
    EXPECT_EQ(json({"user", "list"}), nlohmann::json::array());
    EXPECT_EQ(runCli({"settings", "get", "User Delete Dialog"}).out, "false\n");
}

TEST_F(UserGroupCommandTest, AFileThatCannotBeWrittenFailsTheCommand)
{
    tree.mkdir(".htusers"); // a folder where the users file should be
    CliResult result = ctl({"user", "add", "alice"}, "pw\n");
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.out.empty()) << result.out;
    EXPECT_EQ(result.err, "fendrelctl: " + tree.file(".htusers") + " was not changed: it is a folder.\n");
}

// The pane keeps a group change in memory when the groups file cannot be
// written; the command fails instead of printing it.
TEST_F(UserGroupCommandTest, AGroupsFileThatCannotBeWrittenFailsTheCommand)
{
    addUser("alice");
    addUser("bob");
    ASSERT_EQ(ctl({"group", "add", "verylonggroupname"}).status, 0);
    ASSERT_EQ(ctl({"group", "add-member", "verylonggroupname", "alice"}).status, 0);
    ASSERT_EQ(ctl({"group", "add-member", "verylonggroupname", "bob"}).status, 0);
    const std::string groupsFile = tree.file(".htgroups");
    const std::string notWritten = groupsFile + " was not changed: File too large.";
    std::string before = readFile(groupsFile);
    {
        // Room for the users file without alice ("bob:" and a 13-character
        // hash), not for the groups file.
        FileSizeLimit limit(20);
        expectRefused(ctl({"--yes", "group", "remove-member", "verylonggroupname", "bob"}), 1, notWritten);
        expectRefused(ctl({"group", "rename", "verylonggroupname", "verylonggroupname2"}), 1, notWritten);
        expectRefused(ctl({"group", "add", "other"}), 1, notWritten);
        // The user goes, but the groups file still names her: not a success.
        expectRefused(ctl({"--yes", "user", "delete", "alice"}), 1, notWritten);
    }
    EXPECT_EQ(readFile(groupsFile), before);

    // An unreadable groups file is left as it is, so nothing can be changed.
    std::filesystem::remove(groupsFile);
    tree.mkdir(".htgroups");
    expectRefused(ctl({"group", "add", "g1"}), 1, groupsFile + " was not changed: it is a folder.");
    EXPECT_TRUE(std::filesystem::is_directory(groupsFile));
    // Commands that leave the groups alone still work.
    EXPECT_EQ(ctl({"user", "add", "carol"}, "pw\n").status, 0);
}
