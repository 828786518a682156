// WebCheck: Fendrel's privileged helper, installed set-user-ID root.
//
// It does two things for a caller that polkit authorizes, and nothing else:
// replace the web server's main configuration file (or a users/*.conf file)
// with a file the caller wrote, and run the server control program with one
// of four commands. Every step below is one check; a failed check prints one
// line, logs it to syslog (LOG_AUTHPRIV) with the caller's uid, and exits.
// Nothing is touched before every check has passed.

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <optional>
#include <poll.h>
#include <signal.h>
#include <string>
#include <sys/file.h>
#include <sys/fsuid.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

// Exit codes, as `WebCheck --help` and the README list them.
enum Exit : int {
    kDone = 0,
    kUsage = 1,
    kTokenRefused = 3,
    kFileRefused = 4,
    kDataRefused = 5,
    kReplaceFailed = 6,
    kNotAuthorized = 7,
    kControlFailed = 8,
    kNoRootRights = 9,
};

constexpr const char* kHelp =
    "usage: WebCheck -mypath PATH -operation webcheck -file CONFIGURATION -data FILE\n"
    "       WebCheck -mypath PATH -operation ctl -data start|stop|restart|graceful\n"
    "       WebCheck -selfRepair YES -mypath PATH\n"
    "       WebCheck --help\n"
    "\n"
    "Fendrel's privileged helper. PATH is this program. The two operations read\n"
    "the caller's 32-byte token on standard input and need the polkit right\n"
    "com.quillmoor.fendrel.webcheck or com.quillmoor.fendrel.apachectl for the\n"
    "calling process (root always holds both). -selfRepair, run as root, makes\n"
    "this program root-owned and set-user-ID and prints its process id.\n"
    "\n"
    "webcheck replaces CONFIGURATION, which must be the main configuration file\n"
    "or users/NAME.conf in the configuration folder, with FILE, a regular file of\n"
    "the caller's of at most 1 MiB without NUL bytes; owner, group and mode are\n"
    "kept. ctl runs the control program with the command.\n"
    "\n"
    "exit status:\n"
    "  0  done\n"
    "  1  the arguments are not one of the forms above\n"
    "  3  the token is missing, malformed or not the calling process's\n"
    "  4  CONFIGURATION is not an allowed configuration file\n"
    "  5  FILE is not an acceptable data file\n"
    "  6  writing the configuration failed (or the lock file is not root's\n"
    "     alone); the old file is unchanged\n"
    "  7  polkit did not authorize the calling process\n"
    "  8  the control program could not be run or failed\n"
    "  9  no root rights: not installed set-user-ID root, -selfRepair not\n"
    "     run by root or not on this program, or root may not raise a hard\n"
    "     resource limit the caller lowered\n";

constexpr const char* kCleanPath = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
constexpr const char* kCleanLang = "LANG=C";
constexpr std::size_t kTokenLength = 32;
constexpr std::uint32_t kTokenVersion = 1;
constexpr int kTokenWaitMilliseconds = 10000;
constexpr off_t kMaxDataSize = 1024 * 1024;
constexpr const char* kUsersFolder = "users";
constexpr const char* kConfSuffix = ".conf";
const char* const kControlCommands[] = {"start", "stop", "restart", "graceful"};

// The test build finds its control program, pkcheck, configuration folder
// and lock file beside itself, so a test can install a private copy with stubs.
#ifdef WEBCHECK_PATHS_BESIDE_PROGRAM
std::string ownFolder()
{
    char buffer[4096];
    ssize_t n = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (n <= 0)
        return "/nonexistent";
    std::string path(buffer, static_cast<std::size_t>(n));
    return path.substr(0, path.rfind('/'));
}
std::string compiledPath(const char* name) { return ownFolder() + "/" + name; }
#else
std::string compiledPath(const char* path) { return path; }
#endif

const std::string& controlProgram()
{
    static const std::string path = compiledPath(WEBCHECK_CONTROL_PROGRAM);
    return path;
}
const std::string& pkcheckProgram()
{
    static const std::string path = compiledPath(WEBCHECK_PKCHECK);
    return path;
}
const std::string& confFolder()
{
    static const std::string path = compiledPath(WEBCHECK_CONF_DIR);
    return path;
}
const std::string& lockFile()
{
    static const std::string path = compiledPath(WEBCHECK_LOCK_FILE);
    return path;
}
const std::string confFile = WEBCHECK_CONF_FILE;

