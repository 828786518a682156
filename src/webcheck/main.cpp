// WebCheck: Fendrel's privileged helper, installed set-user-ID root.
//
// Each right grants what its name says and nothing more. For a caller that
// polkit authorizes it repairs the web server's main configuration file or
// the caller's own users/NAME.conf (the caller's data must be exactly the
// repair of the file's current content: see Repair.h), enables a module of a
// compiled-in list, or runs the server control program with one of four
// commands. Until the caller is authorized it runs as the caller (effective
// uid the caller's, root kept only as the saved uid); every step is one
// check, and a failed check prints one line, logs it to syslog
// (LOG_AUTHPRIV) with the caller's uid, and exits. Nothing is touched
// before every check has passed.

#include "ProcessState.h"
#include "Repair.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <climits>
#include <optional>
#include <pwd.h>
#include <poll.h>
#include <signal.h>
#include <string>
#include <sys/file.h>
#include <sys/random.h>
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
    kModuleRefused = 10,
    kNotARepair = 11,
};

constexpr const char* kHelp =
    "usage: WebCheck -mypath PATH -operation webcheck -file CONFIGURATION -data FILE\n"
    "       WebCheck -mypath PATH -operation module -data NAME\n"
    "       WebCheck -mypath PATH -operation ctl -data start|stop|restart|graceful\n"
    "       WebCheck -selfRepair YES -mypath PATH\n"
    "       WebCheck --help\n"
    "\n"
    "Fendrel's privileged helper. PATH is this program. The operations read the\n"
    "caller's 32-byte token on standard input and need the polkit right\n"
    "com.quillmoor.fendrel.webcheck (webcheck, module) or\n"
    "com.quillmoor.fendrel.apachectl (ctl) for the calling process (root always\n"
    "holds both). -selfRepair, run as root, makes this program root-owned and\n"
    "set-user-ID and prints its process id.\n"
    "\n"
    "webcheck replaces CONFIGURATION, the main configuration file or\n"
    "users/NAME.conf of the caller's own login NAME in the configuration folder,\n"
    "with FILE, a regular file of the caller's of at most 1 MiB without NUL\n"
    "bytes that holds exactly the repair of CONFIGURATION's current content:\n"
    "the same lines, \"AllowOverride None\" made \"AllowOverride All\" inside the\n"
    "<Directory> blocks of the file-system root, the shared document root and\n"
    "the personal web folders, and one more line feed at the end. Owner, group\n"
    "and mode are kept.\n"
    "module runs a2enmod NAME for NAME one of the modules listed below.\n"
    "ctl runs the control program with the command; where systemd runs, start,\n"
    "stop and restart go to systemctl for the server's unit. Either way the\n"
    "server starts with pid 1's resource limits and CPU affinity, nice 0, no\n"
    "I/O priority, oom_score_adj 0, in the folder /.\n"
    "\n"
    "exit status:\n"
    "  0  done\n"
    "  1  the arguments are not one of the forms above\n"
    "  3  the token is missing, malformed or not the calling process's, or the\n"
    "     caller's parent exited or runs as another user\n"
    "  4  CONFIGURATION is not an allowed configuration file (users/NAME.conf\n"
    "     of another user's NAME included)\n"
    "  5  FILE is not an acceptable data file\n"
    "  6  writing the configuration failed, another replacement held the lock\n"
    "     too long, or the lock file is not root's alone; the old file is\n"
    "     unchanged\n"
    "  7  polkit did not authorize the calling process\n"
    "  8  the control program, systemctl or a2enmod could not be run or failed\n"
    "  9  no root rights: not installed set-user-ID root, -selfRepair not\n"
    "     run by root or not on this program, or root may not reset a\n"
    "     resource limit the caller lowered\n"
    "  10 NAME is not a module this program enables\n"
    "  11 FILE is not the repair of CONFIGURATION's current content; the file\n"
    "     is unchanged\n";

