#include "CliFixture.h"

using SettingsCommandTest = CliFixture;

// A value takes the kind of its key's default, or else the kind its text shows; the file stores typed values.
TEST_F(SettingsCommandTest, ValuesKeepTheirKind)
{
    const std::tuple<const char*, const char*, nlohmann::json> cases[] = {
        {"Sort Users", "true", true},
        {"ApacheCheckInterval", "5", 5.0},
        {"Apache Site Port", "8080", "8080"}, // a string setting stays a string
        {"Address Array", R"(["10.0.0.1","127.0.0.1"])", nlohmann::json::array({"10.0.0.1", "127.0.0.1"})},
        {"Some Count", "12", 12},
        {"Some Ratio", "0.25", 0.25},
        {"Some Name", "hello world", "hello world"},
        {"Some Digits", "\"42\"", "42"},
    };
    for (const auto& [key, value, expected] : cases)
        run({{{"settings", "set", key, value}, 0, "", ""}});
    nlohmann::json all = json({"settings", "list"});
    EXPECT_EQ(all["Sort Groups"], false); // defaults are listed too
    for (const auto& [key, value, expected] : cases) {
        nlohmann::json got = json({"settings", "get", key});
        EXPECT_EQ(got, expected) << key;
        EXPECT_EQ(got.is_number_float(), expected.is_number_float()) << key;
        EXPECT_EQ(all[key], expected) << key;
    }
    EXPECT_EQ(ctl({"settings", "get", "Some Name"}).out, "hello world\n");
    EXPECT_EQ(ctl({"settings", "get", "Some Name", "--json"}).json(), "hello world") << "options may follow";
    std::string stored = readFile(settingsFile());
    for (const char* typed : {"<key>Sort Users</key>\n\t<true/>", "<real>5", "<string>8080</string>"})
        EXPECT_NE(stored.find(typed), std::string::npos) << stored;
}

// Addresses are settings: they need no protected folder root, so a stored root that is not there does not stop them.
TEST_F(SettingsCommandTest, KnownAddressesNeedNoRoot)
{
    root.clear();
    run({{{"show"}, 4}, // the stored root is not there
         {{"address", "list"}, 0, "", "127.0.0.1\n"},
         {{"address", "add", "10.0.0.1"}, 0, "", "127.0.0.1\n10.0.0.1\n"},
         {{"address", "add", "Example.ORG"}, 0, "", "127.0.0.1\n10.0.0.1\nexample.org\n"},
         {{"address", "add", "10.0.0.1"}, 3, "Address \"10.0.0.1\" is already known", ""},
         {{"address", "add", "host.domain.tld"}, 3, "Address \"host.domain.tld\" cannot be used", ""},
         {{"address", "remove", "10.9.9.9"}, 4, "No such address: 10.9.9.9", ""},
         {{"address", "remove", "10.0.0.1"}, 0, "", "127.0.0.1\nexample.org\n"}});
    EXPECT_EQ(json({"address", "add", "10.4.0.1"}), nlohmann::json::array({"127.0.0.1", "example.org", "10.4.0.1"}));
    EXPECT_EQ(json({"settings", "get", "Address Array"}), nlohmann::json::array({"127.0.0.1", "example.org", "10.4.0.1"}));
}

// A refused value stores nothing; reset brings back the default, and with nothing stored and no default there is
// nothing to reset.
TEST_F(SettingsCommandTest, WrongKindsAreRefusedAndResetBringsBackTheDefault)
{
    run({{{"settings", "set", "Show Delete Dialog", "false"}},
         {{"settings", "get", "Show Delete Dialog"}, 0, "", "false\n"},
         {{"settings", "reset", "Show Delete Dialog"}},
         {{"settings", "get", "Show Delete Dialog"}, 0, "", "true\n"},
         {{"settings", "set", "Scratch", "1"}},
         {{"settings", "reset", "Scratch"}},
         {{"settings", "set", "Sort Users", "true"}}});
    const std::string before = readFile(settingsFile());
    EXPECT_EQ(before.find("Show Delete Dialog"), std::string::npos);
    run({{{"settings", "get", "Scratch"}, 4, "No setting \"Scratch\""},
         {{"settings", "reset", "Scratch"}, 4, "No setting \"Scratch\""},
         {{"settings", "set", "Sort Users", "yes"}, 3, "Setting \"Sort Users\" takes true or false", ""},
         {{"settings", "set", "Fendrel Protected Folder", "two"}, 3,
          "Setting \"Fendrel Protected Folder\" takes an integer", ""},
         {{"settings", "set", "ApacheCheckInterval", "soon"}, 3, "Setting \"ApacheCheckInterval\" takes a number", ""},
         {{"settings", "set", "Address Array", "10.0.0.1"}, 3, "Setting \"Address Array\": the value is not valid JSON",
          ""},
         {{"settings", "set", "Address Array", "{\"a\":1}"}, 3,
          "Setting \"Address Array\" takes a JSON array, e.g. [\"a\", \"b\"]", ""},
         {{"settings", "set", "Password Hash", "MD5"}, 3, "Setting \"Password Hash\" takes DES or bcrypt", ""}});
    EXPECT_EQ(readFile(settingsFile()), before);
}

// Usage errors print nothing on standard output; help and version print what they name there.
TEST_F(SettingsCommandTest, UsageErrorsHelpAndVersion)
{
    const std::pair<std::vector<std::string>, std::vector<const char*>> cases[] = {
        {{}, {}}, {{"frobnicate"}, {}}, {{"settings"}, {}}, {{"settings", "get"}, {}},
        {{"settings", "set", "Sort Users"}, {}}, {{"--bogus", "settings", "list"}, {}}, {{"server", "frobnicate"}, {}},
        {{"update"}, {}}, {{"update", "fetch"}, {}},
        {{"--help"}, {"--root", "--json", "--yes", "--version", "settings", "update"}},
        {{"settings", "set", "--help"}, {"VALUE"}},
        {{"update", "--help"}, {"check"}},
        {{"update", "check", "--help"}, {"--timeout"}},
        {{"--version"}, {"fendrelctl "}},
    };
    for (const auto& [args, shown] : cases) {
        SCOPED_TRACE(::testing::PrintToString(args));
        CliResult result = runCli(args);
        EXPECT_EQ(result.status, shown.empty() ? 2 : 0);
        EXPECT_EQ(result.err.rfind("fendrelctl: ", 0), shown.empty() ? 0u : std::string::npos) << result.err;
        EXPECT_EQ(result.out.empty(), shown.empty());
        for (const char* name : shown)
            EXPECT_NE(result.out.find(name), std::string::npos) << name;
    }
}
