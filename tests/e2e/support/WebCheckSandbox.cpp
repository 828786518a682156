#include "WebCheckSandbox.h"

#include "KLAuthorization.h"
#include "TempDir.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <sched.h>
#include <stdexcept>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#ifndef FENDREL_WEBCHECK_TEST
#define FENDREL_WEBCHECK_TEST "" // the test build of WebCheck is switched off
#define FENDREL_WEBCHECK_CONF_FILE ""
#endif

namespace fs = std::filesystem;

namespace {

void writeFile(const std::string& path, const std::string& contents, mode_t mode = 0755)
{
    if (!(std::ofstream(path, std::ios::binary | std::ios::trunc) << contents))
        throw std::runtime_error("cannot write " + path);
    ::chmod(path.c_str(), mode);
}

std::string quoted(const std::string& path) { return "'" + path + "'"; }

// Sandboxes hold a set-user-ID root program, so they go even when their test dies.
constexpr const char* kPrefix = "/tmp/fendrel-webcheck-";
char liveSandboxes[8][64];
pid_t sandboxOwner;

// Async-signal-safe: fork, execve and waitpid only.
void removeLiveSandboxes()
{
    if (::getpid() != sandboxOwner) // a child of the test's keeps its parent's
        return;
    for (char* folder : liveSandboxes) {
        pid_t pid = folder[0] ? ::fork() : -1;
        if (pid == 0) {
            char rm[] = "rm", rf[] = "-rf", end[] = "--";
            char* argv[] = {rm, rf, end, folder, nullptr};
            char* env[] = {nullptr};
            ::execve("/bin/rm", argv, env);
            ::_exit(127);
        }
        if (pid > 0)
            ::waitpid(pid, nullptr, 0);
        folder[0] = '\0';
    }
}

void removeAndDie(int signal)
{
    removeLiveSandboxes();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void track(const std::string& folder)
{
    if (sandboxOwner != ::getpid()) {
        // This process's first (a forked child's slots are its parent's): stale ones go.
        std::memset(liveSandboxes, 0, sizeof liveSandboxes);
        sandboxOwner = ::getpid();
        std::error_code ec;
        for (const auto& entry : fs::directory_iterator("/tmp", ec)) {
            std::string path = entry.path().string();
            pid_t owner = path.starts_with(kPrefix) ? std::atoi(path.c_str() + std::strlen(kPrefix)) : 0;
            struct stat st{};
            if (owner > 0 && ::lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode) && st.st_uid == ::geteuid() &&
                ::kill(owner, 0) != 0 && errno == ESRCH)
                fs::remove_all(path, ec);
        }
        std::atexit(removeLiveSandboxes);
        for (int signal : {SIGINT, SIGTERM, SIGABRT, SIGSEGV})
            std::signal(signal, removeAndDie);
    }
    for (char* slot : liveSandboxes) {
        if (!slot[0] && folder.size() < sizeof liveSandboxes[0]) {
            std::strcpy(slot, folder.c_str());
            return;
        }
    }
    throw std::runtime_error("too many sandboxes at once");
}

} // namespace

void WebCheckSandbox::exitUnlessRoot()
{
    if (::geteuid() == 0)
        return;
    std::fprintf(stderr, "skipped: installing WebCheck set-user-ID root needs root\n");
    if (const char* home = std::getenv("HOME"); home && std::strncmp(home, "/tmp/fendrel-test-", 18) == 0) {
        std::error_code ec;
        fs::remove_all(home, ec);
    }
    std::_Exit(77);
}

std::string WebCheckSandbox::testBuild() { return FENDREL_WEBCHECK_TEST; }
std::string WebCheckSandbox::mainConfName() { return FENDREL_WEBCHECK_CONF_FILE; }

WebCheckSandbox::WebCheckSandbox()
{
    // Named after this process, so that a later one knows whose it was.
    std::string base = kPrefix + std::to_string(::getpid()) + "-XXXXXX";
    if (!::mkdtemp(base.data()))
        throw std::runtime_error("cannot create a sandbox folder");
    root_ = base;
    track(root_);
    path_ = root_ + "/box";
    fs::create_directories(confDir() + "/users");
    ::chmod(path_.c_str(), 0755);
    fs::copy_file(testBuild(), tool());
    ::chmod(tool().c_str(), 0755);
    writeFile(mainConf(), "ServerName localhost\n", 0644);
    fs::create_directories(callerDir());
    ::chown(callerDir().c_str(), kNobody, kNobody);
    setControlProgram("");
    setPkcheckExit(0);
    writeFile(path_ + "/a2enmod", "#!/bin/sh\necho \"$*\" >> " + quoted(a2enmodLog()) + "\n");
}

