#include "WebCheckFixture.h"

#include <cstddef>
#include <linux/audit.h>
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

// The control program gets nothing of the caller's environment or process state.
using WebCheckEnvironmentTest = WebCheckFixture;

namespace {
std::vector<std::string> linesOf(const std::string& text, const std::string& prefix)
{
    std::vector<std::string> found;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(prefix))
            found.push_back(line.substr(prefix.size()));
    return found;
}

// close_range fails with ENOSYS from here on, as before Linux 5.9 (root needs no no_new_privs).
void withoutCloseRange()
{
#if defined(__x86_64__)
    constexpr std::uint32_t arch = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
    constexpr std::uint32_t arch = AUDIT_ARCH_AARCH64;
#else
    ::_exit(122);
#endif
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, arch)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, arch, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_close_range, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    sock_fprog program{static_cast<unsigned short>(sizeof filter / sizeof filter[0]), filter};
    if (::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        ::_exit(122);
}
} // namespace

TEST_F(WebCheckEnvironmentTest, NothingOfTheCallersReachesTheControlProgram)
{
    std::string evil = box->path() + "/evil", marker = box->path() + "/pwned";
    fs::create_directories(evil);
    for (const char* name : {"systemctl", "apachectl", "apache2", "pkcheck", "envvars", "sh", "bash"}) {
        std::ofstream(evil + "/" + name) << "#!/bin/sh\ntouch '" << marker << "'\n";
        ::chmod((evil + "/" + name).c_str(), 0755);
    }
    // Above the caller's descriptor limit: without close_range only /proc finds it.
    int leaked = ::open(box->callerFile("secret", "secret\n").c_str(), O_RDONLY);
    ASSERT_EQ(1000, ::dup2(leaked, 1000));
    ::close(leaked);
    sigset_t blocked, old;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGINT);
    ::sigaddset(&blocked, SIGUSR1);
    ASSERT_EQ(0, ::pthread_sigmask(SIG_BLOCK, &blocked, &old));
    mode_t mask = ::umask(0);
    for (uid_t uid : kCallers) {
        WebCheckSandbox::Options options{.uid = uid, .callerToken = true};
        options.env = {"PATH=" + evil + ":/usr/bin:/bin", "APACHE_ENVVARS=" + evil + "/envvars",
                       "APACHE_CONFDIR=" + evil, "IFS=/", "LD_PRELOAD=/nonexistent/evil.so",
                       "BASH_ENV=" + evil + "/sh", "ENV=" + evil + "/sh", "LANG=de_DE.UTF-8", "SHELLOPTS=xtrace"};
        options.wrapper = {"/usr/bin/prlimit", "--fsize=1000:", "--nofile=40:", "/usr/bin/ionice", "-c3",
                           "/usr/bin/taskset", "-c", "0", "/usr/bin/nice", "-n", "10", "/bin/sh", "-c",
                           "trap '' TERM HUP; echo 500 > /proc/self/oom_score_adj; cd /tmp; exec \"$0\" \"$@\""};
        if (uid == 0)
            options.inChild = withoutCloseRange;
        auto result = box->run(ctlArgs("graceful"), options);
        EXPECT_EQ(0, result.status) << "uid " << uid << ": " << result.err;
    }
    ::umask(mask);
    ::pthread_sigmask(SIG_SETMASK, &old, nullptr);
    ::close(1000);

    std::string log = read(box->controlLog());
    Names env = linesOf(log, "env: "), fds = linesOf(log, "fd: ");
    std::sort(env.begin(), env.end());
    EXPECT_EQ((Names{"LANG=C", "LANG=C", "PATH=/usr/sbin:/usr/bin:/sbin:/bin", "PATH=/usr/sbin:/usr/bin:/sbin:/bin"}), env)
        << log;
    for (const std::string& fd : fds)
        EXPECT_EQ(std::string::npos, fd.find("secret")) << "descriptor leaked: " << fd;
    EXPECT_EQ(2, std::count(fds.begin(), fds.end(), "/dev/null")) << "standard input is /dev/null";
    EXPECT_EQ(Names(2, "\t0\t0\t0\t0"), linesOf(log, "Uid:")) << log;
    EXPECT_EQ(Names(2, " 0022"), linesOf(log, "umask:")) << log;
    EXPECT_FALSE(fs::exists(marker)) << "a hostile program ran";
    EXPECT_EQ(Names(2, "nice 0 policy 0 oom 0 io none: prio 0 cwd /"), linesOf(log, "state: "));
    EXPECT_EQ(Names(2, linesOf(read("/proc/1/status"), "Cpus_allowed_list:").at(0)), linesOf(log, "Cpus_allowed_list:"));
    // pid 1's limits, but for a hard limit this session cannot raise.
    EXPECT_EQ(Names(2, linesOf(read("/proc/1/limits"), "Max file size").at(0)), linesOf(log, "limits: Max file size"));
    EXPECT_EQ(Names(2, "\t0000000000000000"), linesOf(log, "SigBlk:"));
    // Signals 32 and 33 belong to the C library.
    constexpr unsigned long long kLibrarySignals = (1ULL << 31) | (1ULL << 32);
    Names ignored = linesOf(log, "SigIgn:");
    ASSERT_EQ(ignored.size(), 2u);
    for (const std::string& mask : ignored)
        EXPECT_EQ(std::stoull(mask, nullptr, 16) & ~kLibrarySignals, 0u) << mask;
}

TEST_F(WebCheckEnvironmentTest, LoweredHardLimitsAreRaisedOrRefusedAndSystemdGetsTheServersUnit)
{
    auto result = ctl(kNobody, "graceful", {"/usr/bin/prlimit", "--fsize=1000", "--nofile=40"});
    if (::prctl(PR_CAPBSET_READ, CAP_SYS_RESOURCE) == 1) {
        EXPECT_EQ(0, result.status) << result.err;
        EXPECT_EQ(linesOf(read("/proc/1/limits"), "Max file size"),
                  linesOf(read(box->controlLog()), "limits: Max file size"));
    } else {
        EXPECT_EQ(kNoRootRights, result.status) << result.err;
        EXPECT_NE(std::string::npos, result.err.find("resource limit")) << result.err;
        EXPECT_FALSE(controlRan());
    }
    fs::remove(box->controlLog());
    box->pretendSystemd();
    for (const char* command : {"start", "stop", "restart", "graceful"})
        EXPECT_EQ(0, ctl(kNobody, command).status) << command;
    std::string unit = WebCheckSandbox::mainConfName() == "apache2.conf" ? "apache2.service" : "httpd.service";
    std::string log = read(box->controlLog());
    EXPECT_EQ((Names{"start " + unit, "stop " + unit, "restart " + unit}), linesOf(log, "systemctl: "));
    EXPECT_EQ((Names{"graceful"}), linesOf(log, "args: "));
}
