#include "ApacheSandbox.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr const char* kModules[] = {"mpm_prefork", "authz_core", "authz_host", "authz_user", "authz_groupfile",
                                    "authn_core", "authn_file", "auth_basic", "access_compat", "dir", "mime"};
// Logged (at notice level) each time the server has read its configuration.
constexpr const char* kResumingMarker = "resuming normal operations";

std::string readAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

int freeLoopbackPort()
{
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return 0;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    int port = 0;
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    ::close(fd);
    return port;
}

bool portAnswers(int port)
{
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return ok;
}

void addPermissions(const fs::path& path, fs::perms perms)
{
    std::error_code ec;
    fs::permissions(path, perms, fs::perm_options::add, ec);
}

// Runs a program without a shell; its standard output, or nothing when it
// could not run or failed.
std::optional<std::string> run(const std::vector<std::string>& argv)
{
    int out[2];
    if (::pipe2(out, O_CLOEXEC) != 0)
        return std::nullopt;
    pid_t pid = ::fork();
    if (pid < 0) {
        ::close(out[0]);
        ::close(out[1]);
        return std::nullopt;
    }
    if (pid == 0) {
        ::dup2(out[1], STDOUT_FILENO);
        int devnull = ::open("/dev/null", O_WRONLY);
        if (devnull >= 0)
            ::dup2(devnull, STDERR_FILENO);
        std::vector<char*> args;
        for (const std::string& a : argv)
            args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        ::execvp(args[0], args.data());
        ::_exit(127);
    }
    ::close(out[1]);
    std::string text;
    char buffer[4096];
    for (;;) {
        ssize_t n = ::read(out[0], buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        text.append(buffer, static_cast<std::size_t>(n));
    }
    ::close(out[0]);
    int wstatus = 0;
    while (::waitpid(pid, &wstatus, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(wstatus) || WEXITSTATUS(wstatus) != 0)
        return std::nullopt;
    return text;
}

} // namespace

int httpStatus(int port, const std::string& path, const std::optional<std::string>& user,
               const std::optional<std::string>& password)
{
    std::vector<std::string> argv = {"curl", "--silent", "--output", "/dev/null", "--write-out", "%{http_code}",
                                     "--max-time", "10", "--noproxy", "*"};
    if (user) {
        argv.push_back("--user");
        argv.push_back(*user + ":" + password.value_or(""));
    }
    argv.push_back("http://127.0.0.1:" + std::to_string(port) + path);
    std::optional<std::string> out = run(argv);
    return out ? std::atoi(out->c_str()) : 0;
}

ApacheSandbox::ApacheSandbox()
{
    const char* tmp = std::getenv("TMPDIR");
    std::string base = std::string(tmp && *tmp ? tmp : "/tmp") + "/apache-XXXXXX";
    if (!::mkdtemp(base.data()))
        throw std::runtime_error("cannot create the Apache sandbox folder");
    root_ = base;
    fs::create_directories(documentRoot());
    port_ = freeLoopbackPort();
    if (::geteuid() == 0) {
        for (const char* name : {"www-data", "nobody"}) {
            if (const passwd* pw = ::getpwnam(name)) {
                user_ = name;
                const group* gr = ::getgrgid(pw->pw_gid);
                group_ = gr ? gr->gr_name : "nogroup";
                break;
            }
        }
    }
}

ApacheSandbox::~ApacheSandbox()
{
    stop();
    std::error_code ec;
    fs::remove_all(root_, ec);
}

bool ApacheSandbox::available()
{
    if (::access(kBinary, X_OK) != 0)
        return false;
    for (const char* module : kModules) {
        if (!fs::exists(std::string(kModuleDir) + "/mod_" + module + ".so"))
            return false;
    }
    return true;
}

std::string ApacheSandbox::configPath() const
{
    return root_ + "/apache2.conf";
}

std::string ApacheSandbox::documentRoot() const
{
    return root_ + "/docs";
}

std::string ApacheSandbox::pidFilePath() const
{
    return root_ + "/apache2.pid";
}

std::string ApacheSandbox::errorLogPath() const
{
    return root_ + "/error.log";
}

std::string ApacheSandbox::defaultConfig() const
{
    std::ostringstream c;
    c << "ServerRoot \"" << root_ << "\"\n"
      << "DefaultRuntimeDir \"" << root_ << "\"\n"
      << "PidFile \"" << pidFilePath() << "\"\n"
      << "ErrorLog \"" << errorLogPath() << "\"\n"
      << "LogLevel notice\n"
      << "ServerName 127.0.0.1\n"
      << "Listen 127.0.0.1:" << port_ << "\n";
    for (const char* module : kModules)
        c << "LoadModule " << module << "_module " << kModuleDir << "/mod_" << module << ".so\n";
    if (!user_.empty())
        c << "User " << user_ << "\nGroup " << group_ << "\n";
    c << "StartServers 1\nMinSpareServers 1\nMaxSpareServers 2\n"
      << "TypesConfig " << (fs::exists("/etc/mime.types") ? "/etc/mime.types" : "/dev/null") << "\n"
      << "DirectoryIndex index.html\n"
      << "AccessFileName .htaccess\n"
      << "DocumentRoot \"" << documentRoot() << "\"\n"
      << "<Directory />\n    AllowOverride None\n    Require all denied\n</Directory>\n"
      << "<Directory \"" << documentRoot() << "\">\n"
      << "    Options FollowSymLinks\n    AllowOverride All\n    Require all granted\n</Directory>\n"
      << "<FilesMatch \"^\\.ht\">\n    Require all denied\n</FilesMatch>\n";
    return c.str();
}

std::string ApacheSandbox::configText() const
{
    return replacement_ ? *replacement_ : defaultConfig() + extra_;
}

bool ApacheSandbox::writeConfig()
{
    std::ofstream out(configPath(), std::ios::binary | std::ios::trunc);
    out << configText();
    return static_cast<bool>(out);
}

void ApacheSandbox::makeReadable() const
{
    if (::geteuid() != 0)
        return;
    // The folders above the sandbox (the test's private temporary folder is
    // 0700) must let the server's account pass.
    for (fs::path p = fs::path(root_); p.has_relative_path(); p = p.parent_path()) {
        struct stat st{};
        if (::stat(p.c_str(), &st) == 0 && st.st_uid == 0)
            addPermissions(p, fs::perms::others_exec);
    }
    std::error_code ec;
    addPermissions(documentRoot(), fs::perms::others_read | fs::perms::others_exec);
    for (auto it = fs::recursive_directory_iterator(documentRoot(), ec); !ec && it != fs::recursive_directory_iterator();
         it.increment(ec)) {
        if (it->is_symlink(ec))
            continue;
        bool folder = it->is_directory(ec);
        addPermissions(it->path(), folder ? fs::perms::others_read | fs::perms::others_exec : fs::perms::others_read);
    }
}

bool ApacheSandbox::start()
{
    error_.clear();
    if (child_ > 0)
        return true;
    if (!available()) {
        error_ = "Apache 2.4 is not installed";
        return false;
    }
    // The free port may be taken by someone else before the server binds it.
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (launch())
            return true;
        if (replacement_ || errorLog().find("Address already in use") == std::string::npos)
            return false;
        port_ = freeLoopbackPort();
    }
    return false;
}