WebCheckSandbox::~WebCheckSandbox()
{
    std::error_code ec;
    fs::remove_all(root_, ec);
    for (char* slot : liveSandboxes)
        if (root_ == slot)
            slot[0] = '\0';
}

void WebCheckSandbox::shareWithCaller() const
{
    // After unshare, so that the bind mount's source is in this namespace.
    int box = -1;
    if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        (box = ::open(path_.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) < 0 ||
        ::mount("tmpfs", root_.c_str(), "tmpfs", 0, "mode=0755") != 0 || ::mkdir(path_.c_str(), 0755) != 0 ||
        ::mount(("/proc/self/fd/" + std::to_string(box)).c_str(), path_.c_str(), nullptr, MS_BIND, nullptr) != 0)
        ::_exit(119);
    ::close(box);
}

void WebCheckSandbox::installSetUID() const
{
    if (::chown(tool().c_str(), 0, 0) != 0 || ::chmod(tool().c_str(), 04755) != 0)
        throw std::runtime_error("cannot make the copy set-user-ID root");
}

void WebCheckSandbox::setControlProgram(const std::string& body) const
{
    // bash on purpose: it would read BASH_ENV and drop a real uid that is not root.
    std::string script = "#!/bin/sh\n" + body;
    if (body.empty())
        script = "#!/bin/bash\n"
                 "{ echo \"args: $*\"; grep '^Uid:' /proc/$$/status; echo \"umask: $(umask)\";\n"
                 "  for fd in /proc/$$/fd/*; do echo \"fd: $(readlink $fd)\"; done;\n"
                 "  grep -E '^Sig(Blk|Ign):' /proc/self/status;\n"
                 "  echo \"state: nice $(cut -d' ' -f19 /proc/$$/stat) policy $(cut -d' ' -f41 /proc/$$/stat)"
                 " oom $(cat /proc/$$/oom_score_adj) io $(ionice -p $$) cwd $PWD\";\n"
                 "  grep '^Cpus_allowed_list:' /proc/$$/status; sed 's/^/limits: /' /proc/$$/limits;\n"
                 "  tr '\\0' '\\n' < /proc/$$/environ | sed 's/^/env: /'; } >> " +
                 quoted(controlLog()) + "\n";
    writeFile(path_ + "/apachectl", script);
}

void WebCheckSandbox::driveApache(const std::string& serverRoot, const std::string& controlProgram) const
{
    fs::remove_all(confDir());
    fs::create_directory_symlink(serverRoot, confDir());
    setControlProgram("echo \"args: $*\" >> " + quoted(controlLog()) + "\nexec " + quoted(controlProgram) + " \"$@\"\n");
    writeFile(path_ + "/a2enmod",
              "#!/bin/sh\nAPACHE_CONFDIR=" + quoted(serverRoot) + " APACHE_STATE_DIRECTORY=" + quoted(serverRoot + "/state") +
                  " exec /usr/sbin/a2enmod \"$@\"\n");
}

void WebCheckSandbox::setPkcheckExit(int code) const
{
    // Logs who asks about whom; refuses subjects not of this test process.
    writeFile(path_ + "/pkcheck",
              "#!/bin/sh\nparent=$(cut -d' ' -f4 /proc/$PPID/stat)\n"
              "echo \"$* by $(id -u) for $parent,$(cut -d' ' -f22 /proc/$parent/stat)\" >> " +
                  quoted(pkcheckLog()) +
                  "\nwhile [ $# -gt 1 ] && [ \"$1\" != --process ]; do shift; done\n"
                  "p=${2%%,*}\n"
                  "while [ \"$p\" != " + std::to_string(::getpid()) + " ]; do\n"
                  "  case $p in ''|0|1|*[!0-9]*) exit 1;; esac\n"
                  "  p=$(sed 's/.*) //' /proc/$p/stat | cut -d' ' -f2)\n"
                  "done\nexit " + std::to_string(code) + "\n");
}

