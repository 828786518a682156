#include "KLAuthorization.h"
#include "KLFileExtensions.h"
#include "KLLog.h"
#include "KLWebCheckClient.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

std::uint64_t littleEndian(const KLAuthorization::ExternalForm& form, std::size_t offset, std::size_t width)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value |= static_cast<std::uint64_t>(form[offset + i]) << (8 * i);
    return value;
}

std::uint64_t uptimeTicks()
{
    double seconds = 0;
    std::ifstream("/proc/uptime") >> seconds;
    return static_cast<std::uint64_t>(seconds * static_cast<double>(::sysconf(_SC_CLK_TCK)));
}

std::string writeScript(const TempDir& dir, const std::string& name, const std::string& body)
{
    std::string path = dir.write(name, "#!/bin/sh\n" + body);
    ::chmod(path.c_str(), 0755);
    return path;
}

} // namespace

TEST(WebCheckExternalFormTest, LayoutNamesThisProcess)
{
    auto form = KLAuthorization::makeExternalForm();
    auto start = KLAuthorization::processStartTime(::getpid());
    ASSERT_TRUE(form && start);
    EXPECT_EQ(std::string(form->begin(), form->begin() + 4), "FNDR");
    EXPECT_EQ(std::tuple(littleEndian(*form, 4, 4), littleEndian(*form, 8, 4), littleEndian(*form, 12, 4),
                         littleEndian(*form, 16, 8)),
              std::tuple(1u, static_cast<std::uint64_t>(::getpid()), static_cast<std::uint64_t>(::getuid()), *start));
    // /proc/uptime rounds to hundredths, the start time to whole ticks: a
    // process started this very tick may read one tick ahead of it.
    EXPECT_LE(*start, uptimeTicks() + 1);

    auto second = KLAuthorization::makeExternalForm();
    ASSERT_TRUE(second);
    EXPECT_TRUE(std::equal(form->begin(), form->begin() + 24, second->begin())) << "only the random bytes differ";
    EXPECT_NE(littleEndian(*form, 24, 8), littleEndian(*second, 24, 8));
}

