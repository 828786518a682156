#include "CliRunner.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace {

std::string userName()
{
    const passwd* entry = ::getpwuid(::getuid());
    return entry ? entry->pw_name : "";
}

class ServerCommandTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::remove((std::string(std::getenv("XDG_CONFIG_HOME")) + "/com.quillmoor.fendrel.plist").c_str());
        conf.write("apache2.conf", "ServerName localhost\n<Directory />\n  AllowOverride None\n</Directory>\n");
        set("Override Conf Directory Location", "true");
        set("Apache Conf Directory", conf.path());
        set("Apache Conf File", "apache2.conf");
    }
    static void set(const std::string& key, const std::string& value)
    {
        ASSERT_EQ(runCli({"settings", "set", key, value}).status, 0) << key;
    }

    TempDir conf;
};

} // namespace

TEST_F(ServerCommandTest, StatusNamesTheConfigurationAndWhetherItNeedsRepair)
{
    CliResult result = runCli({"--json", "server", "status"});
    ASSERT_EQ(result.status, 0) << result.err;
    nlohmann::json status = result.json();
    EXPECT_TRUE(status["running"].is_boolean());
    EXPECT_EQ(status["configFile"], conf.file("apache2.conf"));
    // As in the pane, the user's own configuration file is what decides.
    EXPECT_EQ(status["userConfFile"], conf.file("users/" + userName() + ".conf"));
    EXPECT_EQ(status["needsRepair"], false);
    conf.write("users/" + userName() + ".conf", "<Directory />\n  AllowOverride None\n</Directory>\n");
    EXPECT_EQ(runCli({"--json", "server", "status"}).json()["needsRepair"], true);

    CliResult text = runCli({"server", "status"});
    EXPECT_NE(text.out.find("configFile: " + conf.file("apache2.conf") + "\n"), std::string::npos) << text.out;
}

TEST_F(ServerCommandTest, LogsOfTheConfiguredLogFolder)
{
    TempDir logs;
    logs.write("access.log", "x\n");
    logs.write("error.log", "y\n");
    logs.write("error.log.2.gz", "z");
    set("Override Log Directory", "true");
    set("Apache Log Directory", logs.path());
    CliResult result = runCli({"--json", "server", "logs"});
    ASSERT_EQ(result.status, 0) << result.err;
    std::vector<std::string> listed = result.json();
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(listed, (std::vector<std::string>{logs.file("access.log"), logs.file("error.log")}));
}

TEST_F(ServerCommandTest, ControlNeedsTheAdministratorsRights)
{
    if (::getuid() == 0)
        GTEST_SKIP() << "root holds the rights; the server would really be started";
    CliResult result = runCli({"server", "start"}, {}, 90);
    EXPECT_EQ(result.status, 5);
    EXPECT_EQ(result.err, "fendrelctl: Not authorized to control the web server\n");
    EXPECT_EQ(runCli({"server", "frobnicate"}).status, 2);
}