// The real ids we were started with: who is asking.
uid_t callerUid = static_cast<uid_t>(-1);
gid_t callerGid = static_cast<gid_t>(-1);

[[noreturn]] void finish(int code, const std::string& what)
{
    if (code == kDone) {
        syslog(LOG_NOTICE, "uid %u: %s", static_cast<unsigned>(callerUid), what.c_str());
    } else {
        syslog(LOG_WARNING, "uid %u: refused: %s", static_cast<unsigned>(callerUid), what.c_str());
        std::fprintf(stderr, "WebCheck: %s\n", what.c_str());
    }
    std::fflush(stdout);
    std::_Exit(code);
}

// Descriptors 0-2 open (on /dev/null when the caller closed them), all
// others closed, so nothing of the caller's leaks into the control program.
// Kernels before 5.9 lack close_range; /proc lists every descriptor then,
// also those above a descriptor limit the caller lowered after opening them.
void sanitizeDescriptors()
{
    for (int fd = 0; fd <= 2; ++fd) {
        if (::fcntl(fd, F_GETFD) < 0 && ::open("/dev/null", O_RDWR) != fd)
            std::_Exit(kUsage);
    }
    if (::close_range(3, ~0U, 0) == 0)
        return;
    DIR* open = ::opendir("/proc/self/fd");
    if (!open) {
        std::fputs("WebCheck: refused: cannot close the caller's descriptors\n", stderr);
        std::_Exit(kUsage);
    }
    while (dirent* entry = ::readdir(open)) {
        int fd = std::atoi(entry->d_name); // 0 for "." and ".."
        if (fd > STDERR_FILENO && fd != ::dirfd(open))
            ::close(fd);
    }
    ::closedir(open);
}

void sanitizeEnvironment()
{
    ::clearenv();
    ::putenv(const_cast<char*>(kCleanPath));
    ::putenv(const_cast<char*>(kCleanLang));
}

struct Request {
    enum Kind { Help, SelfRepair, Webcheck, Ctl } kind = Help;
    std::string mypath;
    std::string file;
    std::string data;
};

// Exactly one of the documented argument lists, nothing more or less.
std::optional<Request> parseArguments(const std::vector<std::string>& a)
{
    Request r;
    if (a.size() == 1 && a[0] == "--help")
        return r;
    if (a.size() == 4 && a[0] == "-selfRepair" && a[1] == "YES" && a[2] == "-mypath") {
        r.kind = Request::SelfRepair;
        r.mypath = a[3];
        return r;
    }
    if (a.size() == 8 && a[0] == "-mypath" && a[2] == "-operation" && a[3] == "webcheck" && a[4] == "-file" &&
        a[6] == "-data") {
        r.kind = Request::Webcheck;
        r.mypath = a[1];
        r.file = a[5];
        r.data = a[7];
        return r;
    }
    if (a.size() == 6 && a[0] == "-mypath" && a[2] == "-operation" && a[3] == "ctl" && a[4] == "-data") {
        for (const char* command : kControlCommands) {
            if (a[5] == command) {
                r.kind = Request::Ctl;
                r.mypath = a[1];
                r.data = a[5];
                return r;
            }
        }
    }
    return std::nullopt;
}

// Same file as the running program (links followed). Only stat() here: an
// open() as root of a path from the caller could reach a device.
bool isThisProgram(const std::string& path)
{
    struct stat self{}, named{};
    return ::stat("/proc/self/exe", &self) == 0 && ::stat(path.c_str(), &named) == 0 && S_ISREG(named.st_mode) &&
           named.st_dev == self.st_dev && named.st_ino == self.st_ino;
}