TEST(WebCheckExternalFormTest, StartTimeSurvivesHostileCommandNames)
{
    // A program name with spaces and parentheses shifts naively split fields.
    TempDir dir;
    std::string program = dir.file("a) 1 2 (b c");
    ASSERT_EQ(0, std::system(("cp /bin/sleep '" + program + "'").c_str()));
    pid_t child = ::fork();
    if (child == 0) {
        ::execl(program.c_str(), program.c_str(), "5", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    ASSERT_GT(child, 0);
    std::uint64_t now = 0;
    std::optional<std::uint64_t> start;
    for (int i = 0; i < 100; ++i) {
        std::string name;
        std::getline(std::ifstream("/proc/" + std::to_string(child) + "/comm"), name);
        if (name == "a) 1 2 (b c") {
            start = KLAuthorization::processStartTime(child);
            now = uptimeTicks();
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    ASSERT_TRUE(start);
    std::uint64_t tick = static_cast<std::uint64_t>(::sysconf(_SC_CLK_TCK));
    EXPECT_TRUE(*start <= now + tick && *start + 5 * tick >= now) << *start << " " << now;
    EXPECT_FALSE(KLAuthorization::processStartTime(child)) << "a reaped process has no start time";
}

TEST(WebCheckClientTest, SetUIDMeansRootOwnedWithTheBit)
{
    TempDir dir;
    std::string tool = dir.write("WebCheck", "x"), link = dir.file("link");
    ASSERT_EQ(0, ::symlink(tool.c_str(), link.c_str()));
    KLWebCheckClient client(tool);
    EXPECT_FALSE(KLWebCheckClient(dir.file("missing")).isHelperSetUID());
    // Owner and mode in turn; as a user the file cannot be given to root.
    const struct {
        uid_t owner;
        mode_t mode;
        bool setUID;
    } cases[] = {{::getuid(), 04755, ::getuid() == 0}, {0, 04755, true}, {0, 0755, false}, {65534, 04755, false}};
    for (const auto& c : cases) {
        if (::getuid() != 0 && c.owner != ::getuid())
            continue;
        ASSERT_EQ(0, ::chown(tool.c_str(), c.owner, static_cast<gid_t>(-1)));
        ASSERT_EQ(0, ::chmod(tool.c_str(), c.mode));
        EXPECT_EQ(client.isHelperSetUID(), c.setUID) << c.owner << " " << c.mode;
        EXPECT_EQ(KLWebCheckClient(link).isHelperSetUID(), c.setUID) << "links are followed";
    }
}

TEST(WebCheckClientTest, InstallsThenRunsWithPathArgumentsAndToken)
{
    TempDir dir;
    std::string tool = writeScript(dir, "WebCheck",
                                   "if [ \"$1\" = -selfRepair ]; then echo \"$*\" > '" + dir.file("install") +
                                       "'; echo $$; exit 0; fi\n"
                                       "printf '%s\\n' \"$@\" > '" + dir.file("args") + "'\n"
                                       "cat > '" + dir.file("token") + "'\nexit 42\n");
    std::string pkexec = writeScript(dir, "pkexec", "echo used > '" + dir.file("pkexec.used") + "'\nexec \"$@\"\n");
    KLWebCheckClient client(tool, pkexec);

    EXPECT_EQ(42, client.webcheckWithArgs({"-operation", "ctl", "-data", "graceful"}));
    EXPECT_EQ("-selfRepair YES -mypath " + tool + "\n", readFile(dir.file("install")));
    EXPECT_EQ(::geteuid() != 0, fileExists(dir.file("pkexec.used"))) << "pkexec only when not root";
    EXPECT_EQ("-mypath\n" + tool + "\n-operation\nctl\n-data\ngraceful\n", readFile(dir.file("args")));
    std::string token = readFile(dir.file("token"));
    ASSERT_EQ(KLAuthorization::kExternalFormLength, token.size());
    EXPECT_EQ("FNDR", token.substr(0, 4));
    pid_t pid = 0;
    std::memcpy(&pid, token.data() + 8, 4);
    EXPECT_EQ(::getpid(), pid);
}

TEST(WebCheckClientTest, RefusedInstallGivesSevenAndRunsNothing)
{
    TempDir dir;
    std::string tool = writeScript(dir, "WebCheck",
                                   "if [ \"$1\" = -selfRepair ]; then exit 126; fi\ntouch '" + dir.file("ran") + "'\n");
    std::string pkexec = writeScript(dir, "pkexec", "exec \"$@\"\n");
    std::vector<std::string> logged;
    KLSetLogSink([&](const std::string& line) { logged.push_back(line); });
    int result = KLWebCheckClient(tool, pkexec).webcheckWithArgs({"-operation", "ctl", "-data", "stop"});
    EXPECT_EQ(KLWebCheckClient::kAuthorizationFailed, result);
    EXPECT_EQ(std::vector<std::string>{"Error 126: Authorization failed"}, logged);
    EXPECT_FALSE(fileExists(dir.file("ran")));
    // A missing tool or pkexec is reported the same way.
    logged.clear();
    result = KLWebCheckClient(dir.file("none"), dir.file("no-pkexec")).webcheckWithArgs({});
    KLSetLogSink(nullptr);
    EXPECT_EQ(KLWebCheckClient::kAuthorizationFailed, result);
    ASSERT_EQ(1u, logged.size());
    EXPECT_NE(std::string::npos, logged[0].find("Authorization failed"));
}

TEST(WebCheckRightsTest, RightsComeFromPolkitForThisProcess)
{
    if (::geteuid() == 0) {
        KLAuthorization root("/nonexistent/pkcheck");
        EXPECT_TRUE(root.obtainRights(false)) << "root holds both rights without asking";
    }
    // The rest as an ordinary user: nobody, in a child, when this test runs as root.
    std::string folder = "/tmp/fendrel-pkcheck-XXXXXX";
    ASSERT_TRUE(::mkdtemp(folder.data()));
    ::chmod(folder.c_str(), 0777);
    std::string log = folder + "/log";
    auto stub = [&](int code) {
        std::string path = folder + "/pkcheck" + std::to_string(code);
        std::ofstream(path) << "#!/bin/sh\necho \"$*\" >> '" << log << "'\nexit " << code << "\n";
        ::chmod(path.c_str(), 0755);
        return path;
    };
    std::string yes = stub(0), no = stub(1);
    pid_t child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0 && (::setresgid(65534, 65534, 65534) != 0 || ::setresuid(65534, 65534, 65534) != 0))
            ::_exit(10);
        KLAuthorization granted(yes), refused(no);
        if (!granted.obtainRights(true) || !granted.holdsRights())
            ::_exit(11);
        granted.releaseRights();
        if (granted.holdsRights() || refused.obtainRights(true) || refused.holdsRights())
            ::_exit(12);
        std::ofstream(folder + "/subject") << ::getpid() << "," << *KLAuthorization::processStartTime(::getpid())
                                             << "," << ::getuid();
        ::_exit(0);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    std::string subject = readFile(folder + "/subject");
    std::string asked = readFile(log);
    std::system(("rm -rf '" + folder + "'").c_str());
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ("--action-id com.quillmoor.fendrel.webcheck --process " + subject + " --allow-user-interaction\n"
              "--action-id com.quillmoor.fendrel.apachectl --process " + subject + " --allow-user-interaction\n"
              "--revoke-temp\n"
              "--action-id com.quillmoor.fendrel.webcheck --process " + subject + " --allow-user-interaction\n"
              "--revoke-temp\n",
              asked)
        << "both rights asked with interaction; a refusal stops at the first; releasing the rights or a refusal "
           "revokes polkit's temporary authorization";
}
