#include "CliFixture.h"
#include "FileSizeLimit.h"

#include <crypt.h>
#include <filesystem>

namespace {

class UserGroupCommandTest : public CliFixture
{
protected:
    // Whether `name`'s line in the users file holds the DES hash of `password`.
    bool hashes(const std::string& name, const std::string& password) const
    {
        std::string users = "\n" + text(".htusers");
        std::size_t at = users.find("\n" + name + ":");
        std::string hash = at == std::string::npos ? "" : users.substr(at + name.size() + 2, 13);
        crypt_data data{};
        return hash.size() == 13 && crypt_r(password.c_str(), hash.c_str(), &data) == hash;
    }
};

const std::string kLong = "warning: the password is longer than 8 characters: only its first 8 characters are used "
                          "(DES crypt)";
const std::string kNotUnique = "Please choose a unique username";
const std::string kBadGroup = "Group names must be unique and cannot contain spaces, tabs, or line returns";

} // namespace

TEST_F(UserGroupCommandTest, PasswordsAreStoredAsDesHashesAndLongOnesWarnedAbout)
{
    addUser("  alice  ", "wonder"); // surrounding blanks are dropped, as in the pane
    addUser("bob", "builder");
    EXPECT_EQ(ctl({"user", "list"}).out, "alice\nbob\n");
    // Each run, and the first 8 characters of its password, which let in too.
    const std::pair<Step, std::string> cases[] = {
        {{{"user", "passwd", "alice"}, 0, "", std::nullopt, "changed\n"}, "changed"},
        {{{"user", "add", "dave"}, 0, kLong, "bob\nalice\ndave\n", "longpassword\n"}, "longpass"},
        {{{"user", "passwd", "dave"}, 0, "", std::nullopt, "8letters\n"}, "8letters"},
        {{{"user", "passwd", "dave"}, 0, kLong, std::nullopt, "another-long-one\n"}, "another-"},
    };
    for (const auto& [step, prefix] : cases) {
        run({step});
        EXPECT_TRUE(hashes(step.args[2], step.input.substr(0, step.input.size() - 1)) && hashes(step.args[2], prefix))
            << prefix;
    }
    EXPECT_FALSE(hashes("alice", "wonder"));
    const std::string users = text(".htusers");
    EXPECT_EQ(std::count(users.begin(), users.end(), '\n'), 3) << "each user once";
    // Standard output stays JSON; the warning goes to standard error.
    CliResult listed = ctl({"--json", "user", "add", "erin"}, "longpassword\n");
    EXPECT_EQ(listed.err, "fendrelctl: " + kLong + "\n");
    EXPECT_EQ(listed.json(), usersWith({{"bob", "DES"}, {"alice", "DES"}, {"dave", "DES"}, {"erin", "DES"}}));
    // bcrypt uses all of it: no warning, whether chosen for one run or stored.
    run({{{"user", "add", "dave"}, 3, kNotUnique, "", "longpassword\n"},
         {{"user", "passwd", "--hash", "BCRYPT", "dave"}, 0, "", std::nullopt, "longpassword\n"},
         {{"settings", "set", "Password Hash", "bcrypt"}},
         {{"user", "add", "frank"}, 0, "", std::nullopt, "longpassword\n"},
         {{"user", "passwd", "--hash", "des", "erin"}, 0, kLong, std::nullopt, "longpassword\n"},
         {{"user", "add", "--hash", "md5", "gina"}, 2, std::nullopt, "", "pw\n"}});
    EXPECT_EQ(json({"user", "list"}), usersWith({{"bob", "DES"}, {"alice", "DES"}, {"dave", "bcrypt"},
                                                 {"frank", "bcrypt"}, {"erin", "DES"}}));
}

