#include "CliRunner.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace {

std::string settingsFile()
{
    return std::string(std::getenv("XDG_CONFIG_HOME")) + "/com.quillmoor.fendrel.plist";
}

std::string slurp(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class SettingsCommandTest : public ::testing::Test
{
protected:
    void SetUp() override { std::remove(settingsFile().c_str()); }
};

} // namespace

TEST_F(SettingsCommandTest, ValuesKeepTheKindOfTheirDefault)
{
    EXPECT_EQ(runCli({"settings", "set", "Sort Users", "true"}).status, 0);
    EXPECT_EQ(runCli({"settings", "set", "ApacheCheckInterval", "5"}).status, 0);
    EXPECT_EQ(runCli({"settings", "set", "Apache Site Port", "8080"}).status, 0);
    EXPECT_EQ(runCli({"settings", "set", "Address Array", R"(["10.0.0.1","127.0.0.1"])"}).status, 0);

    nlohmann::json all = runCli({"--json", "settings", "list"}).json();
    ASSERT_TRUE(all.is_object());
    EXPECT_EQ(all["Sort Users"], true);
    EXPECT_TRUE(all["ApacheCheckInterval"].is_number_float());
    EXPECT_EQ(all["ApacheCheckInterval"], 5.0);
    EXPECT_EQ(all["Apache Site Port"], "8080"); // a string setting stays a string
    EXPECT_EQ(all["Address Array"], nlohmann::json::parse(R"(["10.0.0.1","127.0.0.1"])"));
    EXPECT_EQ(all["Sort Groups"], false); // defaults are listed too

    // The file holds typed values, not strings.
    std::string stored = slurp(settingsFile());
    EXPECT_NE(stored.find("<key>Sort Users</key>\n\t<true/>"), std::string::npos) << stored;
    EXPECT_NE(stored.find("<real>5"), std::string::npos) << stored;
    EXPECT_NE(stored.find("<string>8080</string>"), std::string::npos) << stored;
}

TEST_F(SettingsCommandTest, KeysWithoutDefaultTakeTheKindTheTextShows)
{
    EXPECT_EQ(runCli({"settings", "set", "Case Sensitive Compare", "true"}).status, 0);
    EXPECT_EQ(runCli({"settings", "set", "Some Count", "12"}).status, 0);
    EXPECT_EQ(runCli({"settings", "set", "Some Ratio", "0.25"}).status, 0);
    EXPECT_EQ(runCli({"settings", "set", "Some Name", "hello world"}).status, 0);
    EXPECT_EQ(runCli({"settings", "set", "Some Digits", "\"42\""}).status, 0);

    EXPECT_EQ(runCli({"--json", "settings", "get", "Case Sensitive Compare"}).json(), true);
    EXPECT_EQ(runCli({"--json", "settings", "get", "Some Count"}).json(), 12);
    EXPECT_EQ(runCli({"--json", "settings", "get", "Some Ratio"}).json(), 0.25);
    EXPECT_EQ(runCli({"settings", "get", "Some Name"}).out, "hello world\n");
    EXPECT_EQ(runCli({"--json", "settings", "get", "Some Digits"}).json(), "42");
}

TEST_F(SettingsCommandTest, ResetBringsBackTheDefault)
{
    ASSERT_EQ(runCli({"settings", "set", "Show Delete Dialog", "false"}).status, 0);
    EXPECT_EQ(runCli({"settings", "get", "Show Delete Dialog"}).out, "false\n");
    EXPECT_EQ(runCli({"settings", "reset", "Show Delete Dialog"}).status, 0);
    EXPECT_EQ(runCli({"settings", "get", "Show Delete Dialog"}).out, "true\n");
    EXPECT_EQ(slurp(settingsFile()).find("Show Delete Dialog"), std::string::npos);

    ASSERT_EQ(runCli({"settings", "set", "Scratch", "1"}).status, 0);
    EXPECT_EQ(runCli({"settings", "reset", "Scratch"}).status, 0);
    CliResult gone = runCli({"settings", "get", "Scratch"});
    EXPECT_EQ(gone.status, 4);
    EXPECT_EQ(gone.err, "fendrelctl: No setting \"Scratch\"\n");
    // Nothing stored and no default: there is nothing to reset.
    std::string before = slurp(settingsFile());
    CliResult unknown = runCli({"settings", "reset", "Scratch"});
    EXPECT_EQ(unknown.status, 4);
    EXPECT_EQ(unknown.err, "fendrelctl: No setting \"Scratch\"\n");
    EXPECT_EQ(slurp(settingsFile()), before);
}

