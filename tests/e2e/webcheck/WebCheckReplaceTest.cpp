#include "WebCheckFixture.h"

#include <atomic>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <thread>

// A replaced configuration keeps owner, group and mode; a failed write keeps
// the old file and leaves no temporary file behind; replacements take turns
// under a lock that no other user can hold.
using WebCheckReplaceTest = WebCheckFixture;

TEST_F(WebCheckReplaceTest, ReplacedFilesKeepOwnerGroupAndModeAndAFailedWriteKeepsTheOldFile)
{
    struct Case {
        std::string file;
        uid_t caller, uid;
        gid_t gid;
        mode_t mode;
        std::string before, after;
    };
    const Case cases[] = {
        {box->mainConf(), kNobody, 0, 4, 0640, "<Directory />\n    AllowOverride None\n</Directory>\n",
         "<Directory />\n    AllowOverride All\n</Directory>\n\n"},
        {box->confDir() + "/users/root.conf", 0, 1000, 1000, 0604, "# old\n", "# old\n\n"},
    };
    for (const Case& c : cases) {
        std::ofstream(c.file) << c.before;
        ASSERT_EQ(0, ::chown(c.file.c_str(), c.uid, c.gid));
        ASSERT_EQ(0, ::chmod(c.file.c_str(), c.mode));
        auto result = webcheck(c.caller, c.file, repairData(c.file, c.caller));
        EXPECT_EQ(0, result.status) << result.err;
        EXPECT_EQ(c.after, read(c.file));
        expectStat(c.file, c.uid, c.gid, c.mode);
    }
    EXPECT_EQ(Names{}, strays());
    EXPECT_EQ(Names{}, strays(box->confDir() + "/users", {"root.conf"}));

    // Over the caller's soft file-size limit.
    std::string old = std::string(8192, '#') + "\n";
    std::ofstream(box->mainConf()) << old;
    for (uid_t uid : kCallers) {
        auto result = webcheck(uid, box->mainConf(), repairData(box->mainConf(), uid), {"/usr/bin/prlimit", "--fsize=1000:"});
        EXPECT_EQ(kReplaceFailed, result.status) << "uid " << uid << ": " << result.err;
        EXPECT_NE(std::string::npos, result.err.find("unchanged")) << result.err;
        EXPECT_EQ(old, read(box->mainConf()));
        EXPECT_EQ(Names{}, strays());
    }
}

TEST_F(WebCheckReplaceTest, ConcurrentRepairsTakeTurnsAndOnlyTheFirstFindsItsFile)
{
    // Six callers with the repair of the same content: the comparison and
    // the write happen under the lock, so once one has written, the others
    // find a file their data is not the repair of.
    std::ofstream(box->mainConf()) << "<Directory />\nAllowOverride None\n</Directory>\n" << std::string(1000000, '#') << "\n";
    Names files;
    for (int i = 0; i < 6; ++i)
        files.push_back(repairData(box->mainConf(), kNobody, "data" + std::to_string(i)));
    // Taking turns shows as never more than one temporary file at a time.
    std::atomic<bool> writing{true};
    std::size_t mostTemporaries = 0;
    std::thread watcher([&] {
        for (const std::string prefix = "." + WebCheckSandbox::mainConfName() + ".webcheck-"; writing;) {
            std::size_t temporaries = 0;
            std::error_code ec;
            for (const auto& entry : fs::directory_iterator(box->confDir(), ec))
                temporaries += entry.path().filename().string().starts_with(prefix);
            mostTemporaries = std::max(mostTemporaries, temporaries);
        }
    });
    std::vector<int> statuses(files.size(), -1);
    {
        std::vector<std::jthread> writers;
        for (std::size_t i = 0; i < files.size(); ++i)
            writers.emplace_back([&, i] { statuses[i] = webcheck(kNobody, box->mainConf(), files[i]).status; });
    }
    writing = false;
    watcher.join();
    std::sort(statuses.begin(), statuses.end());
    EXPECT_EQ((std::vector<int>{0, kNotARepair, kNotARepair, kNotARepair, kNotARepair, kNotARepair}), statuses);
    EXPECT_LE(mostTemporaries, 1u) << "two replacements wrote at the same time";
    EXPECT_EQ(read(files[0]), read(box->mainConf())) << "mixed or torn content";
    EXPECT_EQ(Names{}, strays());
}

