#include "CliFixture.h"

#include <pwd.h>
#include <unistd.h>

using ServerCommandTest = CliFixture;

TEST_F(ServerCommandTest, StatusNamesTheConfigurationAndWhetherItNeedsRepair)
{
    TempDir conf;
    conf.write("apache2.conf", "ServerName localhost\n<Directory />\n  AllowOverride None\n</Directory>\n");
    run({{{"settings", "set", "Override Conf Directory Location", "true"}},
         {{"settings", "set", "Apache Conf Directory", conf.path()}},
         {{"settings", "set", "Apache Conf File", "apache2.conf"}}});
    // As in the pane, the user's own configuration file is what decides.
    const std::string userConf = "users/" + std::string(::getpwuid(::getuid())->pw_name) + ".conf";
    nlohmann::json status = json({"server", "status"});
    EXPECT_TRUE(status["running"].is_boolean());
    EXPECT_EQ(status["configFile"], conf.file("apache2.conf"));
    EXPECT_EQ(status["userConfFile"], conf.file(userConf));
    EXPECT_EQ(status["needsRepair"], false);
    conf.write(userConf, "<Directory />\n  AllowOverride None\n</Directory>\n");
    EXPECT_EQ(json({"server", "status"})["needsRepair"], true);
    std::string text = ctl({"server", "status"}).out;
    EXPECT_NE(text.find("configFile: " + conf.file("apache2.conf") + "\n"), std::string::npos) << text;

    TempDir logs;
    for (const char* name : {"access.log", "error.log", "error.log.2.gz"})
        logs.write(name, "x\n");
    run({{{"settings", "set", "Override Log Directory", "true"}}, {{"settings", "set", "Apache Log Directory", logs.path()}}});
    std::vector<std::string> listed = json({"server", "logs"});
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(listed, (std::vector<std::string>{logs.file("access.log"), logs.file("error.log")}));
    if (::getuid() != 0) // root holds the rights; the server would really be started
        run({{{"server", "start"}, 5, "Not authorized to control the web server"}});
}

// The helper runs as root: a copy planted beside an installed fendrelctl or named in the environment must not be
// taken; from the build tree the environment still names it.
TEST_F(ServerCommandTest, AnInstalledCopyRunsOnlyItsInstalledHelper)
{
    TempDir prefix;
    std::string install = FENDREL_CMAKE_COMMAND " --install '" FENDREL_BINARY_DIR "' --prefix '" + prefix.path() +
                          "' >/dev/null";
    ASSERT_EQ(std::system(install.c_str()), 0);
    prefix.write("src/webcheck/WebCheck", "#!/bin/sh\n");
    ::setenv("FENDREL_WEBCHECK", prefix.file("bin/WebCheck").c_str(), 1);
    std::string fromBuildTree = json({"server", "status"})["helper"];
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
