#include "WebCheckFixture.h"

#include "KLWebCheckClient.h"

#include <unistd.h>

// polkit is asked about the calling process as the kernel sees it, only a
// zero exit of pkcheck authorizes, and root always holds both rights.
using WebCheckAuthorizationTest = WebCheckFixture;

TEST_F(WebCheckAuthorizationTest, SubjectIsTheCallerAsTheKernelSeesIt)
{
    std::string subject = std::to_string(::getpid()) + "," + std::to_string(WebCheckSandbox::startTime(::getpid())) +
                          "," + std::to_string(kNobody);
    EXPECT_EQ(0, ctl(kNobody, "graceful").status);
    std::string data = box->callerFile("data", "ServerName example\n");
    EXPECT_EQ(0, webcheck(kNobody, box->mainConf(), data).status);
    EXPECT_EQ("--action-id com.quillmoor.fendrel.apachectl --process " + subject + "\n"
              "--action-id com.quillmoor.fendrel.webcheck --process " + subject + "\n",
              read(box->pkcheckLog()));
}

TEST_F(WebCheckAuthorizationTest, EveryPkcheckFailureRefuses)
{
    std::string before = read(box->mainConf());
    std::string data = box->callerFile("data", "ServerName changed\n");
    for (int code : {1, 2, 3, 126, 127}) {
        box->setPkcheckExit(code);
        EXPECT_EQ(kNotAuthorized, ctl(kNobody, "stop").status) << code;
        EXPECT_EQ(kNotAuthorized, webcheck(kNobody, box->mainConf(), data).status) << code;
    }
    EXPECT_FALSE(controlRan());
    EXPECT_EQ(before, read(box->mainConf()));
}

TEST_F(WebCheckAuthorizationTest, NoPolkitAnswerMeansRefused)
{
    // With no polkit daemon pkcheck fails; with one, nobody has no agent to
    // authenticate through. Either way: refused.
    box->realPkcheck();
    auto result = ctl(kNobody, "start");
    EXPECT_EQ(kNotAuthorized, result.status) << result.err;
    EXPECT_TRUE(std::filesystem::exists(box->pkcheckLog()));
    EXPECT_FALSE(controlRan());
}

TEST_F(WebCheckAuthorizationTest, RootHoldsBothRightsWithoutPolkit)
{
    box->setPkcheckExit(1);
    EXPECT_EQ(0, ctl(0, "restart").status);
    std::string data = box->callerFile("data", "ServerName root\n", 0);
    EXPECT_EQ(0, webcheck(0, box->mainConf(), data).status);
    EXPECT_EQ("ServerName root\n", read(box->mainConf()));
    EXPECT_FALSE(std::filesystem::exists(box->pkcheckLog()));
}

TEST_F(WebCheckAuthorizationTest, WithoutTheSetUIDBitNothingRuns)
{
    ASSERT_EQ(0, ::chmod(box->tool().c_str(), 0755));
    EXPECT_EQ(kNoRootRights, ctl(kNobody, "start").status);
    EXPECT_FALSE(controlRan());
}

TEST_F(WebCheckAuthorizationTest, SelfRepairOnlyByRootAndOnlyOnItself)
{
    WebCheckSandbox::Options nobody;
    nobody.uid = kNobody;
    EXPECT_EQ(kNoRootRights, box->run({"-selfRepair", "YES", "-mypath", box->tool()}, nobody).status);

    std::string other = box->callerFile("other", "#!/bin/sh\n");
    ::chmod(other.c_str(), 0755);
    WebCheckSandbox::Options root;
    EXPECT_EQ(kNoRootRights, box->run({"-selfRepair", "YES", "-mypath", other}, root).status);
    struct stat st{};
    ASSERT_EQ(0, ::stat(other.c_str(), &st));
    EXPECT_EQ(kNobody, st.st_uid);
    EXPECT_EQ(0755u, st.st_mode & 07777);

    ASSERT_EQ(0, ::chown(box->tool().c_str(), kNobody, kNobody));
    ASSERT_EQ(0, ::chmod(box->tool().c_str(), 0775));
    auto result = box->run({"-selfRepair", "YES", "-mypath", box->tool()}, root);
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_GT(std::stoi(result.out), 0);
    ASSERT_EQ(0, ::stat(box->tool().c_str(), &st));
    EXPECT_EQ(0u, st.st_uid);
    EXPECT_EQ(0u, st.st_gid);
    EXPECT_EQ(04755u, st.st_mode & 07777);
}

TEST_F(WebCheckAuthorizationTest, ClientInstallsAndDrivesTheTool)
{
    ASSERT_EQ(0, ::chmod(box->tool().c_str(), 0755));
    KLWebCheckClient client(box->tool(), "/nonexistent/pkexec");
    ASSERT_FALSE(client.isHelperSetUID());
    EXPECT_EQ(0, client.webcheckWithArgs({"-operation", "ctl", "-data", "graceful"}));
    EXPECT_TRUE(client.isHelperSetUID()) << "installed directly, as this process is root";
    EXPECT_NE(std::string::npos, read(box->controlLog()).find("args: graceful\n"));
    EXPECT_EQ(kUsage, client.webcheckWithArgs({"-operation", "ctl", "-data", "configtest"}));
}