bool ApacheSandbox::launch()
{
    if (!writeConfig()) {
        error_ = "cannot write " + configPath();
        return false;
    }
    makeReadable();

    child_ = ::fork();
    if (child_ < 0) {
        error_ = "cannot fork";
        return false;
    }
    if (child_ == 0) {
        // The server goes down with the test process, whatever happens to it.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        // Its own process group: on shutdown it signals its whole group.
        ::setpgid(0, 0);
        int log = ::open(errorLogPath().c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        if (log >= 0) {
            ::dup2(log, STDOUT_FILENO);
            ::dup2(log, STDERR_FILENO);
        }
        std::string conf = configPath();
        ::execl(kBinary, kBinary, "-d", root_.c_str(), "-f", conf.c_str(), "-DFOREGROUND", static_cast<char*>(nullptr));
        ::_exit(127);
    }
    if (!waitForPort(15)) {
        error_ = "Apache did not answer on 127.0.0.1:" + std::to_string(port_) + "\n" + errorLog();
        stop();
        return false;
    }
    return true;
}

bool ApacheSandbox::waitForPort(double seconds)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < deadline) {
        if (!isRunning())
            return false;
        if (portAnswers(port_) && pid())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

int ApacheSandbox::generationCount() const
{
    std::string log = errorLog();
    int count = 0;
    for (std::size_t at = log.find(kResumingMarker); at != std::string::npos; at = log.find(kResumingMarker, at + 1))
        ++count;
    return count;
}

bool ApacheSandbox::gracefulRestart()
{
    error_.clear();
    if (!isRunning()) {
        error_ = "Apache is not running";
        return false;
    }
    int before = generationCount();
    if (!writeConfig() || ::kill(child_, SIGUSR1) != 0) {
        error_ = "cannot signal Apache";
        return false;
    }
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    while (std::chrono::steady_clock::now() < deadline) {
        if (!isRunning())
            break;
        if (generationCount() > before && portAnswers(port_))
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    error_ = "Apache did not come back after a graceful restart\n" + errorLog();
    return false;
}

bool ApacheSandbox::isRunning()
{
    if (child_ <= 0)
        return false;
    int wstatus = 0;
    pid_t r = ::waitpid(child_, &wstatus, WNOHANG);
    if (r == child_ || (r < 0 && errno == ECHILD)) {
        child_ = -1;
        return false;
    }
    return true;
}

void ApacheSandbox::stop()
{
    if (child_ <= 0)
        return;
    ::kill(child_, SIGTERM);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (isRunning()) {
        if (std::chrono::steady_clock::now() > deadline) {
            ::kill(child_, SIGKILL);
            ::waitpid(child_, nullptr, 0);
            child_ = -1;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

std::optional<pid_t> ApacheSandbox::pid() const
{
    std::string text = readAll(pidFilePath());
    if (text.empty())
        return std::nullopt;
    pid_t value = static_cast<pid_t>(std::atol(text.c_str()));
    return value > 0 ? std::optional<pid_t>(value) : std::nullopt;
}

std::string ApacheSandbox::errorLog() const
{
    return readAll(errorLogPath());
}

int ApacheSandbox::status(const std::string& path, const std::optional<std::string>& user,
                          const std::optional<std::string>& password) const
{
    makeReadable();
    return httpStatus(port_, path, user, password);
}