void WebCheckSandbox::pretendSystemd() const
{
    fs::create_directories(path_ + "/run-systemd-system");
    writeFile(path_ + "/systemctl", "#!/bin/sh\necho \"systemctl: $*\" >> " + quoted(controlLog()) + "\n");
}

std::string WebCheckSandbox::callerFile(const std::string& name, const std::string& contents, uid_t uid) const
{
    std::string path = callerDir() + "/" + name;
    writeFile(path, contents, 0644);
    ::chown(path.c_str(), uid, uid);
    return path;
}

WebCheckSandbox::Run WebCheckSandbox::run(const std::vector<std::string>& args, const Options& options,
                                          bool rawArgv) const
{
    std::string outPath = path_ + "/.run-XXXXXX", errPath = outPath;
    int out = ::mkostemp(outPath.data(), O_CLOEXEC), err = ::mkostemp(errPath.data(), O_CLOEXEC);
    if (out < 0 || err < 0)
        throw std::runtime_error("cannot prepare a run");

    std::vector<std::string> argv = rawArgv ? args : options.wrapper;
    if (!rawArgv) {
        argv.push_back(tool());
        argv.insert(argv.end(), args.begin(), args.end());
    }
    std::string program = options.wrapper.empty() ? tool() : options.wrapper.front();
    auto pointers = [](const std::vector<std::string>& strings) {
        std::vector<char*> result;
        for (const std::string& s : strings)
            result.push_back(const_cast<char*>(s.c_str()));
        result.push_back(nullptr);
        return result;
    };
    std::vector<char*> cargv = pointers(argv), cenv = pointers(options.env);

    pid_t pid = ::fork();
    if (pid == 0) {
        // The caller process, ended by SIGALRM when the run is stalled.
        ::alarm(60);
        if (options.inCaller)
            options.inCaller();
        if (::geteuid() == 0)
            shareWithCaller();
        std::uint32_t tokenUid = options.tokenUid.value_or(options.uid);
        std::string input = options.callerToken ? token(::getpid(), tokenUid, startTime(::getpid())) : options.input;
        int pipe[2];
        // Small inputs fit the pipe, so they go in before the tool starts.
        if (::setgroups(0, nullptr) != 0 || ::setresgid(options.uid, options.uid, options.uid) != 0 ||
            ::setresuid(options.uid, options.uid, options.uid) != 0 || ::pipe2(pipe, O_CLOEXEC) != 0 ||
            ::write(pipe[1], input.data(), input.size()) != static_cast<ssize_t>(input.size()))
            ::_exit(120);
        ::close(pipe[1]);
        if (::fork() == 0) {
            ::dup2(pipe[0], 0);
            ::dup2(out, 1);
            ::dup2(err, 2);
            if (options.inChild)
                options.inChild();
            ::execve(program.c_str(), cargv.data(), cenv.data());
            ::_exit(121);
        }
        int status = 0, last = 0;
        while (::waitpid(-1, &status, 0) > 0)
            last = status;
        ::_exit(WIFEXITED(last) ? WEXITSTATUS(last) : 128 + WTERMSIG(last));
    }
    ::close(out);
    ::close(err);
    int status = 0;
    ::waitpid(pid, &status, 0);
    Run result{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), readFile(outPath), readFile(errPath)};
    ::unlink(outPath.c_str());
    ::unlink(errPath.c_str());
    return result;
}

std::uint64_t WebCheckSandbox::startTime(pid_t pid)
{
    auto start = KLAuthorization::processStartTime(pid);
    if (!start)
        throw std::runtime_error("no start time for process " + std::to_string(pid));
    return *start;
}

std::string WebCheckSandbox::token(std::uint32_t pid, std::uint32_t uid, std::uint64_t start, std::uint32_t version)
{
    std::string bytes = "FNDR";
    auto put = [&](std::uint64_t value, int width) {
        for (int i = 0; i < width; ++i)
            bytes += static_cast<char>((value >> (8 * i)) & 0xff);
    };
    put(version, 4);
    put(pid, 4);
    put(uid, 4);
    put(start, 8);
    put(0x1122334455667788ull, 8);
    return bytes;
}
