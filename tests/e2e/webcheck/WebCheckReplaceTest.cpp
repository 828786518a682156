#include "WebCheckFixture.h"

#include <atomic>
#include <chrono>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

// A replaced configuration keeps owner, group and mode; a failed write keeps
// the old file and leaves no temporary file behind; replacements take turns
// under a lock that no other user can hold.
using WebCheckReplaceTest = WebCheckFixture;

namespace {
gid_t admGroup()
{
    struct group* adm = ::getgrnam("adm");
    return adm ? adm->gr_gid : 4;
}
} // namespace

TEST_F(WebCheckReplaceTest, ReplacedFilesKeepOwnerGroupAndMode)
{
    ASSERT_EQ(0, ::chown(box->mainConf().c_str(), 0, admGroup()));
    ASSERT_EQ(0, ::chmod(box->mainConf().c_str(), 0640));
    std::ofstream(box->mainConf()) << "<Directory />\n    AllowOverride None\n</Directory>\n";
    std::string own = box->confDir() + "/users/root.conf";
    std::ofstream(own) << "# old\n";
    ASSERT_EQ(0, ::chown(own.c_str(), 1000, 1000));
    ASSERT_EQ(0, ::chmod(own.c_str(), 0604));

    auto result = webcheck(kNobody, box->mainConf(), repairData(box->mainConf()));
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("<Directory />\n    AllowOverride All\n</Directory>\n\n", read(box->mainConf()));
    struct stat st{};
    ASSERT_EQ(0, ::stat(box->mainConf().c_str(), &st));
    EXPECT_EQ(0u, st.st_uid);
    EXPECT_EQ(admGroup(), st.st_gid);
    EXPECT_EQ(0640u, st.st_mode & 07777);

    result = webcheck(0, own, repairData(own, 0));
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("# old\n\n", read(own));
    ASSERT_EQ(0, ::stat(own.c_str(), &st));
    EXPECT_EQ(1000u, st.st_uid);
    EXPECT_EQ(1000u, st.st_gid);
    EXPECT_EQ(0604u, st.st_mode & 07777);

    EXPECT_EQ((std::vector<std::string>{}), strays(box->confDir(), {WebCheckSandbox::mainConfName(), "users"}));
    EXPECT_EQ((std::vector<std::string>{}), strays(box->confDir() + "/users", {"root.conf"}));
}

TEST_F(WebCheckReplaceTest, FailedWriteKeepsTheOldFileAndNoTemporary)
{
    std::string old = std::string(8192, '#') + "\n";
    std::ofstream(box->mainConf()) << old;
    std::string data = repairData(box->mainConf());
    for (uid_t uid : {kNobody, uid_t(0)}) {
        ::chown(data.c_str(), uid, uid);
        WebCheckSandbox::Options options;
        options.uid = uid;
        options.callerToken = true;
        options.wrapper = {"/usr/bin/prlimit", "--fsize=1000:"}; // the soft limit only
        auto result = box->run({"-mypath", box->tool(), "-operation", "webcheck", "-file", box->mainConf(), "-data",
                                data},
                               options);
        EXPECT_EQ(kReplaceFailed, result.status) << "uid " << uid << ": " << result.err;
        EXPECT_NE(std::string::npos, result.err.find("unchanged")) << result.err;
        EXPECT_EQ(old, read(box->mainConf()));
        EXPECT_EQ((std::vector<std::string>{}), strays(box->confDir(), {WebCheckSandbox::mainConfName(), "users"}));
    }
}

TEST_F(WebCheckReplaceTest, ConcurrentRepairsTakeTurnsAndOnlyTheFirstFindsItsFile)
{
    // Six callers with the repair of the same content: the comparison and
    // the write happen under the lock, so once one has written, the others
    // find a file their data is not the repair of.
    constexpr int kWriters = 6;
    std::string current = "<Directory />\nAllowOverride None\n</Directory>\n" + std::string(1000000, '#') + "\n";
    std::ofstream(box->mainConf()) << current;
    std::vector<std::string> files;
    for (int i = 0; i < kWriters; ++i)
        files.push_back(repairData(box->mainConf(), kNobody, "data" + std::to_string(i)));
    std::string repaired = read(files[0]);

    // Taking turns shows as never more than one temporary file at a time.
    std::atomic<bool> writing{true};
    std::size_t mostTemporaries = 0;
    std::thread watcher([&] {
        const std::string prefix = "." + WebCheckSandbox::mainConfName() + ".webcheck-";
        while (writing) {
            std::size_t temporaries = 0;
            std::error_code ec;
            for (const auto& entry : std::filesystem::directory_iterator(box->confDir(), ec))
                temporaries += entry.path().filename().string().rfind(prefix, 0) == 0;
            mostTemporaries = std::max(mostTemporaries, temporaries);
        }
    });
    std::vector<int> statuses(kWriters, -1);
    std::vector<std::thread> writers;
    for (int i = 0; i < kWriters; ++i)
        writers.emplace_back([&, i] { statuses[i] = webcheck(kNobody, box->mainConf(), files[i]).status; });
    for (auto& w : writers)
        w.join();
    writing = false;
    watcher.join();

    std::sort(statuses.begin(), statuses.end());
    EXPECT_EQ((std::vector<int>{0, kNotARepair, kNotARepair, kNotARepair, kNotARepair, kNotARepair}), statuses);
    EXPECT_LE(mostTemporaries, 1u) << "two replacements wrote at the same time";
    EXPECT_EQ(repaired, read(box->mainConf())) << "mixed or torn content";
    EXPECT_EQ((std::vector<std::string>{}), strays(box->confDir(), {WebCheckSandbox::mainConfName(), "users"}));
}

