#include "WebCheckFixture.h"

#include <cstring>
#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>

// The tool's /dev/log is this test's socket, in the caller's mount namespace.
using WebCheckSyslogTest = WebCheckFixture;

TEST_F(WebCheckSyslogTest, ActionsAndRefusalsAreLoggedWithTheCallersUid)
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
