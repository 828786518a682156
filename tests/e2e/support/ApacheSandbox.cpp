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
#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr const char* kControlProgram = "/usr/sbin/apachectl";
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

void put(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

void replaceAll(std::string& text, const std::string& from, const std::string& to)
{
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
}

std::string quoted(const std::string& text)
{
    return "'" + text + "'";
}

// Runs a program without a shell, with extra environment entries; its
// standard output, or nothing when it could not run or failed.
std::optional<std::string> run(const std::vector<std::string>& argv, const std::vector<std::string>& env = {})
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
        for (const std::string& entry : env)
            ::putenv(const_cast<char*>(entry.c_str()));
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


ApacheSandbox::ApacheSandbox(Setup setup)
{
    const char* tmp = std::getenv("TMPDIR");
    std::string base = std::string(tmp && *tmp ? tmp : "/tmp") + "/apache-XXXXXX";
    if (!::mkdtemp(base.data()))
        throw std::runtime_error("cannot create the Apache sandbox folder");
    root_ = base;
    conf_ = root_ + "/conf";
    port_ = freeLoopbackPort();
    static int sandboxes = 0;
    processName_ = "fdl" + std::to_string(::getpid()) + static_cast<char>('a' + sandboxes++ % 26);
    for (const char* folder : {"run", "lock", "logs", "www/html", "home"})
        fs::create_directories(root_ + "/" + folder);
    if (!available())
        return;
    copyInstalledConfiguration();
    if (setup == Setup::Repaired) {
        replaceAll(base_, "AllowOverride None", "AllowOverride All");
        writeConfig();
        std::vector<std::string> argv{kA2enmod, "-q"};
        argv.insert(argv.end(), std::begin(kAccessModules), std::end(kAccessModules));
        if (!run(argv, a2enmodEnvironment()))
            throw std::runtime_error("a2enmod could not enable the access modules in " + conf_);
    }
}

ApacheSandbox::~ApacheSandbox()
{
    stop();
    stopDaemon();
    std::error_code ec;
    fs::remove_all(root_, ec);
}

bool ApacheSandbox::available()
{
    for (const char* tool : {kBinary, kControlProgram, kA2enmod}) {
        if (::access(tool, X_OK) != 0)
            return false;
    }
    return fs::exists(std::string(kInstalledConf) + "/apache2.conf") &&
           fs::exists(std::string(kInstalledConf) + "/envvars");
}

void ApacheSandbox::copyInstalledConfiguration()
{
    fs::copy(kInstalledConf, conf_, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    fs::create_symlink(kBinary, root_ + "/" + processName_);

    // Only the places move; the installed values stay as they are, except the
    // account when the tests cannot switch to it.
    std::string vars = "export APACHE_PID_FILE=" + quoted(pidFilePath()) + "\n" +
                       "export APACHE_RUN_DIR=" + quoted(root_ + "/run") + "\n" +
                       "export APACHE_LOCK_DIR=" + quoted(root_ + "/lock") + "\n" +
                       "export APACHE_LOG_DIR=" + quoted(root_ + "/logs") + "\n" +
                       "export APACHE_HTTPD=" + quoted(root_ + "/" + processName_) + "\n";
    if (::geteuid() != 0) {
        const passwd* pw = ::getpwuid(::geteuid());
        const group* gr = ::getgrgid(::getegid());
        vars += std::string("export APACHE_RUN_USER=") + (pw ? pw->pw_name : "nobody") + "\n" +
                "export APACHE_RUN_GROUP=" + (gr ? gr->gr_name : "nogroup") + "\n";
    } else if (const passwd* pw = ::getpwnam("www-data")) {
        // apachectl hands the lock folder to the server's account the same way.
        [[maybe_unused]] int ignored = ::chown((root_ + "/lock").c_str(), pw->pw_uid, pw->pw_gid);
    }
    std::ofstream(conf_ + "/envvars", std::ios::app) << vars;

    std::string ports;
    std::istringstream lines(readAll(conf_ + "/ports.conf"));
    bool listening = false;
    for (std::string line; std::getline(lines, line);) {
        std::size_t word = line.find_first_not_of(" \t");
        if (word != std::string::npos && line.compare(word, 7, "Listen ") == 0) {
            line = listening ? "# " + line : "Listen 127.0.0.1:" + std::to_string(port_);
            listening = true;
        }
        ports += line + "\n";
    }
    put(conf_ + "/ports.conf", ports);

    const std::regex virtualHost(R"(<VirtualHost [^>]*>)");
    const std::string host = "<VirtualHost 127.0.0.1:" + std::to_string(port_) + ">";
    for (const auto& site : fs::directory_iterator(conf_ + "/sites-enabled")) {
        std::string text = std::regex_replace(readAll(site.path()), virtualHost, host);
        replaceAll(text, "/var/www", root_ + "/www");
        put(fs::canonical(site.path()), text);
    }
    rewrite(conf_ + "/mods-available/userdir.conf", " /home/", " " + root_ + "/home/");
    rewrite(conf_ + "/mods-available/userdir.conf", "UserDir public_html", "UserDir " + root_ + "/home/*/public_html");
    base_ = readAll(configPath());
    replaceAll(base_, "/var/www", root_ + "/www");
    writeConfig();
}

void ApacheSandbox::rewrite(const std::string& file, const std::string& from, const std::string& to) const
{
    std::string text = readAll(file);
    replaceAll(text, from, to);
    put(file, text);
}

std::string ApacheSandbox::configPath() const
{
    return conf_ + "/apache2.conf";
}

std::string ApacheSandbox::documentRoot() const
{
    return root_ + "/www/html";
}

std::string ApacheSandbox::personalFolder(const std::string& login) const
{
    std::string folder = root_ + "/home/" + login + "/public_html";
    fs::create_directories(folder);
    return folder;
}

std::string ApacheSandbox::pidFilePath() const
{
    return root_ + "/run/apache2.pid";
}

std::string ApacheSandbox::errorLogPath() const
{
    return root_ + "/logs/error.log";
}

std::string ApacheSandbox::controlProgram() const
{
    // Debian's apachectl hands a start to systemd unless told it comes from there.
    std::string path = root_ + "/apachectl";
    put(path, "#!/bin/sh\nAPACHE_CONFDIR=" + quoted(conf_) + " APACHE_STARTED_BY_SYSTEMD=1 exec " + kControlProgram +
                  " \"$@\"\n");
    fs::permissions(path, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                              fs::perms::others_read | fs::perms::others_exec);
    return path;
}

std::vector<std::string> ApacheSandbox::a2enmodEnvironment() const
{
    // a2enmod keeps records of what it enabled: in the sandbox, never in the
    // machine's /var/lib/apache2.
    return {"APACHE_CONFDIR=" + conf_, "APACHE_STATE_DIRECTORY=" + root_ + "/state"};
}

bool ApacheSandbox::enableModule(const std::string& name) const
{
    return run({kA2enmod, "-q", name}, a2enmodEnvironment()).has_value();
}

bool ApacheSandbox::isModuleEnabled(const std::string& name) const
{
    return fs::exists(conf_ + "/mods-enabled/" + name + ".load");
}

void ApacheSandbox::setPort(int port)
{
    const std::string from = ":" + std::to_string(port_), to = ":" + std::to_string(port);
    rewrite(conf_ + "/ports.conf", from + "\n", to + "\n");
    for (const auto& site : fs::directory_iterator(conf_ + "/sites-enabled"))
        rewrite(fs::canonical(site.path()), from + ">", to + ">");
    port_ = port;
}

void ApacheSandbox::replaceConfig(const std::string& text)
{
    base_ = text;
    extra_.clear();
    writeConfig();
}

std::string ApacheSandbox::configText() const
{
    return base_ + extra_;
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
    for (const std::string& tree : {root_ + "/www", root_ + "/home"}) {
        addPermissions(tree, fs::perms::others_read | fs::perms::others_exec);
        for (auto it = fs::recursive_directory_iterator(tree, ec); !ec && it != fs::recursive_directory_iterator();
             it.increment(ec)) {
            if (it->is_symlink(ec))
                continue;
            bool folder = it->is_directory(ec);
            addPermissions(it->path(),
                           folder ? fs::perms::others_read | fs::perms::others_exec : fs::perms::others_read);
        }
    }
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
        setPort(freeLoopbackPort());
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
        ::setenv("APACHE_CONFDIR", conf_.c_str(), 1);
        // As apachectl starts it: Debian's envvars, then the binary on the folder.
        ::execl("/bin/sh", "sh", "-c", ". \"$APACHE_CONFDIR/envvars\" && exec \"$APACHE_HTTPD\" -d \"$APACHE_CONFDIR\" -DFOREGROUND",
                static_cast<char*>(nullptr));
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

void ApacheSandbox::stopDaemon() const
{
    std::optional<pid_t> server = pid();
    // Only this sandbox's server, never a process that reused the number.
    if (!server || readAll("/proc/" + std::to_string(*server) + "/comm") != processName_ + "\n")
        return;
    ::kill(*server, SIGTERM);
    for (int i = 0; i < 200 && ::kill(*server, 0) == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (::kill(*server, 0) == 0)
        ::kill(*server, SIGKILL);
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

bool ApacheSandbox::waitForStatus(const std::string& path, int expected, double seconds) const
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    do {
        if (status(path) == expected)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    } while (std::chrono::steady_clock::now() < deadline);
    return false;
}