TEST_F(UserGroupCommandTest, RefusalsChangeNoFile)
{
    addUser("alice");
    ASSERT_EQ(ctl({"group", "add", "staff"}).status, 0);
    ASSERT_EQ(ctl({"group", "add-member", "staff", "alice"}).status, 0);
    const std::string users = text(".htusers"), groups = text(".htgroups");
    std::vector<Step> steps = {
        {{"user", "add", "ALICE"}, 3, kNotUnique, "", "pw\n"},
        {{"user", "add", "valid-user"}, 3, kNotUnique, "", "pw\n"},
        {{"user", "add", ""}, 3, kNotUnique, "", "pw\n"},
        {{"user", "add", "al ice"}, 3, "Usernames cannot contain spaces, tabs, or line returns", "", "pw\n"},
        {{"user", "add", "carol"}, 3, "You must supply a password", "", "\n"},
        {{"user", "add", "carol"}, 3, "You must supply a password", ""},
        {{"user", "add", "FendreLed"}, 3, "Invalid username. Please choose another", "", "pw\n"},
        {{"user", "passwd", "nobody"}, 4, "No such user: nobody", "", "pw\n"},
        {{"user", "passwd", "alice"}, 3, "You must supply a password", "", "\n"},
        {{"--yes", "user", "delete", "nobody"}, 4, "No such user: nobody", ""},
        {{"user", "delete", "alice"}, 3},
        {{"group", "delete", "staff"}, 3},
        {{"group", "add", "STAFF"}, 3, kBadGroup},
        {{"group", "add", "two words"}, 3, kBadGroup},
        {{"group", "rename", "staff", "a b"}, 3, kBadGroup},
        {{"group", "rename", "nogroup", "x"}, 4, "No such group: nogroup"},
        {{"group", "add-member", "nogroup", "alice"}, 4, "No such group: nogroup"},
        {{"group", "add-member", "staff", "nobody"}, 4, "No such user: nobody"},
        {{"group", "add-member", "staff", "alice"}, 3, "User \"alice\" is already in group \"staff\""},
        {{"--yes", "group", "remove-member", "staff", "nobody"}, 4, "No such member of group \"staff\": nobody"},
    };
    // Names the groups file cannot hold are refused before anything is written.
    for (const char* name : {"gr\xc3\xbcppe", "\xc3\xa9", "bell\x07", "del\x7f"}) {
        steps.push_back({{"group", "add", name}, 3, "Invalid group name. Please choose another"});
        steps.push_back({{"group", "rename", "staff", name}, 3, "Invalid group name. Please choose another"});
    }
    run(steps);
    EXPECT_EQ(text(".htusers"), users);
    EXPECT_EQ(text(".htgroups"), groups);

    // Without the questions, deletions go at once.
    run({{{"settings", "set", "User Delete Dialog", "false"}},
         {{"settings", "set", "Group Delete Dialog", "false"}},
         {{"user", "delete", "alice"}},
         {{"group", "delete", "staff"}}});
    EXPECT_EQ(text(".htusers"), "");
    EXPECT_EQ(text(".htgroups"), "");
}

TEST_F(UserGroupCommandTest, GroupsAndMembers)
{
    addUser("alice");
    addUser("bob");
    struct Case
    {
        std::vector<std::string> args;
        std::string groups;
    };
    const Case cases[] = {
        {{"group", "add", "staff"}, "staff: \n"},
        {{"group", "add", "web"}, "staff: \nweb: \n"},
        {{"group", "add-member", "staff", "alice"}, "staff: alice \nweb: \n"},
        {{"group", "add-member", "staff", "bob"}, "staff: alice bob \nweb: \n"},
        {{"group", "add-member", "web", "bob"}, "staff: alice bob \nweb: bob \n"},
        {{"group", "rename", "web", "www"}, "staff: alice bob \nwww: bob \n"},
        {{"--yes", "group", "remove-member", "staff", "alice"}, "staff: bob \nwww: bob \n"},
        {{"--yes", "user", "delete", "bob"}, "staff: \nwww: \n"}, // out of every group
        {{"--yes", "group", "delete", "www"}, "staff: \n"},
    };
    for (const Case& c : cases) {
        CliResult result = ctl(c.args);
        EXPECT_EQ(result.status, 0) << c.args[2] << result.err;
        EXPECT_EQ(text(".htgroups"), c.groups) << c.args[2];
        if (c.args[2] == "add-member" && c.args[4] == "bob") {
            EXPECT_EQ(json({"group", "list"}), nlohmann::json::parse(R"([{"name":"staff","members":["alice","bob"]},
                {"name":"web","members":["bob"]}])"));
        }
    }
    EXPECT_EQ(json({"user", "list"}), usersWith({{"alice", "DES"}}));
}

