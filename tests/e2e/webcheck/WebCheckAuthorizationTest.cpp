#include "WebCheckFixture.h"

#include "KLWebCheckClient.h"

#include <csignal>
#include <regex>
#include <sys/wait.h>

// polkit is asked about the calling process as the kernel sees it, only a
// zero exit of pkcheck authorizes, and root always holds both rights.
using WebCheckAuthorizationTest = WebCheckFixture;

TEST_F(WebCheckAuthorizationTest, SubjectIsTheCallerAsTheKernelSeesItAndPkcheckRunsAsTheCaller)
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
}

TEST_F(WebCheckAuthorizationTest, EveryPkcheckFailureRefuses)
{
    // With no polkit daemon pkcheck fails; with one, nobody has no agent to
    // authenticate through. Either way: refused.
    box->realPkcheck();
    auto result = ctl(kNobody, "start");
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

TEST_F(WebCheckAuthorizationTest, RefusedCallerGetsNoProcessAndCannotStallTheTool)
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
    EXPECT_FALSE(controlRan());
}

TEST_F(WebCheckAuthorizationTest, RootHoldsBothRightsWithoutPolkit)
{
    box->setPkcheckExit(1);
    EXPECT_EQ(0, ctl(0, "restart").status);
    EXPECT_EQ(0, webcheck(0, box->mainConf(), repairData(box->mainConf(), 0)).status);
    EXPECT_EQ("ServerName localhost\n\n", read(box->mainConf()));
    EXPECT_FALSE(fs::exists(box->pkcheckLog()));
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
    EXPECT_EQ(0, inChild([&] {
                  if (::setresgid(kNobody, kNobody, kNobody) != 0 || ::setresuid(kNobody, kNobody, kNobody) != 0)
                      return 2;
                  return ::access(box->tool().c_str(), F_OK) == 0 || errno != EACCES ? 1 : 0;
              })) << "another process of nobody's reaches the set-user-ID copy";
    std::string pkcheck = box->path() + "/pkcheck --action-id x --process ";
    EXPECT_EQ(0, std::system((pkcheck + std::to_string(::getpid()) + ",1,0").c_str()));
    EXPECT_NE(0, std::system((pkcheck + "1,1,0").c_str())) << "pkcheck says yes outside the test";

    // One test process killed, the next ended by a signal: neither leaves its sandbox.
    int paths[2];
    ASSERT_EQ(0, ::pipe(paths));
    for (int signal : {SIGKILL, SIGTERM}) {
        inChild([&] {
            WebCheckSandbox doomed;
            std::string line = doomed.path() + "\n";
            return ::write(paths[1], line.data(), line.size()) > 0 && ::raise(signal) == 0;
        });
    }
    ::close(paths[1]);
    std::string killed(4096, '\0');
    killed.resize(std::max<ssize_t>(0, ::read(paths[0], killed.data(), killed.size())));
    ::close(paths[0]);
    std::istringstream lines(killed);
    int count = 0;
    for (std::string path; std::getline(lines, path); ++count)
        EXPECT_FALSE(fs::exists(path)) << path;
    EXPECT_EQ(2, count);
}
