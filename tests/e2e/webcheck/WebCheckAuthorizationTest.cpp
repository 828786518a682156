#include "WebCheckFixture.h"

#include <csignal>
#include <regex>
#include <sys/wait.h>

// Only pkcheck's zero exit about the caller authorizes; root needs no polkit.
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
    EXPECT_EQ("userdir\n", read(box->a2enmodLog()));

    std::string asked = read(box->pkcheckLog());
    box->setPkcheckExit(1);
    EXPECT_EQ(0, ctl(0, "restart").status);
    EXPECT_EQ(0, webcheck(0, box->mainConf(), repairData(box->mainConf(), 0)).status);
    EXPECT_EQ("ServerName localhost\n\n\n", read(box->mainConf()));
    EXPECT_EQ(asked, read(box->pkcheckLog())) << "root was asked about";
}

TEST_F(WebCheckAuthorizationTest, EveryPkcheckFailureRefusesAndARefusedCallerCannotStallTheTool)
{
    // At the caller's process limit pkcheck cannot start; the refusal to a full pipe must not block.
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

    WebCheckSandbox::Options root;
    EXPECT_EQ(kNoRootRights, box->run({"-selfRepair", "YES", "-mypath", box->tool()}, {.uid = kNobody}).status);
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

TEST_F(WebCheckAuthorizationTest, TheSandboxIsClosedToOthersAndGoesWithItsTest)
{
    auto inChild = [](const std::function<int()>& body) {
        pid_t pid = ::fork();
        if (pid == 0)
            ::_exit(body());
        int status = -1;
        ::waitpid(pid, &status, 0);
        return status;
    };
    int reached = inChild([&] {
        if (::setresgid(kNobody, kNobody, kNobody) != 0 || ::setresuid(kNobody, kNobody, kNobody) != 0)
            return 2;
        return ::access(box->tool().c_str(), F_OK) == 0 || errno != EACCES ? 1 : 0;
    });
    EXPECT_EQ(0, reached) << "another process of nobody's reaches the set-user-ID copy";
    std::string pkcheck = box->path() + "/pkcheck --action-id x --process ";
    EXPECT_EQ(0, std::system((pkcheck + std::to_string(::getpid()) + ",1,0").c_str()));
    EXPECT_NE(0, std::system((pkcheck + "1,1,0").c_str())) << "pkcheck says yes outside the test";

    // One test process killed, the next ended by a signal: neither leaves its sandbox.
    std::string record = box->path() + "/doomed";
    for (int signal : {SIGKILL, SIGTERM}) {
        inChild([&] {
            WebCheckSandbox doomed;
            std::ofstream(record, std::ios::app) << doomed.path() << std::endl;
            return ::raise(signal);
        });
    }
    std::istringstream lines(read(record));
    int count = 0;
    for (std::string path; std::getline(lines, path); ++count)
        EXPECT_FALSE(fs::exists(path)) << path;
    EXPECT_EQ(2, count);
}
