#include "ApacheSandbox.h"

#include "KLChildProcess.h"
#include "KLTextFile.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

constexpr const char* kControlProgram = "/usr/sbin/apachectl";
constexpr const char* kA2enmod = "/usr/sbin/a2enmod";
constexpr const char* kAccessModules[] = {"auth_basic", "authn_core",      "authn_file", "authz_core",
                                          "authz_user", "authz_groupfile", "authz_host", "access_compat"};

std::string readAll(const std::string& path) { return KLTextFile::readBytes(path).value_or(""); }
void put(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }
std::string quoted(const std::string& text) { return "'" + text + "'"; }

std::string replaceAll(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

void rewrite(const std::string& file, const std::string& from, const std::string& to)
{
    put(file, replaceAll(readAll(file), from, to));
}

int freePort()
{
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t length = sizeof address;
    auto* any = reinterpret_cast<sockaddr*>(&address);
    int port = fd >= 0 && ::bind(fd, any, length) == 0 && ::getsockname(fd, any, &length) == 0 ? ntohs(address.sin_port) : 0;
    ::close(fd);
    return port;
}

// Its records go in the sandbox, not in /var/lib/apache2.
bool a2enmod(const std::string& conf, const std::string& root, const std::vector<std::string>& names)
{
    std::vector<std::string> args{"APACHE_CONFDIR=" + conf, "APACHE_STATE_DIRECTORY=" + root + "/state", kA2enmod, "-q"};
    args.insert(args.end(), names.begin(), names.end());
    return KLChildProcess::run("/usr/bin/env", args, KLChildProcess::Output::Discard, KLChildProcess::Output::Discard)
               .status == 0;
}

// Configurations read, by the notice the server logs for each.
int generations(const std::string& log)
{
    int count = 0;
    for (std::size_t at = 0; (at = log.find("resuming normal operations", at)) != std::string::npos; ++at)
        ++count;
    return count;
}

bool pollFor(double seconds, const std::function<bool()>& done)
{
    auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
    while (!done()) {
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

} // namespace

ApacheSandbox::ApacheSandbox(Setup setup)
{
    const char* tmp = std::getenv("TMPDIR");
    std::string base = std::string(tmp && *tmp ? tmp : "/tmp") + "/apache-XXXXXX";
    if (!::mkdtemp(base.data()))
        throw std::runtime_error("cannot create the Apache sandbox folder");
    root_ = base;
    conf_ = root_ + "/conf";
    port_ = freePort();
    static int sandboxes = 0;
    processName_ = "fdl" + std::to_string(::getpid()) + static_cast<char>('a' + sandboxes++ % 26);
    for (const char* folder : {"run", "lock", "logs", "www/html", "home"})
        fs::create_directories(root_ + "/" + folder);
    if (!available())
        return;
    fs::copy(kInstalledConf, conf_, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    fs::create_symlink(kBinary, root_ + "/" + processName_);

    // Only the places move; the account too without root.
    std::string vars;
    for (auto [name, value] : {std::pair{"PID_FILE", "run/apache2.pid"}, {"RUN_DIR", "run"}, {"LOCK_DIR", "lock"},
                               {"LOG_DIR", "logs"}, {"HTTPD", processName_.c_str()}})
        vars += std::string("export APACHE_") + name + "=" + quoted(root_ + "/" + value) + "\n";
    if (::geteuid() != 0) {
        const passwd* pw = ::getpwuid(::geteuid());
        const group* gr = ::getgrgid(::getegid());
        vars += std::string("export APACHE_RUN_USER=") + (pw ? pw->pw_name : "nobody") + "\n" +
                "export APACHE_RUN_GROUP=" + (gr ? gr->gr_name : "nogroup") + "\n";
    } else if (const passwd* pw = ::getpwnam("www-data")) {
        [[maybe_unused]] int ignored = ::chown((root_ + "/lock").c_str(), pw->pw_uid, pw->pw_gid);
    }
    std::ofstream(conf_ + "/envvars", std::ios::app) << vars;

    put(conf_ + "/ports.conf", "Listen 127.0.0.1:" + std::to_string(port_) + "\n");
    const std::string host = "<VirtualHost 127.0.0.1:" + std::to_string(port_) + ">";
    for (const auto& site : fs::directory_iterator(conf_ + "/sites-enabled")) {
        std::string text = std::regex_replace(readAll(site.path()), std::regex("<VirtualHost [^>]*>"), host);
        put(fs::canonical(site.path()), replaceAll(text, "/var/www", root_ + "/www"));
    }
    rewrite(conf_ + "/mods-available/userdir.conf", " /home/", " " + root_ + "/home/");
    rewrite(conf_ + "/mods-available/userdir.conf", "UserDir public_html", "UserDir " + root_ + "/home/*/public_html");
    base_ = replaceAll(readAll(configPath()), "/var/www", root_ + "/www");
    if (setup == Setup::Repaired) {
        base_ = replaceAll(base_, "AllowOverride None", "AllowOverride All");
        if (!a2enmod(conf_, root_, {std::begin(kAccessModules), std::end(kAccessModules)}))
            throw std::runtime_error("a2enmod could not enable the access modules in " + conf_);
    }
    writeConfig();
}

ApacheSandbox::~ApacheSandbox()
{
    stop();
    // One started through controlProgram(), not a process that reused its number.
    if (std::optional<pid_t> server = pid(); server && readAll("/proc/" + std::to_string(*server) + "/comm") == processName_ + "\n") {
        ::kill(*server, SIGTERM);
        if (!pollFor(10, [&] { return ::kill(*server, 0) != 0; }))
            ::kill(*server, SIGKILL);
    }
    std::error_code ec;
    fs::remove_all(root_, ec);
}

bool ApacheSandbox::available()
{
    for (const char* tool : {kBinary, kControlProgram, kA2enmod})
        if (::access(tool, X_OK) != 0)
            return false;
    return fs::exists(std::string(kInstalledConf) + "/apache2.conf") &&
           fs::exists(std::string(kInstalledConf) + "/envvars");
}

std::string ApacheSandbox::personalFolder(const std::string& login) const
{
    std::string folder = root_ + "/home/" + login + "/public_html";
    fs::create_directories(folder);
    return folder;
}

std::string ApacheSandbox::controlProgram() const
{
    // Debian's apachectl hands a start to systemd unless told it comes from there.
    std::string path = root_ + "/apachectl";
    put(path, "#!/bin/sh\nAPACHE_CONFDIR=" + quoted(conf_) + " APACHE_STARTED_BY_SYSTEMD=1 exec " + kControlProgram +
                  " \"$@\"\n");
    ::chmod(path.c_str(), 0755);
    return path;
}

bool ApacheSandbox::enableModule(const std::string& name) const
{
    return a2enmod(conf_, root_, {name});
}

void ApacheSandbox::replaceConfig(const std::string& text)
{
    base_ = text;
    extra_.clear();
    writeConfig();
}

void ApacheSandbox::setPort(int port)
{
    const std::string from = ":" + std::to_string(port_), to = ":" + std::to_string(port);
    rewrite(conf_ + "/ports.conf", from + "\n", to + "\n");
    for (const auto& site : fs::directory_iterator(conf_ + "/sites-enabled"))
        rewrite(fs::canonical(site.path()), from + ">", to + ">");
    port_ = port;
}

bool ApacheSandbox::writeConfig() const
{
    std::ofstream out(configPath(), std::ios::binary | std::ios::trunc);
    out << base_ + extra_;
    return static_cast<bool>(out);
}

void ApacheSandbox::makeReadable() const
{
    if (::geteuid() != 0)
        return;
    // Folders above the sandbox must let the server's account pass.
    std::error_code ec;
    for (fs::path p = fs::path(root_); p.has_relative_path(); p = p.parent_path())
        if (struct stat st{}; ::stat(p.c_str(), &st) == 0 && st.st_uid == 0)
            fs::permissions(p, fs::perms::others_exec, fs::perm_options::add, ec);
    KLChildProcess::run("/bin/chmod", {"-R", "o+rX", root_ + "/www", root_ + "/home"}, KLChildProcess::Output::Discard,
                        KLChildProcess::Output::Discard);
}

bool ApacheSandbox::start()
{
    error_.clear();
    if (child_ > 0)
        return true;
    if (!available()) {
        error_ = "Debian's Apache 2.4 is not installed";
        return false;
    }
    // The free port may be taken by someone else before the server binds it.
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (launch())
            return true;
        if (errorLog().find("Address already in use") == std::string::npos)
            return false;
        setPort(freePort());
    }
    return false;
}

bool ApacheSandbox::launch()
{
    writeConfig();
    makeReadable();
    child_ = ::fork();
    if (child_ == 0) {
        // Gone with the test; its own group, as on shutdown it signals it.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        ::setpgid(0, 0);
        int log = ::open(errorLogPath().c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        ::dup2(log, STDOUT_FILENO);
        ::dup2(log, STDERR_FILENO);
        ::setenv("APACHE_CONFDIR", conf_.c_str(), 1);
        ::execl("/bin/sh", "sh", "-c", ". \"$APACHE_CONFDIR/envvars\" && exec \"$APACHE_HTTPD\" -d \"$APACHE_CONFDIR\" -DFOREGROUND",
                static_cast<char*>(nullptr));
        ::_exit(127);
    }
    if (child_ > 0 && waitUntil(15, -1))
        return true;
    error_ = "Apache did not answer on 127.0.0.1:" + std::to_string(port_) + "\n" + errorLog();
    stop();
    return false;
}

bool ApacheSandbox::waitUntil(double seconds, int generation)
{
    return pollFor(seconds, [&] { return !isRunning() || (generations(errorLog()) > generation && pid()); }) && isRunning();
}

bool ApacheSandbox::gracefulRestart()
{
    error_.clear();
    int before = generations(errorLog());
    if (!isRunning() || !writeConfig() || ::kill(child_, SIGUSR1) != 0) {
        error_ = child_ > 0 ? "cannot signal Apache" : "Apache is not running";
        return false;
    }
    if (waitUntil(15, before))
        return true;
    error_ = "Apache did not come back after a graceful restart\n" + errorLog();
    return false;
}

bool ApacheSandbox::isRunning()
{
    if (child_ <= 0)
        return false;
    pid_t r = ::waitpid(child_, nullptr, WNOHANG);
    if (r == child_ || (r < 0 && errno == ECHILD))
        child_ = -1;
    return child_ > 0;
}

void ApacheSandbox::stop()
{
    if (child_ <= 0)
        return;
    ::kill(child_, SIGTERM);
    if (!pollFor(10, [&] { return !isRunning(); })) {
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
        child_ = -1;
    }
}

std::optional<pid_t> ApacheSandbox::pid() const
{
    pid_t value = static_cast<pid_t>(std::atol(readAll(root_ + "/run/apache2.pid").c_str()));
    return value > 0 ? std::optional<pid_t>(value) : std::nullopt;
}

std::string ApacheSandbox::errorLog() const { return readAll(errorLogPath()); }

int ApacheSandbox::status(const std::string& path, const std::optional<std::string>& user,
                          const std::optional<std::string>& password) const
{
    makeReadable();
    std::vector<std::string> args = {"--silent", "--output", "/dev/null", "--write-out", "%{http_code}",
                                     "--max-time", "10",     "--noproxy", "*"};
    if (user)
        args.insert(args.end(), {"--user", *user + ":" + password.value_or("")});
    args.push_back("http://127.0.0.1:" + std::to_string(port_) + path);
    auto result = KLChildProcess::run("/usr/bin/curl", args, KLChildProcess::Output::Capture,
                                      KLChildProcess::Output::Discard);
    return result.status == 0 ? std::atoi(result.output.c_str()) : 0;
}

bool ApacheSandbox::waitForStatus(const std::string& path, int expected, double seconds) const
{
    return pollFor(seconds, [&] { return status(path) == expected; });
}