constexpr const char* kCleanPath = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
constexpr const char* kCleanLang = "LANG=C";
constexpr std::size_t kTokenLength = 32;
constexpr std::uint32_t kTokenVersion = 1;
constexpr int kTokenWaitMilliseconds = 10000;
constexpr int kLockWaitMilliseconds = 10000;
constexpr off_t kMaxDataSize = 1024 * 1024;
constexpr std::size_t kShownLength = 256;
constexpr const char* kUsersFolder = "users";
constexpr const char* kConfSuffix = ".conf";
const char* const kControlCommands[] = {"start", "stop", "restart", "graceful"};
// What a password- or address-protected folder needs, and the users' own
// web folders; nothing that runs code.
const char* const kModules[] = {"auth_basic", "authn_core",      "authn_file", "authz_core",   "authz_user",
                                "authz_groupfile", "authz_host", "access_compat", "userdir"};

// The test build finds its control program, pkcheck, a2enmod, systemctl, the
// systemd marker, configuration folder and lock file beside itself, so a
// test can install a private copy with stubs.
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

struct Paths {
    std::string control = compiledPath(WEBCHECK_CONTROL_PROGRAM);
    std::string pkcheck = compiledPath(WEBCHECK_PKCHECK);
    std::string a2enmod = compiledPath(WEBCHECK_A2ENMOD);
    std::string systemctl = compiledPath(WEBCHECK_SYSTEMCTL);
    std::string systemdMarker = compiledPath(WEBCHECK_SYSTEMD_MARKER);
    std::string confFolder = compiledPath(WEBCHECK_CONF_DIR);
    std::string lock = compiledPath(WEBCHECK_LOCK_FILE);
};
const Paths& paths()
{
    static const Paths compiled;
    return compiled;
}
const std::string confFile = WEBCHECK_CONF_FILE;
const RepairRules kRepairRules{WEBCHECK_REPAIR_SHARED, WEBCHECK_REPAIR_PERSONAL_PREFIX, WEBCHECK_REPAIR_PERSONAL_SUFFIX};

// The real ids we were started with: who is asking.
uid_t callerUid = static_cast<uid_t>(-1);
// Our own description of standard error when it is a pipe, nonblocking.
int errorOutput = -1;