TEST_F(WebCheckReplaceTest, ReplacementWaitsForARootOnlyLockButNotForever)
{
    std::string old = read(box->mainConf()), data = repairData(box->mainConf());
    int lock = ::open(box->lockFile().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    for (auto [mode, owner] : {std::pair{0644, 0u}, std::pair{0600, kNobody}}) {
        ASSERT_EQ(0, ::fchmod(lock, mode));
        ASSERT_EQ(0, ::fchown(lock, owner, owner));
        auto result = webcheck(kNobody, box->mainConf(), data);
        EXPECT_EQ(kReplaceFailed, result.status) << result.err;
        EXPECT_NE(std::string::npos, result.err.find("not a file of root's alone")) << result.err;
    }
    ASSERT_EQ(0, ::fchown(lock, 0, 0));
    ASSERT_EQ(0, ::flock(lock, LOCK_EX));
    auto given = webcheck(kNobody, box->mainConf(), data);
    EXPECT_EQ(kReplaceFailed, given.status) << "a holder that never lets go: the tool gives up " << given.err;
    EXPECT_EQ(old, read(box->mainConf()));
    EXPECT_EQ(Names{}, strays());

    int status = -1;
    std::thread writer([&] { status = webcheck(kNobody, box->mainConf(), data).status; });
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(old, read(box->mainConf())) << "replaced while another holder had the lock";
    ::flock(lock, LOCK_UN);
    ::close(lock);
    writer.join();
    EXPECT_EQ(0, status);
    EXPECT_EQ(old + "\n", read(box->mainConf()));
}

TEST_F(WebCheckReplaceTest, AnotherUserCannotStallAReplacement)
{
    // The first replacement makes the lock file.
    ASSERT_EQ(0, webcheck(kNobody, box->mainConf(), repairData(box->mainConf(), kNobody, "first")).status);
    expectStat(box->lockFile(), 0, 0, 0600);
    // A process of nobody's takes every lock it can near the configuration
    // (the folder, the file, the tool's lock file) and keeps them.
    int ready[2];
    ASSERT_EQ(0, ::pipe2(ready, O_CLOEXEC));
    pid_t holder = ::fork();
    if (holder == 0) {
        box->shareWithCaller();
        if (::setgroups(0, nullptr) != 0 || ::setresgid(kNobody, kNobody, kNobody) != 0 ||
            ::setresuid(kNobody, kNobody, kNobody) != 0)
            ::_exit(1);
        char held = '0';
        for (const std::string& path : {box->confDir(), box->mainConf(), box->lockFile()})
            held += ::flock(::open(path.c_str(), O_RDONLY), LOCK_SH | LOCK_NB) == 0;
        if (::write(ready[1], &held, 1) == 1)
            for (;;)
                ::pause();
        ::_exit(1);
    }
    ::close(ready[1]);
    pollfd wait{ready[0], POLLIN, 0};
    char held = 0;
    bool told = ::poll(&wait, 1, 10000) == 1 && ::read(ready[0], &held, 1) == 1;
    ::close(ready[0]);
    // Stalled, the run would end by the sandbox's time limit with SIGKILL.
    Run result = told && held == '2' ? webcheck(kNobody, box->mainConf(), repairData(box->mainConf(), kNobody, "second")) : Run{};
    ::kill(holder, SIGKILL);
    ::waitpid(holder, nullptr, 0);
    ASSERT_EQ('2', held) << "nobody should lock the folder and the file, never the lock file";
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("ServerName localhost\n\n\n", read(box->mainConf()));
}
