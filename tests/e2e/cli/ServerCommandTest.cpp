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

TEST_F(ServerCommandTest, AnInstalledCopyRunsOnlyItsInstalledHelper)
{
    // The helper runs as root: a copy planted beside an installed fendrelctl
    // or named in the environment must not be taken; from the build tree the
    // environment still names it.
    TempDir prefix;
    std::string install = FENDREL_CMAKE_COMMAND " --install '" FENDREL_BINARY_DIR "' --prefix '" + prefix.path() +
                          "' >/dev/null";
    ASSERT_EQ(std::system(install.c_str()), 0);
    prefix.write("src/webcheck/WebCheck", "#!/bin/sh\n");
    ::setenv("FENDREL_WEBCHECK", prefix.file("bin/WebCheck").c_str(), 1);
    std::string fromBuildTree = runCli({"--json", "server", "status"}).json()["helper"];
    std::FILE* pipe = ::popen((prefix.file("bin/fendrelctl") + " --json server status").c_str(), "r");
    std::string out;
    for (int c; pipe && (c = std::fgetc(pipe)) != EOF;)
        out += static_cast<char>(c);
    ::unsetenv("FENDREL_WEBCHECK");
    ASSERT_TRUE(pipe && ::pclose(pipe) == 0) << out;
    EXPECT_EQ(fromBuildTree, prefix.file("bin/WebCheck"));
    std::string helper = nlohmann::json::parse(out)["helper"];
    EXPECT_TRUE(helper.empty() || helper == FENDREL_INSTALLED_HELPER) << helper;
}