// Addresses are settings: they need no protected folder root, so a stored
// root that is not there does not stop them.
TEST_F(SettingsCommandTest, KnownAddressesNeedNoRoot)
{
    EXPECT_EQ(runCli({"show"}).status, 4) << "the stored root exists after all";
    CliResult added = runCli({"--json", "address", "add", "10.4.0.1"});
    EXPECT_EQ(added.status, 0) << added.err;
    EXPECT_EQ(added.json(), nlohmann::json::array({"127.0.0.1", "10.4.0.1"}));
    CliResult listed = runCli({"address", "list"});
    EXPECT_EQ(listed.status, 0) << listed.err;
    EXPECT_EQ(listed.out, "127.0.0.1\n10.4.0.1\n");
    EXPECT_EQ(runCli({"address", "remove", "10.4.0.1"}).out, "127.0.0.1\n");
}

TEST_F(SettingsCommandTest, WrongKindsAreRefusedAndStoreNothing)
{
    ASSERT_EQ(runCli({"settings", "set", "Sort Users", "true"}).status, 0);
    std::string before = slurp(settingsFile());

    struct Case
    {
        const char* key;
        const char* value;
        const char* message;
    };
    for (const Case& c : {
             Case{"Sort Users", "yes", "fendrelctl: Setting \"Sort Users\" takes true or false\n"},
             Case{"Fendrel Protected Folder", "two", "fendrelctl: Setting \"Fendrel Protected Folder\" takes an integer\n"},
             Case{"ApacheCheckInterval", "soon", "fendrelctl: Setting \"ApacheCheckInterval\" takes a number\n"},
             Case{"Address Array", "10.0.0.1", "fendrelctl: Setting \"Address Array\": the value is not valid JSON\n"},
             Case{"Address Array", "{\"a\":1}", "fendrelctl: Setting \"Address Array\" takes a JSON array, e.g. [\"a\", \"b\"]\n"},
             Case{"Password Hash", "MD5", "fendrelctl: Setting \"Password Hash\" takes DES or bcrypt\n"},
         }) {
        CliResult result = runCli({"settings", "set", c.key, c.value});
        EXPECT_EQ(result.status, 3) << c.key << " " << c.value;
        EXPECT_EQ(result.err, c.message);
        EXPECT_TRUE(result.out.empty());
    }
    EXPECT_EQ(slurp(settingsFile()), before);
}

TEST_F(SettingsCommandTest, UsageErrorsHelpAndVersion)
{
    for (const std::vector<std::string>& args : std::vector<std::vector<std::string>>{
             {}, {"frobnicate"}, {"settings"}, {"settings", "get"}, {"settings", "set", "Sort Users"}, {"--bogus", "settings", "list"}}) {
        CliResult result = runCli(args);
        EXPECT_EQ(result.status, 2) << (args.empty() ? "(none)" : args[0]);
        EXPECT_EQ(result.err.rfind("fendrelctl: ", 0), 0u) << result.err;
        EXPECT_TRUE(result.out.empty());
    }

    CliResult help = runCli({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* name : {"--root", "--json", "--yes", "--version", "settings"})
        EXPECT_NE(help.out.find(name), std::string::npos) << name;
    CliResult settingsHelp = runCli({"settings", "set", "--help"});
    EXPECT_EQ(settingsHelp.status, 0);
    EXPECT_NE(settingsHelp.out.find("VALUE"), std::string::npos);

    CliResult version = runCli({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out.rfind("fendrelctl ", 0), 0u);
}

TEST_F(SettingsCommandTest, GlobalOptionsMayFollowTheCommand)
{
    ASSERT_EQ(runCli({"settings", "set", "Sort Groups", "true"}).status, 0);
    EXPECT_EQ(runCli({"settings", "get", "Sort Groups", "--json"}).json(), true);
}
