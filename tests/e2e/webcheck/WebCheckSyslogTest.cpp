#include "WebCheckFixture.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <grp.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

// Every action and every refusal reaches syslog with facility authpriv and
// the caller's uid. The tool runs in a private mount namespace whose /dev/log
// is this test's socket, so the machine's own log is never touched.
class WebCheckSyslogTest : public WebCheckFixture
{
protected:
    void SetUp() override
    {
        WebCheckFixture::SetUp();
        if (std::system("unshare -m true 2>/dev/null") != 0)
            GTEST_SKIP() << "no private mount namespace here";
        folder = box->path() + "/syslog";
        std::filesystem::create_directories(folder);
        socket_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::string path = folder + "/log";
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        ASSERT_EQ(0, ::bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address));
        ::chmod(path.c_str(), 0666);
    }
    void TearDown() override
    {
        if (socket_ >= 0)
            ::close(socket_);
    }

    // The caller, nobody, makes the namespace while still root.
    int runLogged(const std::vector<std::string>& args)
    {
        WebCheckSandbox::Options options;
        options.uid = kNobody;
        options.callerToken = true;
        std::string setup = privateLog();
        options.inCaller = [setup] {
            if (::unshare(CLONE_NEWNS) != 0 || std::system(setup.c_str()) != 0)
                ::_exit(120);
        };
        return box->run(args, options).status;
    }
    std::string privateLog() const
    {
        return "set -e; mount --make-rprivate /; f='" + folder +
               "'; touch \"$f/null\"; mount --bind /dev/null \"$f/null\";"
               " mount -t tmpfs tmpfs /dev; touch /dev/null /dev/log;"
               " mount --bind \"$f/null\" /dev/null; mount --bind \"$f/log\" /dev/log";
    }
    // The same private /dev/log, for a run as nobody with argc 0, which no
    // shell can start: the namespace is made here and the tool started
    // directly.
    int runLoggedWithoutArguments()
    {
        std::string tool = box->tool();
        std::string setup = privateLog();
        pid_t pid = ::fork();
        if (pid == 0) {
            if (::unshare(CLONE_NEWNS) != 0 || std::system(setup.c_str()) != 0)
                ::_exit(120);
            box->shareWithCaller();
            if (::setgroups(0, nullptr) != 0 || ::setresgid(kNobody, kNobody, kNobody) != 0 ||
                ::setresuid(kNobody, kNobody, kNobody) != 0)
                ::_exit(120);
            char* none[] = {nullptr};
            ::execve(tool.c_str(), none, none);
            ::_exit(121);
        }
        int status = 0;
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (::waitpid(pid, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                ::kill(pid, SIGKILL);
                ::waitpid(pid, &status, 0);
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    std::vector<std::string> messages()
    {
        std::vector<std::string> found;
        char buffer[2048];
        for (ssize_t n; (n = ::recv(socket_, buffer, sizeof buffer, 0)) > 0;)
            found.emplace_back(buffer, static_cast<std::size_t>(n));
        return found;
    }

    std::string folder;
    int socket_ = -1;
};

TEST_F(WebCheckSyslogTest, ActionsAndRefusalsAreLoggedWithTheCallersUid)
{
    std::vector<std::string> ctlArgs = {"-mypath", box->tool(), "-operation", "ctl", "-data", "graceful"};
    EXPECT_EQ(0, runLogged(ctlArgs));
    box->setPkcheckExit(1);
    EXPECT_EQ(kNotAuthorized, runLogged(ctlArgs));
    EXPECT_EQ(kUsage, runLogged({"-mypath", box->tool(), "-operation", "ctl", "-data", "graceful;id"}));
    EXPECT_EQ(kUsage, runLoggedWithoutArguments());
    // Caller text: no line of its own in the log, and not all of it.
    std::string forged = box->confDir() + "/\nWebCheck[1]: uid 0: repaired\x1b[2J" + std::string(4000, 'x');
    EXPECT_EQ(kFileRefused,
              runLogged({"-mypath", box->tool(), "-operation", "webcheck", "-file", forged, "-data", "/x"}));

    auto logged = messages();
    ASSERT_EQ(5u, logged.size());
    EXPECT_NE(std::string::npos, logged[4].find("/\\x0aWebCheck[1]: uid 0: repaired\\x1b[2J")) << logged[4];
    EXPECT_LT(logged[4].size(), 1000u);
    // <84> is authpriv.warning, <85> authpriv.notice.
    EXPECT_EQ(0u, logged[0].rfind("<85>", 0)) << logged[0];
    EXPECT_NE(std::string::npos, logged[0].find("WebCheck[")) << logged[0];
    EXPECT_NE(std::string::npos, logged[0].find("uid 65534: " + box->path() + "/apachectl graceful")) << logged[0];
    EXPECT_EQ(0u, logged[1].rfind("<84>", 0)) << logged[1];
    EXPECT_NE(std::string::npos, logged[1].find("uid 65534: refused: polkit did not authorize")) << logged[1];
    EXPECT_EQ(0u, logged[2].rfind("<84>", 0)) << logged[2];
    EXPECT_NE(std::string::npos, logged[2].find("uid 65534: refused: arguments")) << logged[2];
    EXPECT_EQ(0u, logged[3].rfind("<84>", 0)) << logged[3];
    EXPECT_NE(std::string::npos, logged[3].find("uid 65534: refused: no program name (argc 0)")) << logged[3];
}