TEST_F(UserGroupCommandTest, OnATerminalThePasswordIsAskedTwiceAndQuestionsAreAsked)
{
    const std::string question = "[Yes/Don't Ask/No] ", carol = usersWith({{"carol", "DES"}}).dump();
    const std::tuple<std::string, std::vector<TerminalExchange>, int, std::string, std::string> cases[] = {
        {"add", {{"Password: ", "first"}, {"Password (again): ", "second"}}, 3, "fendrelctl: Passwords do not match", "[]"},
        {"add", {{"Password: ", "same"}, {"Password (again): ", "same"}}, 0, "", carol},
        {"delete", {{question, "no"}}, 1, "Are you sure you wish to delete the user \"carol\"?", carol},
        {"delete", {{question, "d"}}, 0, "", "[]"}, // deletes and turns the question off for next time
    };
    for (const auto& [command, exchanges, status, shown, users] : cases) {
        CliResult result = runCliOnTerminal({"--root", root, "user", command, "carol"}, exchanges);
        EXPECT_EQ(result.status, status) << result.out;
        EXPECT_NE(result.out.find(shown), std::string::npos) << result.out;
        EXPECT_EQ(result.out.find("first"), std::string::npos) << "the password was echoed";
        EXPECT_EQ(json({"user", "list"}).dump(), users) << exchanges[0].reply;
    }
    EXPECT_EQ(runCli({"settings", "get", "User Delete Dialog"}).out, "false\n");
}

// The pane keeps a change in memory when its file cannot be written; the command fails instead of printing it.
TEST_F(UserGroupCommandTest, AFileThatCannotBeWrittenFailsTheCommand)
{
    tree.mkdir(".htusers");
    run({{{"user", "add", "alice"}, 1, file(".htusers") + " was not changed: it is a folder.", "", "pw\n"}});
    std::filesystem::remove(file(".htusers"));
    addUser("alice");
    addUser("bob");
    run({{{"group", "add", "verylonggroupname"}},
         {{"group", "add-member", "verylonggroupname", "alice"}},
         {{"group", "add-member", "verylonggroupname", "bob"}}});
    const std::string groups = text(".htgroups"), tooLarge = file(".htgroups") + " was not changed: File too large.";
    {
        // Room for the users file without alice ("bob:" and a 13-character hash), not for the groups file.
        FileSizeLimit limit(20);
        run({{{"--yes", "group", "remove-member", "verylonggroupname", "bob"}, 1, tooLarge, ""},
             // The user goes, but the groups file still names her: not a success.
             {{"--yes", "user", "delete", "alice"}, 1, tooLarge, ""}});
    }
    EXPECT_EQ(text(".htgroups"), groups);

    // An unreadable groups file is left as it is; commands that leave the groups alone still work.
    std::filesystem::remove(file(".htgroups"));
    tree.mkdir(".htgroups");
    run({{{"group", "add", "g1"}, 1, file(".htgroups") + " was not changed: it is a folder.", ""},
         {{"user", "add", "carol"}, 0, std::nullopt, std::nullopt, "pw\n"}});
    EXPECT_TRUE(std::filesystem::is_directory(file(".htgroups")));
}