TEST_F(WebCheckReplaceTest, ReplacementWaitsForTheLockButNotForever)
{
    std::string old = read(box->mainConf());
    std::string data = repairData(box->mainConf());
    int lock = ::open(box->lockFile().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_LE(0, lock);
    ASSERT_EQ(0, ::flock(lock, LOCK_EX));
    auto given = webcheck(kNobody, box->mainConf(), data);
    EXPECT_EQ(kReplaceFailed, given.status) << "a holder that never lets go: the tool gives up " << given.err;
    EXPECT_EQ(old, read(box->mainConf()));

    int status = -1;
    std::thread writer([&] { status = webcheck(kNobody, box->mainConf(), data).status; });
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(old, read(box->mainConf())) << "replaced while another holder had the lock";
    ::flock(lock, LOCK_UN);
    ::close(lock);
    writer.join();
    EXPECT_EQ(0, status);
    EXPECT_EQ(old + "\n", read(box->mainConf()));
    struct stat st{};
    ASSERT_EQ(0, ::stat(box->lockFile().c_str(), &st));
    EXPECT_EQ(0u, st.st_uid);
    EXPECT_EQ(0600u, st.st_mode & 07777);
}

namespace {
// A process of nobody's that takes every lock it can near the configuration
// (the folder, the file, the tool's lock file) and keeps them until killed.
class NobodyHoldingLocks
{
public:
    NobodyHoldingLocks(const WebCheckSandbox& box, const std::vector<std::string>& paths)
    {
        int ready[2];
        if (::pipe2(ready, O_CLOEXEC) != 0)
            return;
        pid_ = ::fork();
        if (pid_ == 0) {
            box.shareWithCaller();
            if (::setgroups(0, nullptr) != 0 || ::setresgid(65534, 65534, 65534) != 0 ||
                ::setresuid(65534, 65534, 65534) != 0)
                ::_exit(1);
            char held = '0';
            for (const std::string& path : paths) {
                int fd = ::open(path.c_str(), O_RDONLY);
                if (fd >= 0 && ::flock(fd, LOCK_SH | LOCK_NB) == 0)
                    ++held;
            }
            if (::write(ready[1], &held, 1) != 1)
                ::_exit(1);
            for (;;)
                ::pause();
        }
        ::close(ready[1]);
        pollfd wait{ready[0], POLLIN, 0};
        if (pid_ > 0 && ::poll(&wait, 1, 10000) == 1 && ::read(ready[0], &held_, 1) == 1)
            held_ -= '0';
        else
            held_ = -1;
        ::close(ready[0]);
    }
    ~NobodyHoldingLocks()
    {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    // How many of the paths it holds a lock on; -1 when it did not start.
    int held() const { return held_; }

private:
    pid_t pid_ = -1;
    char held_ = -1;
};
} // namespace

TEST_F(WebCheckReplaceTest, AnotherUserCannotStallAReplacement)
{
    // The first replacement makes the lock file.
    ASSERT_EQ(0, webcheck(kNobody, box->mainConf(), repairData(box->mainConf(), kNobody, "first")).status);
    NobodyHoldingLocks holder(*box, {box->confDir(), box->mainConf(), box->lockFile()});
    ASSERT_EQ(2, holder.held()) << "nobody should lock the folder and the file, never the lock file";

    // Stalled, the run would end by the sandbox's time limit with SIGKILL.
    auto result = webcheck(kNobody, box->mainConf(), repairData(box->mainConf(), kNobody, "second"));
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("ServerName localhost\n\n\n", read(box->mainConf()));
}

TEST_F(WebCheckReplaceTest, ALockFileNotRootsAloneIsRefused)
{
    std::string old = read(box->mainConf());
    std::string data = repairData(box->mainConf());
    int lock = ::open(box->lockFile().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_LE(0, lock);
    ::close(lock);
    ASSERT_EQ(0, ::chmod(box->lockFile().c_str(), 0644));
    auto result = webcheck(kNobody, box->mainConf(), data);
    EXPECT_EQ(kReplaceFailed, result.status) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("not a file of root's alone")) << result.err;

    ASSERT_EQ(0, ::chmod(box->lockFile().c_str(), 0600));
    ASSERT_EQ(0, ::chown(box->lockFile().c_str(), kNobody, kNobody));
    result = webcheck(kNobody, box->mainConf(), data);
    EXPECT_EQ(kReplaceFailed, result.status) << result.err;

    EXPECT_EQ(old, read(box->mainConf()));
    EXPECT_EQ((std::vector<std::string>{}), strays(box->confDir(), {WebCheckSandbox::mainConfName(), "users"}));
}
