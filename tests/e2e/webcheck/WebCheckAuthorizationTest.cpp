#include "WebCheckFixture.h"

#include <regex>

// polkit is asked about the calling process as the kernel sees it, only a
// zero exit of pkcheck authorizes, and root always holds both rights.
using WebCheckAuthorizationTest = WebCheckFixture;

TEST_F(WebCheckAuthorizationTest, PkcheckRunsAsTheCallerAboutTheCallerAndRootNeedsNoPolkit)
{
    EXPECT_EQ(0, ctl(kNobody, "graceful").status);
    EXPECT_EQ(0, webcheck(kNobody, box->mainConf(), repairData(box->mainConf())).status);
    EXPECT_EQ(0, module(kNobody, "userdir").status);
    std::istringstream lines(read(box->pkcheckLog()));
    for (const char* right : {"apachectl", "webcheck", "webcheck"}) {
        std::string line;
        std::getline(lines, line);
        std::smatch m;
        ASSERT_TRUE(std::regex_match(line, m, std::regex("--action-id com\\.quillmoor\\.fendrel\\.(\\w+) --process "
                                                         "(\\d+,\\d+),65534 by (\\d+) for (\\d+,\\d+)")))
            << line;
        EXPECT_EQ(right, m[1].str());
        EXPECT_EQ(m[2].str(), m[4].str()) << "the subject is the tool's parent";
        EXPECT_EQ("65534", m[3].str()) << "pkcheck runs as the caller";
    }

    std::string asked = read(box->pkcheckLog());
    box->setPkcheckExit(1);
    EXPECT_EQ(0, ctl(0, "restart").status);
    EXPECT_EQ(0, webcheck(0, box->mainConf(), repairData(box->mainConf(), 0)).status);
    EXPECT_EQ("ServerName localhost\n\n\n", read(box->mainConf()));
    EXPECT_EQ(asked, read(box->pkcheckLog())) << "root was asked about";
}

TEST_F(WebCheckAuthorizationTest, EveryPkcheckFailureRefusesAndARefusedCallerCannotStallTheTool)
{
    // A caller at its process limit whose error output is a full pipe that
    // nobody reads: pkcheck runs as the caller, so it cannot be started, and
    // the refusal is dropped instead of blocking.
    int full[2];
    ASSERT_EQ(0, ::pipe2(full, O_CLOEXEC | O_NONBLOCK));
    char block[4096] = {};
    while (::write(full[1], block, sizeof block) > 0) {
    }
    ::fcntl(full[1], F_SETFL, 0);
    auto result = run(kNobody, ctlArgs("start"), {"/usr/bin/prlimit", "--nproc=1"},
                      [&] { ::dup2(full[1], STDERR_FILENO); });
    ::close(full[0]);
    ::close(full[1]);
    EXPECT_EQ(kNotAuthorized, result.status);
    EXPECT_FALSE(fs::exists(box->pkcheckLog())) << "pkcheck ran past the caller's process limit";

    // With no polkit daemon pkcheck fails; with one, nobody has no agent to
    // authenticate through. Either way: refused.
    box->realPkcheck();
    result = ctl(kNobody, "start");
    EXPECT_EQ(kNotAuthorized, result.status) << result.err;
    EXPECT_TRUE(fs::exists(box->pkcheckLog()));

    std::string before = read(box->mainConf()), data = repairData(box->mainConf());
    for (int code : {1, 2, 3, 126, 127}) {
        box->setPkcheckExit(code);
        EXPECT_EQ(kNotAuthorized, ctl(kNobody, "stop").status) << code;
        EXPECT_EQ(kNotAuthorized, webcheck(kNobody, box->mainConf(), data).status) << code;
        EXPECT_EQ(kNotAuthorized, module(kNobody, "auth_basic").status) << code;
    }
    EXPECT_FALSE(controlRan());
    EXPECT_FALSE(fs::exists(box->a2enmodLog()));
    EXPECT_EQ(before, read(box->mainConf()));
}

TEST_F(WebCheckAuthorizationTest, WithoutTheSetUIDBitNothingRunsAndOnlyRootRepairsItself)
{
    ASSERT_EQ(0, ::chmod(box->tool().c_str(), 0755));
    EXPECT_EQ(kNoRootRights, ctl(kNobody, "start").status);
    EXPECT_FALSE(controlRan());

    WebCheckSandbox::Options nobody, root;
    nobody.uid = kNobody;
    EXPECT_EQ(kNoRootRights, box->run({"-selfRepair", "YES", "-mypath", box->tool()}, nobody).status);
    std::string other = box->callerFile("other", "#!/bin/sh\n");
    ::chmod(other.c_str(), 0755);
    EXPECT_EQ(kNoRootRights, box->run({"-selfRepair", "YES", "-mypath", other}, root).status);
    expectStat(other, kNobody, kNobody, 0755);

    ASSERT_EQ(0, ::chown(box->tool().c_str(), kNobody, kNobody));
    ASSERT_EQ(0, ::chmod(box->tool().c_str(), 0775));
    auto result = box->run({"-selfRepair", "YES", "-mypath", box->tool()}, root);
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_GT(std::stoi(result.out), 0);
    expectStat(box->tool(), 0, 0, 04755);
}
