#include "ApacheSandbox.h"
#include "CliRunner.h"
#include "WebCheckSandbox.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

// `fendrelctl server repair` on Apache as Debian installs it, through the
// test build of WebCheck: what the installed server does with Fendrel's
// files before the repair, and that the repair alone makes them work.
namespace {

struct Scenario
{
    const char* name;
    bool personal;       // the folder is below a personal web folder
    bool overrideByHand; // AllowOverride All for the document root, as a person might set it
    bool group;          // the folder lets in a group instead of a user
    int before;          // what Apache answered without credentials before the repair
};

void PrintTo(const Scenario& s, std::ostream* out)
{
    *out << s.name;
}

class RepairJudgedTest : public ::testing::TestWithParam<Scenario>
{
protected:
    void SetUp() override
    {
        if (!ApacheSandbox::available() || WebCheckSandbox::testBuild().empty())
            GTEST_SKIP() << "needs Debian's apache2 and the test build of WebCheck";
        if (::geteuid() != 0)
            GTEST_SKIP() << "WebCheck's test build runs set-user-ID root";
        std::remove((std::string(std::getenv("XDG_CONFIG_HOME")) + "/com.quillmoor.fendrel.plist").c_str());
        box = std::make_unique<WebCheckSandbox>();
        apache = std::make_unique<ApacheSandbox>(ApacheSandbox::Setup::Stock);
        box->driveApache(apache->serverRoot(), apache->controlProgram());
        ::setenv("FENDREL_WEBCHECK", box->tool().c_str(), 1);
        const std::string confDir = box->confDir();
        for (const auto& [key, value] : {std::pair{"Override Conf Directory Location", "true"},
                                         {"Apache Conf Directory", confDir.c_str()},
                                         {"Apache Conf File", "apache2.conf"}})
            ASSERT_EQ(runCli({"settings", "set", key, value}).status, 0) << key;
    }
    void TearDown() override { ::unsetenv("FENDREL_WEBCHECK"); }

    void ctl(std::vector<std::string> args, const std::string& input = {})
    {
        args.insert(args.begin(), {"--root", root});
        CliResult result = runCli(args, input);
        ASSERT_EQ(result.status, 0) << result.err;
    }

    std::unique_ptr<WebCheckSandbox> box;
    std::unique_ptr<ApacheSandbox> apache;
    std::string root;
};

TEST_P(RepairJudgedTest, TheRepairAloneMakesTheProtectionWork)
{
    const Scenario& s = GetParam();
    root = s.personal ? apache->personalFolder("alice") : apache->documentRoot();
    const std::string url = std::string(s.personal ? "/~alice" : "") + "/secret/";
    if (s.personal) // the repair serves personal folders only for someone who has one
        std::filesystem::create_directories(std::string(std::getenv("HOME")) + "/public_html");
    if (s.overrideByHand)
        apache->setExtraConfig("<Directory " + apache->documentRoot() + ">\n    AllowOverride All\n</Directory>\n");
    std::filesystem::create_directories(root + "/secret");
    std::ofstream(root + "/secret/index.html") << "secret\n";

    ctl({"user", "add", "alice"}, "wonder\n");
    ctl({"user", "add", "bob"}, "builder\n");
    ctl({"protect", "secret", "password"});
    if (s.group) {
        ctl({"group", "add", "admins"});
        ctl({"group", "add-member", "admins", "alice"});
        ctl({"allow", "secret", "--group", "admins"});
    } else {
        ctl({"allow", "secret", "--user", "alice"});
    }
    ASSERT_TRUE(apache->start()) << apache->error();
    EXPECT_EQ(apache->status(url), s.before) << apache->errorLog();
    // verify asks at the folder's place below a root it knows; a personal
    // folder of another login than this process's is not one of them.
    auto verify = [&] { return runCli({"--root", root, "verify", "secret"}); };
    if (!s.personal) {
        const std::string logs = apache->errorLogPath().substr(0, apache->errorLogPath().rfind('/'));
        ctl({"settings", "set", "Apache Site Address", "127.0.0.1:" + std::to_string(apache->port())});
        ctl({"settings", "set", "Override Log Directory", "true"});
        ctl({"settings", "set", "Apache Log Directory", logs});
        CliResult before = verify();
        EXPECT_EQ(before.status, 6) << before.out << before.err;
        EXPECT_EQ(before.out.find("Invalid command 'AuthGroupFile'") != std::string::npos, s.group) << before.out;
    }

    CliResult repair = runCli({"--json", "server", "repair"}, {}, 90);
    ASSERT_EQ(repair.status, 0) << repair.err;
    EXPECT_EQ(repair.json()["changed"], true) << repair.out;
    EXPECT_TRUE(apache->waitForStatus(url, 401, 20)) << apache->errorLog();
    EXPECT_EQ(apache->status(url, "alice", "wonder"), 200);
    EXPECT_EQ(apache->status(url, "bob", "builder"), 401);
    if (!s.personal) {
        EXPECT_EQ(verify().status, 0);
    }

    CliResult again = runCli({"server", "repair"}, {}, 90);
    EXPECT_EQ(again.out, "Nothing to repair: access files already take effect\n") << again.err;
}

INSTANTIATE_TEST_SUITE_P(
    InstalledConfiguration, RepairJudgedTest,
    ::testing::Values(Scenario{"GroupRulesWithoutTheirModule", false, true, true, 500},
                      Scenario{"AccessFilesIgnored", false, false, false, 200},
                      Scenario{"PersonalFolderWithoutUserdir", true, false, false, 404}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
