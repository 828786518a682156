#include "ApacheSandbox.h"
#include "CliFixture.h"
#include "WebCheckSandbox.h"

#include <filesystem>
#include <fstream>
#include <unistd.h>

// `fendrelctl server repair` on Apache as Debian installs it, through the test build of WebCheck: what the
// installed server does with Fendrel's files before the repair, and that the repair alone makes them work.
namespace {

struct Scenario
{
    const char* name;
    bool personal;       // the folder is below a personal web folder
    bool overrideByHand; // AllowOverride All for the document root, as a person might set it
    bool group;          // the folder lets in a group instead of a user
    int before;          // what Apache answered without credentials before the repair
};

class RepairJudgedTest : public CliFixture, public ::testing::WithParamInterface<Scenario>
{
protected:
    void SetUp() override
    {
        if (!ApacheSandbox::available() || WebCheckSandbox::testBuild().empty() || ::geteuid() != 0)
            GTEST_SKIP() << "needs Debian's apache2 and the test build of WebCheck, which runs set-user-ID root";
        CliFixture::SetUp();
        box = std::make_unique<WebCheckSandbox>();
        apache = std::make_unique<ApacheSandbox>(ApacheSandbox::Setup::Stock);
        box->driveApache(apache->serverRoot(), apache->controlProgram());
        ::setenv("FENDREL_WEBCHECK", box->tool().c_str(), 1);
        run({{{"settings", "set", "Override Conf Directory Location", "true"}},
             {{"settings", "set", "Apache Conf Directory", box->confDir()}},
             {{"settings", "set", "Apache Conf File", "apache2.conf"}}});
    }
    void TearDown() override { ::unsetenv("FENDREL_WEBCHECK"); }

    std::unique_ptr<WebCheckSandbox> box;
    std::unique_ptr<ApacheSandbox> apache;
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
    std::filesystem::create_directories(file("secret"));
    std::ofstream(file("secret/index.html")) << "secret\n";
    std::vector<Step> steps = {{{"user", "add", "alice"}, 0, std::nullopt, std::nullopt, "wonder\n"},
                               {{"user", "add", "bob"}, 0, std::nullopt, std::nullopt, "builder\n"},
                               {{"protect", "secret", "password"}}};
    if (s.group)
        steps.insert(steps.end(), {{{"group", "add", "admins"}}, {{"group", "add-member", "admins", "alice"}},
                                   {{"allow", "secret", "--group", "admins"}}});
    else
        steps.push_back({{"allow", "secret", "--user", "alice"}});
    run(steps);
    ASSERT_TRUE(apache->start()) << apache->error();
    EXPECT_EQ(apache->status(url), s.before) << apache->errorLog();
    CliResult repair = runCli({"--json", "server", "repair"}, {}, 90);
    ASSERT_EQ(repair.status, 0) << repair.err;
    EXPECT_EQ(repair.json()["changed"], true) << repair.out;
    EXPECT_TRUE(apache->waitForStatus(url, 401, 20)) << apache->errorLog();
    EXPECT_EQ(apache->status(url, "alice", "wonder"), 200);
    EXPECT_EQ(apache->status(url, "bob", "builder"), 401);
    EXPECT_EQ(runCli({"server", "repair"}, {}, 90).out, "Nothing to repair: access files already take effect\n");
}

INSTANTIATE_TEST_SUITE_P(InstalledConfiguration, RepairJudgedTest,
                         ::testing::Values(Scenario{"GroupRulesWithoutTheirModule", false, true, true, 500},
                                           Scenario{"AccessFilesIgnored", false, false, false, 200},
                                           Scenario{"PersonalFolderWithoutUserdir", true, false, false, 404}),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