// Makes this program root:root 04755 through the descriptor that was
// checked, so the path cannot be swapped in between.
[[noreturn]] void selfRepair(const Request& r)
{
    if (callerUid != 0)
        finish(kNoRootRights, "-selfRepair must be run by root");
    struct stat self{}, named{};
    int fd = ::open(r.mypath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0 || ::stat("/proc/self/exe", &self) != 0 || ::fstat(fd, &named) != 0 || !S_ISREG(named.st_mode) ||
        named.st_dev != self.st_dev || named.st_ino != self.st_ino)
        finish(kNoRootRights, "-selfRepair: " + r.mypath + " is not this program");
    if (::fchown(fd, 0, 0) != 0 || ::fchmod(fd, 04755) != 0)
        finish(kNoRootRights, "-selfRepair: cannot set owner and mode of " + r.mypath + ": " + std::strerror(errno));
    std::printf("%d\n", static_cast<int>(::getpid()));
    finish(kDone, "installed " + r.mypath + " set-user-ID root");
}

std::optional<std::uint64_t> processStartTime(pid_t pid)
{
    std::string path = "/proc/" + std::to_string(pid) + "/stat";
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    char buffer[1024];
    ssize_t n = ::read(fd, buffer, sizeof buffer - 1);
    ::close(fd);
    if (n <= 0)
        return std::nullopt;
    buffer[n] = '\0';
    // The command name may hold spaces and ')': fields count from the last ')'.
    char* p = std::strrchr(buffer, ')');
    if (!p)
        return std::nullopt;
    ++p;
    for (int field = 3; field < 22; ++field) {
        p = std::strchr(p + 1, ' ');
        if (!p)
            return std::nullopt;
    }
    char* end = nullptr;
    errno = 0;
    unsigned long long value = std::strtoull(p + 1, &end, 10);
    if (errno != 0 || end == p + 1 || (*end != ' ' && *end != '\n' && *end != '\0'))
        return std::nullopt;
    return value;
}

std::uint64_t littleEndian(const unsigned char* bytes, std::size_t width)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value |= static_cast<std::uint64_t>(bytes[i]) << (8 * i);
    return value;
}

struct Caller {
    pid_t pid;
    std::uint64_t start;
};

// The token names the process that started us, as the kernel sees it.
Caller checkToken()
{
    unsigned char token[kTokenLength];
    std::size_t have = 0;
    while (have < kTokenLength) {
        pollfd wait{STDIN_FILENO, POLLIN, 0};
        if (::poll(&wait, 1, kTokenWaitMilliseconds) <= 0)
            finish(kTokenRefused, "no token on standard input");
        ssize_t n = ::read(STDIN_FILENO, token + have, kTokenLength - have);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            finish(kTokenRefused, "token shorter than 32 bytes");
        have += static_cast<std::size_t>(n);
    }
    if (std::memcmp(token, "FNDR", 4) != 0 || littleEndian(token + 4, 4) != kTokenVersion)
        finish(kTokenRefused, "token is not a Fendrel token of version 1");
    pid_t parent = ::getppid();
    if (littleEndian(token + 8, 4) != static_cast<std::uint64_t>(parent))
        finish(kTokenRefused, "token names another process than the caller");
    if (littleEndian(token + 12, 4) != callerUid)
        finish(kTokenRefused, "token names another user than the caller");
    auto start = processStartTime(parent);
    if (!start || *start != littleEndian(token + 16, 8))
        finish(kTokenRefused, "token start time does not match the caller");
    return {parent, *start};
}

// Limits for the programs we run, whatever the caller lowered: a small
// file-size or descriptor limit would make the server fail as root.
struct Limit {
    int resource;
    const char* name;
    rlim_t soft;
    rlim_t hard; // a higher hard limit of the system's is kept
};
constexpr Limit kLimits[] = {
    {RLIMIT_CPU, "cpu", RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_FSIZE, "fsize", RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_DATA, "data", RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_AS, "as", RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_STACK, "stack", 8 << 20, RLIM_INFINITY},
    {RLIMIT_CORE, "core", 0, RLIM_INFINITY},
    {RLIMIT_NOFILE, "nofile", 1024, 524288},
    {RLIMIT_LOCKS, "locks", RLIM_INFINITY, RLIM_INFINITY},
    {RLIMIT_RTTIME, "rttime", RLIM_INFINITY, RLIM_INFINITY},
};

