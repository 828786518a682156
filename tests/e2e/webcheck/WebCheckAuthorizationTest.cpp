#include "WebCheckFixture.h"

#include <csignal>
#include <cstring>
#include <regex>
#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>
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

TEST_F(WebCheckAuthorizationTest, PkcheckFailuresAndAMissingSetUIDBitRefuseAndARefusedCallerCannotStallTheTool)
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

    box->setPkcheckExit(0);
    ASSERT_EQ(0, ::chmod(box->tool().c_str(), 0755));
    EXPECT_EQ(kNoRootRights, ctl(kNobody, "start").status);
    EXPECT_FALSE(controlRan());
    EXPECT_EQ(kNoRootRights, box->run({"-selfRepair", "YES", "-mypath", box->tool()}, {.uid = kNobody}).status);
    std::string other = box->callerFile("other", "#!/bin/sh\n");
    ::chmod(other.c_str(), 0755);
    EXPECT_EQ(kNoRootRights, box->run({"-selfRepair", "YES", "-mypath", other}, {}).status);
    expectStat(other, kNobody, kNobody, 0755);

    ASSERT_EQ(0, ::chown(box->tool().c_str(), kNobody, kNobody));
    ASSERT_EQ(0, ::chmod(box->tool().c_str(), 0775));
    result = box->run({"-selfRepair", "YES", "-mypath", box->tool()}, {});
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

// The tool's /dev/log is this test's socket, in the caller's mount namespace.
TEST_F(WebCheckAuthorizationTest, ActionsAndRefusalsAreLoggedWithTheCallersUid)
{
    if (std::system("unshare -m true 2>/dev/null") != 0)
        GTEST_SKIP() << "no private mount namespace here";
    std::string folder = box->path() + "/syslog";
    fs::create_directories(folder);
    int sink = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address{AF_UNIX, {}};
    std::strncpy(address.sun_path, (folder + "/log").c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(0, ::bind(sink, reinterpret_cast<sockaddr*>(&address), sizeof address));
    ::chmod(address.sun_path, 0666);
    std::string setup = "set -e; mount --make-rprivate /; f='" + folder +
                        "'; touch \"$f/null\"; mount --bind /dev/null \"$f/null\";"
                        " mount -t tmpfs tmpfs /dev; touch /dev/null /dev/log;"
                        " mount --bind \"$f/null\" /dev/null; mount --bind \"$f/log\" /dev/log";
    auto inCaller = [setup] {
        if (::unshare(CLONE_NEWNS) != 0 || std::system(setup.c_str()) != 0)
            ::_exit(120);
    };
    // Caller text gets no line of its own in the log, and not all of it in.
    std::string forged = box->confDir() + "/\nWebCheck[1]: uid 0: repaired\x1b[2J" + std::string(4000, 'x');
    // <84> is authpriv.warning, <85> authpriv.notice.
    const struct {
        Names args;
        int pkcheck, status;
        std::string priority, text;
    } cases[] = {
        {ctlArgs("graceful"), 0, 0, "<85>", "uid 65534: " + box->path() + "/apachectl graceful"},
        {ctlArgs("graceful"), 1, kNotAuthorized, "<84>", "uid 65534: refused: polkit did not authorize"},
        {ctlArgs("graceful;id"), 1, kUsage, "<84>", "uid 65534: refused: arguments"},
        {{}, 1, kUsage, "<84>", "uid 65534: refused: no program name (argc 0)"},
        {{"-mypath", box->tool(), "-operation", "webcheck", "-file", forged, "-data", "/x"}, 1, kFileRefused, "<84>",
         "/\\x0aWebCheck[1]: uid 0: repaired\\x1b[2J"},
    };
    char buffer[2048];
    for (const auto& c : cases) {
        box->setPkcheckExit(c.pkcheck);
        EXPECT_EQ(c.status, box->run(c.args, {.uid = kNobody, .inCaller = inCaller, .callerToken = true}, c.args.empty()).status);
        ssize_t n = ::recv(sink, buffer, sizeof buffer, 0);
        std::string message(buffer, static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
        EXPECT_TRUE(message.starts_with(c.priority)) << message;
        EXPECT_NE(std::string::npos, message.find("WebCheck[")) << message;
        EXPECT_NE(std::string::npos, message.find(c.text)) << c.text << " in " << message;
        EXPECT_LT(message.size(), 1000u);
    }
    EXPECT_EQ(-1, ::recv(sink, buffer, sizeof buffer, 0)) << "one message per run";
    ::close(sink);
}
