#include "WebCheckFixture.h"

#include <grp.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <thread>

using WebCheckReplaceTest = WebCheckFixture;

TEST_F(WebCheckReplaceTest, AFailedWriteKeepsTheOldFileAndWritesTakeTurnsUnderARootOnlyLock)
{
    std::string big = std::string(8192, '#') + "\n";
    std::ofstream(box->mainConf()) << big;
    for (uid_t uid : kCallers) {
        auto result = webcheck(uid, box->mainConf(), repairData(box->mainConf(), uid), {"/usr/bin/prlimit", "--fsize=1000:"});
        EXPECT_EQ(kReplaceFailed, result.status) << "uid " << uid << ": " << result.err;
        EXPECT_NE(std::string::npos, result.err.find("unchanged")) << result.err;
        EXPECT_EQ(big, read(box->mainConf()));
        EXPECT_EQ(Names{}, strays());
    }

    std::string old = "ServerName localhost\n";
    std::ofstream(box->mainConf()) << old;
    std::string data = repairData(box->mainConf());
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

    // Made by the tool when missing; then a process of nobody's takes every
    // lock it can near the configuration and keeps them.
    ASSERT_EQ(0, ::unlink(box->lockFile().c_str()));
    ASSERT_EQ(0, webcheck(kNobody, box->mainConf(), repairData(box->mainConf(), kNobody, "first")).status);
    expectStat(box->lockFile(), 0, 0, 0600);
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
    char held = 0;
    // The holder writes or ends; stalled, the run ends by the sandbox's time limit.
    Run result = ::read(ready[0], &held, 1) == 1 && held == '2' ? webcheck(kNobody, box->mainConf(), repairData(box->mainConf(), kNobody, "second")) : Run{};
    ::kill(holder, SIGKILL);
    ::waitpid(holder, nullptr, 0);
    ASSERT_EQ('2', held) << "nobody should lock the folder and the file, never the lock file";
    EXPECT_EQ(0, result.status) << result.err;
    ::close(ready[0]);
    EXPECT_EQ("ServerName localhost\n\n\n\n", read(box->mainConf()));
}
