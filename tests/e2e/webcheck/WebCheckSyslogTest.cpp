#include "WebCheckFixture.h"

#include <cstring>
#include <sched.h>
#include <sys/socket.h>
#include <sys/un.h>

// Every action and every refusal reaches syslog with facility authpriv and
// the caller's uid. The tool runs in a private mount namespace whose /dev/log
// is this test's socket, so the machine's own log is never touched.
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
    // The caller, nobody, makes the namespace while still root.
    std::string setup = "set -e; mount --make-rprivate /; f='" + folder +
                        "'; touch \"$f/null\"; mount --bind /dev/null \"$f/null\";"
                        " mount -t tmpfs tmpfs /dev; touch /dev/null /dev/log;"
                        " mount --bind \"$f/null\" /dev/null; mount --bind \"$f/log\" /dev/log";
    auto runLogged = [&](const Names& args, bool rawArgv = false) {
        WebCheckSandbox::Options options;
        options.uid = kNobody;
        options.callerToken = true;
        options.inCaller = [setup] {
            if (::unshare(CLONE_NEWNS) != 0 || std::system(setup.c_str()) != 0)
                ::_exit(120);
        };
        return box->run(args, options, rawArgv).status;
    };
    EXPECT_EQ(0, runLogged(ctlArgs("graceful")));
    box->setPkcheckExit(1);
    EXPECT_EQ(kNotAuthorized, runLogged(ctlArgs("graceful")));
    EXPECT_EQ(kUsage, runLogged(ctlArgs("graceful;id")));
    EXPECT_EQ(kUsage, runLogged({}, true));
    // Caller text: no line of its own in the log, and not all of it.
    std::string forged = box->confDir() + "/\nWebCheck[1]: uid 0: repaired\x1b[2J" + std::string(4000, 'x');
    EXPECT_EQ(kFileRefused,
              runLogged({"-mypath", box->tool(), "-operation", "webcheck", "-file", forged, "-data", "/x"}));

    // <84> is authpriv.warning, <85> authpriv.notice.
    const std::pair<const char*, std::string> expected[] = {
        {"<85>", "uid 65534: " + box->path() + "/apachectl graceful"},
        {"<84>", "uid 65534: refused: polkit did not authorize"},
        {"<84>", "uid 65534: refused: arguments"},
        {"<84>", "uid 65534: refused: no program name (argc 0)"},
        {"<84>", "/\\x0aWebCheck[1]: uid 0: repaired\\x1b[2J"},
    };
    char buffer[2048];
    std::size_t count = 0;
    for (ssize_t n; (n = ::recv(sink, buffer, sizeof buffer, 0)) > 0; ++count) {
        std::string message(buffer, static_cast<std::size_t>(n));
        if (count >= std::size(expected))
            continue;
        EXPECT_TRUE(message.starts_with(expected[count].first)) << message;
        EXPECT_NE(std::string::npos, message.find("WebCheck[")) << message;
        EXPECT_NE(std::string::npos, message.find(expected[count].second)) << message;
        EXPECT_LT(message.size(), 1000u);
    }
    EXPECT_EQ(std::size(expected), count);
    ::close(sink);
}