// Raises our hard limits, so that run() can give its programs the limits
// above; our own soft limits stay the caller's (a file-size limit makes our
// write fail cleanly). Only CAP_SYS_RESOURCE raises a hard limit, and
// containers often lack it: a hard limit below what the programs get is
// then refused rather than passed on.
void raiseHardLimits()
{
    for (const Limit& limit : kLimits) {
        rlimit now{};
        if (::getrlimit(limit.resource, &now) != 0)
            finish(kNoRootRights, std::string("cannot read the resource limit ") + limit.name);
        rlimit raised{now.rlim_cur, std::max(now.rlim_max, limit.hard)};
        if (::setrlimit(limit.resource, &raised) != 0 && now.rlim_max < limit.soft)
            finish(kNoRootRights, std::string("cannot raise the caller's hard resource limit ") + limit.name + " (" +
                                      std::to_string(now.rlim_max) + "): " + std::strerror(errno));
    }
}

// In the child before execve: no blocked or ignored signal and no soft
// limit of the caller's reaches the program (a server started with SIGTERM
// ignored could not be stopped).
bool resetInheritedState()
{
    sigset_t none;
    ::sigemptyset(&none);
    if (::sigprocmask(SIG_SETMASK, &none, nullptr) != 0)
        return false;
    for (int s = 1; s < NSIG; ++s)
        ::signal(s, SIG_DFL); // fails only for SIGKILL, SIGSTOP and libc's own
    for (const Limit& limit : kLimits) {
        rlimit value{};
        if (::getrlimit(limit.resource, &value) != 0)
            return false;
        value.rlim_cur = limit.soft;
        if (::setrlimit(limit.resource, &value) != 0)
            return false;
    }
    return true;
}