// Text from the caller as the log and the error output show it: control
// characters and backslashes escaped, at most kShownLength bytes.
std::string shown(const std::string& text)
{
    std::string out;
    for (unsigned char c : text) {
        if (out.size() >= kShownLength) {
            out += "...";
            break;
        }
        if (c < 0x20 || c == 0x7f || c == '\\') {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out;
}

// A pipe gets a description of its own with O_NONBLOCK, so a caller that
// never reads cannot stall us and its own description stays as it was.
void openErrorOutput()
{
    struct stat st{};
    if (::fstat(STDERR_FILENO, &st) == 0 && S_ISFIFO(st.st_mode))
        errorOutput = ::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

// One line on standard error, never blocking: dropped when it does not fit.
void say(const std::string& text)
{
    std::string line = "WebCheck: " + text;
    line.resize(std::min<std::size_t>(line.size(), PIPE_BUF - 1));
    line += '\n';
    int fd = errorOutput;
    if (fd < 0) {
        pollfd ready{STDERR_FILENO, POLLOUT, 0};
        if (::poll(&ready, 1, 0) != 1 || (ready.revents & POLLOUT) == 0)
            return;
        fd = STDERR_FILENO;
    }
    ssize_t ignored = ::write(fd, line.data(), line.size());
    (void)ignored;
}

[[noreturn]] void finish(int code, const std::string& what)
{
    if (code == kDone) {
        syslog(LOG_NOTICE, "uid %u: %s", static_cast<unsigned>(callerUid), what.c_str());
    } else {
        syslog(LOG_WARNING, "uid %u: refused: %s", static_cast<unsigned>(callerUid), what.c_str());
        say(what);
    }
    std::fflush(stdout);
    std::_Exit(code);
}

// Descriptors 0-2 open (on /dev/null when the caller closed them), all
// others closed, so nothing of the caller's leaks into the programs we run.
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
        say("refused: cannot close the caller's descriptors");
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
    enum Kind { Help, SelfRepair, Webcheck, Module, Ctl } kind = Help;
    std::string mypath;
    std::string file;
    std::string data;
};

bool isOneOf(const std::string& word, const auto& list)
{
    return std::find_if(std::begin(list), std::end(list), [&](const char* w) { return word == w; }) != std::end(list);
}

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
    if (a.size() == 6 && a[0] == "-mypath" && a[2] == "-operation" && a[4] == "-data" &&
        (a[3] == "module" || (a[3] == "ctl" && isOneOf(a[5], kControlCommands)))) {
        r.kind = a[3] == "ctl" ? Request::Ctl : Request::Module;
        r.mypath = a[1];
        r.data = a[5];
        return r;
    }
    return std::nullopt;
}

// Same file as the running program (links followed), as the caller sees
// it. Only stat() here: an open() of a path from the caller could reach a
// device.
bool isThisProgram(const std::string& path)
{
    struct stat self{}, named{};
    return ::stat("/proc/self/exe", &self) == 0 && ::stat(path.c_str(), &named) == 0 && S_ISREG(named.st_mode) &&
           named.st_dev == self.st_dev && named.st_ino == self.st_ino;
}

// Real, effective and saved ids all root, no supplementary groups: the
// programs we run are plain root (a shell would otherwise drop to the real
// uid), and the caller can no longer signal us half-way.
void becomeRoot()
{
    if (::setresuid(0, 0, 0) != 0 || ::setgroups(0, nullptr) != 0 || ::setresgid(0, 0, 0) != 0 ||
        ::getuid() != 0 || ::getgid() != 0)
        finish(kNoRootRights, "cannot switch to root");
}

// Until the caller is authorized we act as the caller: files, /proc and
// pkcheck see the caller's uid. Root stays only as the saved uid.
void becomeCaller()
{
    uid_t real = 0, effective = 0, saved = 0;
    if (::setresuid(callerUid, callerUid, static_cast<uid_t>(-1)) != 0 ||
        ::getresuid(&real, &effective, &saved) != 0 || real != callerUid || effective != callerUid || saved != 0)
        finish(kNoRootRights, "cannot take the caller's identity");
}

// Makes this program root:root 04755 through the descriptor that was
// checked, so the path cannot be swapped in between.
[[noreturn]] void selfRepair(const Request& r)
{
    if (callerUid != 0)
        finish(kNoRootRights, "-selfRepair must be run by root");
    becomeRoot();
    struct stat self{}, named{};
    int fd = ::open(r.mypath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0 || ::stat("/proc/self/exe", &self) != 0 || ::fstat(fd, &named) != 0 || !S_ISREG(named.st_mode) ||
        named.st_dev != self.st_dev || named.st_ino != self.st_ino)
        finish(kNoRootRights, "-selfRepair: " + shown(r.mypath) + " is not this program");
    if (::fchown(fd, 0, 0) != 0 || ::fchmod(fd, 04755) != 0)
        finish(kNoRootRights,
               "-selfRepair: cannot set owner and mode of " + shown(r.mypath) + ": " + std::strerror(errno));
    std::printf("%d\n", static_cast<int>(::getpid()));
    finish(kDone, "installed " + shown(r.mypath) + " set-user-ID root");
}

std::optional<std::string> readSmallFile(const std::string& path)
{
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    char buffer[4096];
    ssize_t n = ::read(fd, buffer, sizeof buffer - 1);
    ::close(fd);
    if (n <= 0)
        return std::nullopt;
    return std::string(buffer, static_cast<std::size_t>(n));
}

// What /proc tells of a process: fields 5 (process group), 6 (session) and
// 22 (start time) of its stat file.
struct ProcessInfo {
    long group = -1;
    long session = -1;
    std::uint64_t start = 0;
};

std::optional<ProcessInfo> processInfo(pid_t pid)
{
    auto text = readSmallFile("/proc/" + std::to_string(pid) + "/stat");
    // The command name may hold spaces and ')': fields count from the last ')'.
    std::size_t close = text ? text->rfind(')') : std::string::npos;
    if (close == std::string::npos)
        return std::nullopt;
    std::vector<std::string> fields{"", "", ""}; // fields 1 and 2 and a placeholder
    std::size_t at = close + 1;
    while (at < text->size() && fields.size() <= 22) {
        std::size_t start = text->find_first_not_of(' ', at);
        if (start == std::string::npos)
            break;
        std::size_t end = text->find_first_of(" \n", start);
        fields.push_back(text->substr(start, end - start));
        at = end;
    }
    // fields[3] is the state: field N is fields[N].
    if (fields.size() <= 22)
        return std::nullopt;
    ProcessInfo info;
    char* end = nullptr;
    errno = 0;
    info.group = std::strtol(fields[5].c_str(), &end, 10);
    info.session = std::strtol(fields[6].c_str(), &end, 10);
    info.start = std::strtoull(fields[22].c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || fields[22].empty())
        return std::nullopt;
    return info;
}

// The four uids (real, effective, saved, file system) of a process are all uid.
bool runsOnlyAs(pid_t pid, uid_t uid)
{
    auto text = readSmallFile("/proc/" + std::to_string(pid) + "/status");
    std::size_t at = text ? text->find("\nUid:") : std::string::npos;
    if (at == std::string::npos)
        return false;
    std::string id = std::to_string(uid);
    std::string expected = "\nUid:\t" + id + "\t" + id + "\t" + id + "\t" + id + "\n";
    return text->compare(at, expected.size(), expected) == 0;
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

// The token names the process that started us, as the kernel sees it: our
// parent, still the process that forked us (a helper whose parent exited is
// handed to pid 1 or a subreaper, outside the caller's process group),
// running as the caller and nobody else.
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
    if (parent == 1)
        finish(kTokenRefused, "the caller has exited (the helper was handed to pid 1)");
    if (littleEndian(token + 8, 4) != static_cast<std::uint64_t>(parent))
        finish(kTokenRefused, "token names another process than the caller");
    if (littleEndian(token + 12, 4) != callerUid)
        finish(kTokenRefused, "token names another user than the caller");
    auto info = processInfo(parent);
    if (!info || info->start != littleEndian(token + 16, 8))
        finish(kTokenRefused, "token start time does not match the caller");
    if (info->group != ::getpgrp() || info->session != ::getsid(0))
        finish(kTokenRefused, "the caller has exited (the helper's parent is outside its process group)");
    if (!runsOnlyAs(parent, callerUid))
        finish(kTokenRefused, "the caller runs as another user than the token names");
    return {parent, info->start};
}

// Runs a program with the clean environment, no blocked or ignored signal
// and no descriptor of ours but the standard three; its exit status, or -1
// when it could not be run or did not exit normally. asCaller drops every
// id to the caller's first; otherwise it runs as root with the state that
// resetProcessState() gave us. noStdout keeps a program's chatter out of
// the caller's output, which may be a JSON document.
int run(const std::vector<std::string>& argv, bool quiet, bool asCaller, bool noStdout = false)
{
    pid_t pid = ::fork();
    if (pid < 0)
        return -1;
    if (pid == 0) {
        if (asCaller && ::setresuid(callerUid, callerUid, callerUid) != 0)
            ::_exit(127);
        sigset_t none;
        ::sigemptyset(&none);
        if (::sigprocmask(SIG_SETMASK, &none, nullptr) != 0)
            ::_exit(127);
        for (int s = 1; s < NSIG; ++s)
            ::signal(s, SIG_DFL); // fails only for SIGKILL, SIGSTOP and libc's own
        int null = ::open("/dev/null", O_RDWR);
        if (null < 0 || ::dup2(null, STDIN_FILENO) < 0)
            ::_exit(127);
        if ((quiet || noStdout) && ::dup2(null, STDOUT_FILENO) < 0)
            ::_exit(127);
        if (quiet && ::dup2(null, STDERR_FILENO) < 0)
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
// pkcheck runs as the caller: a caller that is refused never had a process
// of root's started for it.
void checkAuthorization(const Caller& caller, const char* right)
{
    std::string action = std::string("com.quillmoor.fendrel.") + right;
    if (callerUid == 0)
        return;
    std::string subject =
        std::to_string(caller.pid) + "," + std::to_string(caller.start) + "," + std::to_string(callerUid);
    int status = run({paths().pkcheck, "--action-id", action, "--process", subject}, true, true);
    if (status != 0)
        finish(kNotAuthorized, "polkit did not authorize " + action + " (pkcheck status " + std::to_string(status) + ")");
    if (::getppid() != caller.pid)
        finish(kTokenRefused, "the caller went away");
}

// Runs a program for the server as root with clean process state.
[[noreturn]] void runForServer(const std::vector<std::string>& argv, const std::string& what, bool noStdout = false)
{
    if (std::string failed = resetProcessState(); !failed.empty())
        finish(kNoRootRights, failed);
    int status = run(argv, false, false, noStdout);
    if (status != 0)
        finish(kControlFailed, what + " exited with " + std::to_string(status));
    finish(kDone, what);
}

// Under systemd the server runs in its own unit; a graceful restart signals
// the running server, which stays in that unit.
[[noreturn]] void control(const Request& r)
{
    struct stat st{};
    if (r.data != "graceful" && ::stat(paths().systemdMarker.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
        runForServer({paths().systemctl, r.data, WEBCHECK_SERVER_UNIT},
                     paths().systemctl + " " + r.data + " " + WEBCHECK_SERVER_UNIT);
    runForServer({paths().control, r.data}, paths().control + " " + r.data);
}

[[noreturn]] void enableModule(const Request& r)
{
    // a2enmod's advice to restart is Fendrel's job; its errors still show.
    runForServer({paths().a2enmod, r.data}, paths().a2enmod + " " + r.data, true);
}

// Where a -file path may point: the main configuration file, or
// users/<login>.conf of the caller's own login name, in the configuration
// folder. Compared as text, so "..", "//", "." and relative paths never
// match.
struct Target {
    bool inUsers = false;
    std::string name;
};

Target configurationTarget(const std::string& path)
{
    std::string folder = paths().confFolder;
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    std::string prefix = folder + "/";
    std::string refused = shown(path) + " is not the main configuration file or users/*.conf in " + folder;
    if (path.compare(0, prefix.size(), prefix) != 0)
        finish(kFileRefused, refused);
    std::string rest = path.substr(prefix.size());
    if (rest == confFile)
        return Target{false, rest};
    std::string users = std::string(kUsersFolder) + "/";
    if (rest.compare(0, users.size(), users) != 0)
        finish(kFileRefused, refused);
    std::string name = rest.substr(users.size());
    const passwd* account = ::getpwuid(callerUid);
    if (!account || name != std::string(account->pw_name) + kConfSuffix)
        finish(kFileRefused, shown(path) + " is not users/<your login name>" + kConfSuffix);
    return Target{true, name};
}

// The caller's file, opened as the caller (the effective uid is still
// theirs), so it can only name what the caller may read anyway.
std::string readCallerData(const std::string& path)
{
    if (path.empty() || path[0] != '/')
        finish(kDataRefused, "-data must be an absolute path");
    int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0)
        finish(kDataRefused, "cannot open " + shown(path) + " as the caller: " + std::strerror(errno));
    struct stat st{};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        finish(kDataRefused, shown(path) + " is not a regular file");
    if (st.st_uid != callerUid)
        finish(kDataRefused, shown(path) + " is not owned by the caller");
    std::string data;
    char buffer[65536];
    for (;;) {
        ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            finish(kDataRefused, "cannot read " + shown(path) + ": " + std::strerror(errno));
        if (n == 0)
            break;
        data.append(buffer, static_cast<std::size_t>(n));
        if (data.size() > static_cast<std::size_t>(kMaxDataSize))
            finish(kDataRefused, shown(path) + " is larger than 1 MiB");
    }
    ::close(fd);
    if (data.find('\0') != std::string::npos)
        finish(kDataRefused, shown(path) + " holds NUL bytes");
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
        return {};
    std::string text = "." + name + ".webcheck-";
    for (unsigned char byte : random) {
        static const char digits[] = "0123456789abcdef";
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

// Keeps two replacements apart, and keeps the file from changing between
// the comparison with the caller's data and the rename. The lock is a file
// only root may open: a lock on anything other users can open (the
// configuration folder, say) could be held by any of them and stall every
// repair. The wait is bounded. The descriptor, or -1 with *error set.
int lockReplacements(std::string* error)
{
    int lock = ::open(paths().lock.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC, 0600);
    struct stat st{};
    if (lock < 0 || ::fstat(lock, &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != 0 || (st.st_mode & 077) != 0) {
        *error = "the lock file " + paths().lock + " is not a file of root's alone (owner root, mode 0600)";
        return -1;
    }
    for (int waited = 0; ::flock(lock, LOCK_EX | LOCK_NB) != 0; waited += 50) {
        if (errno != EWOULDBLOCK || waited >= kLockWaitMilliseconds) {
            *error = errno == EWOULDBLOCK ? "another replacement held the lock for " +
                                                std::to_string(kLockWaitMilliseconds / 1000) + " seconds"
                                          : "cannot lock " + paths().lock + ": " + std::strerror(errno);
            ::close(lock);
            return -1;
        }
        ::poll(nullptr, 0, 50);
    }
    return lock;
}

// The file's current content, opened without following a link; at most
// 1 MiB (a larger file has no repair that fits the data).
std::optional<std::string> readCurrent(int folder, const std::string& name, struct stat* st)
{
    int fd = ::openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0 || ::fstat(fd, st) != 0 || !S_ISREG(st->st_mode)) {
        if (fd >= 0)
            ::close(fd);
        return std::nullopt;
    }
    std::string text;
    char buffer[65536];
    ssize_t n = 0;
    while (text.size() <= static_cast<std::size_t>(kMaxDataSize) &&
           ((n = ::read(fd, buffer, sizeof buffer)) > 0 || (n < 0 && errno == EINTR))) {
        if (n > 0)
            text.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(fd);
    if (n < 0)
        return std::nullopt;
    return text;
}

// Writes data as name in folder: a temporary file in the same folder with
// the old file's owner, group and mode, fsync, rename, fsync of the folder.
// The temporary file is removed on any error. Empty, or what failed.
std::string write(int folder, const std::string& name, const std::string& data, const struct stat& old)
{
    std::string temporary = temporaryName(name);
    if (temporary.empty())
        return "no random bytes for a temporary name";
    int fd = ::openat(folder, temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return std::string("cannot create a temporary file: ") + std::strerror(errno);
    const char* failed = nullptr;
    if (!writeAll(fd, data))
        failed = "write";
    else if (::fchown(fd, old.st_uid, old.st_gid) != 0)
        failed = "chown";
    else if (::fchmod(fd, old.st_mode & 07777) != 0)
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
        return std::string(failed) + ": " + std::strerror(error);
    }
    ::fsync(folder);
    return {};
}

// Under the lock: the caller's data must be the repair of what the file
// holds now. The lock is released before anything is reported.
[[noreturn]] void replace(int folder, const std::string& name, const std::string& data, const std::string& file)
{
    std::string error;
    int lock = lockReplacements(&error);
    if (lock < 0)
        finish(kReplaceFailed, error + "; " + file + " is unchanged");
    struct stat st{};
    auto current = readCurrent(folder, name, &st);
    int code = kDone;
    if (!current) {
        code = kFileRefused;
        error = file + " is not an existing regular file reached without symbolic links";
    } else if (data != repairOf(*current, kRepairRules)) {
        code = kNotARepair;
        error = "the data is not the repair of " + file + "'s current content; it is unchanged";
    } else if (std::string failed = write(folder, name, data, st); !failed.empty()) {
        code = kReplaceFailed;
        error = "replacing " + file + " failed (" + failed + "); it is unchanged";
    }
    ::close(lock);
    if (code != kDone)
        finish(code, error);
    finish(kDone, "repaired " + file + " (" + std::to_string(data.size()) + " bytes)");
}

[[noreturn]] void replaceConfiguration(const Target& target, const std::string& data, const std::string& file)
{
    int folder = ::open(paths().confFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0 && target.inUsers) {
        int users = ::openat(folder, kUsersFolder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        ::close(folder);
        folder = users;
    }
    if (folder < 0)
        finish(kFileRefused, "the folder of " + file + " cannot be opened without symbolic links");

    // Nothing may stop us half-way: the caller's terminal signals wait, and
    // a file-size limit makes write() fail instead of killing us.
    sigset_t all;
    ::sigfillset(&all);
    ::sigprocmask(SIG_BLOCK, &all, nullptr);
    ::signal(SIGXFSZ, SIG_IGN);
    replace(folder, target.name, data, file);
}

void printHelp()
{
    const Paths& p = paths();
    std::fputs(kHelp, stdout);
    std::printf("\nmodules:");
    for (const char* module : kModules)
        std::printf(" %s", module);
    std::printf("\ncontrol program: %s\npkcheck: %s\na2enmod: %s\nsystemctl: %s %s (where %s exists)\n"
                "configuration: %s/%s and %s/%s/<login>%s\nlock: %s\n",
                p.control.c_str(), p.pkcheck.c_str(), p.a2enmod.c_str(), p.systemctl.c_str(), WEBCHECK_SERVER_UNIT,
                p.systemdMarker.c_str(), p.confFolder.c_str(), confFile.c_str(), p.confFolder.c_str(), kUsersFolder,
                kConfSuffix, p.lock.c_str());
}

} // namespace

int main(int argc, char** argv)
{
    sanitizeDescriptors();
    sanitizeEnvironment();
    ::umask(022);
    callerUid = ::getuid();
    ::openlog("WebCheck", LOG_PID, LOG_AUTHPRIV);
    // Linux 5.18 and later start an argc-0 execve with argv[0] "".
    if (argc < 1 || !argv || !argv[0] || !*argv[0])
        finish(kUsage, "no program name (argc 0)");

    auto request = parseArguments(std::vector<std::string>(argv + 1, argv + argc));
    if (!request)
        finish(kUsage, "arguments are not one of the documented forms (see WebCheck --help)");
    if (request->kind == Request::Module && !isOneOf(request->data, kModules))
        finish(kModuleRefused, "module " + shown(request->data) + " is not one this program enables");
    if (request->kind == Request::Help) {
        printHelp();
        return kDone;
    }
    if (::geteuid() != 0)
        finish(kNoRootRights, "no root rights: WebCheck is not installed set-user-ID root");
    if (request->kind == Request::SelfRepair)
        selfRepair(*request);

    becomeCaller();
    openErrorOutput();
    if (!isThisProgram(request->mypath))
        finish(kUsage, "-mypath " + shown(request->mypath) + " is not this program");
    Caller caller = checkToken();
    Target target;
    std::string data;
    if (request->kind == Request::Webcheck) {
        target = configurationTarget(request->file);
        data = readCallerData(request->data);
    }
    checkAuthorization(caller, request->kind == Request::Ctl ? "apachectl" : "webcheck");

    becomeRoot();
    if (request->kind == Request::Ctl)
        control(*request);
    if (request->kind == Request::Module)
        enableModule(*request);
    replaceConfiguration(target, data, shown(request->file));
}