// Runs a program with the clean environment and no descriptor of ours but
// the standard three; its exit status, or -1 when it could not be run or did
// not exit normally.
int run(const std::vector<std::string>& argv, bool quiet)
{
    pid_t pid = ::fork();
    if (pid < 0)
        return -1;
    if (pid == 0) {
        if (!resetInheritedState())
            ::_exit(127);
        int null = ::open("/dev/null", O_RDWR);
        if (null < 0 || ::dup2(null, STDIN_FILENO) < 0)
            ::_exit(127);
        if (quiet && (::dup2(null, STDOUT_FILENO) < 0 || ::dup2(null, STDERR_FILENO) < 0))
            ::_exit(127);
        if (null > STDERR_FILENO)
            ::close(null);
        std::vector<char*> args;
        for (const std::string& a : argv)
            args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        ::execve(args[0], args.data(), environ);
        ::_exit(127);
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Root holds both rights; anyone else only what polkit grants the caller's
// process (pid, start time, and our real uid, never a uid from input).
void checkAuthorization(const Caller& caller, const char* right)
{
    std::string action = std::string("com.quillmoor.fendrel.") + right;
    if (callerUid == 0)
        return;
    std::string subject =
        std::to_string(caller.pid) + "," + std::to_string(caller.start) + "," + std::to_string(callerUid);
    int status = run({pkcheckProgram(), "--action-id", action, "--process", subject}, true);
    if (status != 0)
        finish(kNotAuthorized, "polkit did not authorize " + action + " (pkcheck status " + std::to_string(status) + ")");
    if (::getppid() != caller.pid)
        finish(kTokenRefused, "the caller went away");
}

// Real, effective and saved ids all root, no supplementary groups: the
// programs we run are plain root (a shell would otherwise drop to the real
// uid), and the caller can no longer signal us half-way.
void becomeRoot()
{
    if (::setgroups(0, nullptr) != 0 || ::setresgid(0, 0, 0) != 0 || ::setresuid(0, 0, 0) != 0 || ::getuid() != 0 ||
        ::getgid() != 0)
        finish(kNoRootRights, "cannot switch to root");
}

[[noreturn]] void control(const Request& r)
{
    int status = run({controlProgram(), r.data}, false);
    if (status != 0)
        finish(kControlFailed, controlProgram() + " " + r.data + " exited with " + std::to_string(status));
    finish(kDone, controlProgram() + " " + r.data);
}

// Where a -file path may point: the main configuration file, or
// users/<name>.conf, in the configuration folder. Compared as text, so "..",
// "//", "." and relative paths never match.
struct Target {
    bool inUsers = false;
    std::string name;
};

std::optional<Target> configurationTarget(const std::string& path)
{
    std::string folder = confFolder();
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    std::string prefix = folder + "/";
    if (path.compare(0, prefix.size(), prefix) != 0)
        return std::nullopt;
    std::string rest = path.substr(prefix.size());
    if (rest == confFile)
        return Target{false, rest};
    std::string users = std::string(kUsersFolder) + "/";
    if (rest.compare(0, users.size(), users) != 0)
        return std::nullopt;
    std::string name = rest.substr(users.size());
    std::string suffix = kConfSuffix;
    if (name.size() <= suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0 ||
        name[0] == '.' || name.find('/') != std::string::npos)
        return std::nullopt;
    return Target{true, name};
}

// The caller's file, opened with the caller's file-system identity, so it
// can only name what the caller may read anyway.
std::string readCallerData(const std::string& path)
{
    if (path.empty() || path[0] != '/')
        finish(kDataRefused, "-data must be an absolute path");
    ::setfsgid(callerGid);
    ::setfsuid(callerUid);
    if (static_cast<uid_t>(::setfsuid(static_cast<uid_t>(-1))) != callerUid ||
        static_cast<gid_t>(::setfsgid(static_cast<gid_t>(-1))) != callerGid)
        finish(kDataRefused, "cannot take the caller's file-system identity");
    int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    int openError = errno;
    ::setfsuid(0);
    ::setfsgid(0);
    if (fd < 0)
        finish(kDataRefused, "cannot open " + path + " as the caller: " + std::strerror(openError));
    struct stat st{};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        finish(kDataRefused, path + " is not a regular file");
    if (st.st_uid != callerUid)
        finish(kDataRefused, path + " is not owned by the caller");
    if (st.st_size > kMaxDataSize)
        finish(kDataRefused, path + " is larger than 1 MiB");
    std::string data;
    char buffer[65536];
    for (;;) {
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            finish(kDataRefused, "cannot read " + path + ": " + std::strerror(errno));
        if (n == 0)
            break;
        data.append(buffer, static_cast<std::size_t>(n));
        if (data.size() > static_cast<std::size_t>(kMaxDataSize))
            finish(kDataRefused, path + " is larger than 1 MiB");
    }
    ::close(fd);
    if (data.find('\0') != std::string::npos)
        finish(kDataRefused, path + " holds NUL bytes");
    return data;
}

bool writeAll(int fd, const std::string& data)
{
    std::size_t done = 0;
    while (done < data.size()) {
        ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

std::string temporaryName(const std::string& name)
{
    unsigned char random[8] = {};
    if (::getrandom(random, sizeof random, 0) != static_cast<ssize_t>(sizeof random))
        finish(kReplaceFailed, "no random bytes for a temporary name");
    std::string text = "." + name + ".webcheck-";
    for (unsigned char byte : random) {
        static const char digits[] = "0123456789abcdef";
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

// Keeps two replacements apart. The lock is a file only root may open: a
// lock on anything other users can open (the configuration folder, say)
// could be held by any of them and stall every repair for good.
void lockReplacements(const std::string& shown)
{
    int lock = ::open(lockFile().c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC, 0600);
    struct stat st{};
    if (lock < 0 || ::fstat(lock, &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != 0 || (st.st_mode & 077) != 0)
        finish(kReplaceFailed, "the lock file " + lockFile() + " is not a file of root's alone (owner root, mode 0600); " +
                                   shown + " is unchanged");
    if (::flock(lock, LOCK_EX) != 0)
        finish(kReplaceFailed, "cannot lock " + lockFile() + ": " + std::strerror(errno) + "; " + shown + " is unchanged");
}

// Replaces name in folder by data: a temporary file in the same folder with
// the old file's owner, group and mode, fsync, rename, fsync of the folder.
// The temporary file is removed on any error, so a failure leaves the old
// file as it was.
[[noreturn]] void replace(int folder, const std::string& name, const std::string& data, const std::string& shown)
{
    lockReplacements(shown);
    int old = ::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat st{};
    if (old < 0 || ::fstat(old, &st) != 0 || !S_ISREG(st.st_mode))
        finish(kFileRefused, shown + " is not an existing regular file reached without symbolic links");
    ::close(old);

    std::string temporary = temporaryName(name);
    int fd = ::openat(folder, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        finish(kReplaceFailed, "cannot create a temporary file beside " + shown + ": " + std::strerror(errno));
    const char* failed = nullptr;
    if (!writeAll(fd, data))
        failed = "write";
    else if (::fchown(fd, st.st_uid, st.st_gid) != 0)
        failed = "chown";
    else if (::fchmod(fd, st.st_mode & 07777) != 0)
        failed = "chmod";
    else if (::fsync(fd) != 0)
        failed = "fsync";
    int error = errno;
    if (::close(fd) != 0 && !failed) {
        failed = "close";
        error = errno;
    }
    if (!failed && ::renameat(folder, temporary.c_str(), folder, name.c_str()) != 0) {
        failed = "rename";
        error = errno;
    }
    if (failed) {
        ::unlinkat(folder, temporary.c_str(), 0);
        finish(kReplaceFailed, std::string("replacing ") + shown + " failed (" + failed + ": " + std::strerror(error) +
                                   "); it is unchanged");
    }
    ::fsync(folder);
    finish(kDone, "replaced " + shown + " (" + std::to_string(data.size()) + " bytes)");
}

[[noreturn]] void replaceConfiguration(const Request& r)
{
    auto target = configurationTarget(r.file);
    if (!target)
        finish(kFileRefused, r.file + " is not the main configuration file or users/*.conf in " + confFolder());
    int folder = ::open(confFolder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0 && target->inUsers) {
        int users = ::openat(folder, kUsersFolder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        ::close(folder);
        folder = users;
    }
    if (folder < 0)
        finish(kFileRefused, "the folder of " + r.file + " cannot be opened without symbolic links");
    std::string data = readCallerData(r.data);

    // Nothing may stop us half-way: the caller's terminal signals wait, and
    // a file-size limit makes write() fail instead of killing us.
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_BLOCK, &all, nullptr);
    ::signal(SIGXFSZ, SIG_IGN);
    replace(folder, target->name, data, r.file);
}

} // namespace

int main(int argc, char** argv)
{
    sanitizeDescriptors();
    sanitizeEnvironment();
    ::umask(022);
    callerUid = ::getuid();
    callerGid = ::getgid();
    ::openlog("WebCheck", LOG_PID, LOG_AUTHPRIV);
    // Linux 5.18 and later start an argc-0 execve with argv[0] "".
    if (argc < 1 || !argv || !argv[0] || !*argv[0])
        finish(kUsage, "no program name (argc 0)");

    auto request = parseArguments(std::vector<std::string>(argv + 1, argv + argc));
    if (!request)
        finish(kUsage, "arguments are not one of the documented forms (see WebCheck --help)");
    if (request->kind == Request::Help) {
        std::fputs(kHelp, stdout);
        std::printf("\ncontrol program: %s\npkcheck: %s\nconfiguration: %s/%s and %s/%s/*%s\nlock: %s\n",
                    controlProgram().c_str(), pkcheckProgram().c_str(), confFolder().c_str(), confFile.c_str(),
                    confFolder().c_str(), kUsersFolder, kConfSuffix, lockFile().c_str());
        return kDone;
    }
    if (::geteuid() != 0)
        finish(kNoRootRights, "no root rights: WebCheck is not installed set-user-ID root");
    becomeRoot();
    if (request->kind == Request::SelfRepair)
        selfRepair(*request);
    if (!isThisProgram(request->mypath))
        finish(kUsage, "-mypath " + request->mypath + " is not this program");
    raiseHardLimits();

    Caller caller = checkToken();
    bool ctl = request->kind == Request::Ctl;
    checkAuthorization(caller, ctl ? "apachectl" : "webcheck");
    if (ctl)
        control(*request);
    replaceConfiguration(*request);
}
