#include "DebianApache.h"

#include "ApacheSandbox.h"
#include "TempDir.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pwd.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace fs = std::filesystem;

namespace {

constexpr const char* kModules[] = {"mpm_prefork", "authz_core", "authz_host", "authz_user",
                                    "authn_core",  "authn_file", "auth_basic", "dir"};

int freeLoopbackPort()
{
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    int port = 0;
    if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    if (fd >= 0)
        ::close(fd);
    return port;
}

void put(const std::string& path, const std::string& text)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

std::string runUser()
{
    if (::geteuid() != 0) {
        const passwd* pw = ::getpwuid(::geteuid());
        return pw ? pw->pw_name : "nobody";
    }
    return ::getpwnam("www-data") ? "www-data" : "nobody";
}

} // namespace

bool DebianApache::available()
{
    return ApacheSandbox::available() && fs::exists(kDebianConf) && fs::exists("/usr/sbin/apachectl") &&
           WebCheckSandbox::mainConfName() == "apache2.conf";
}

DebianApache::DebianApache(const WebCheckSandbox& box) : box_(box), port_(freeLoopbackPort())
{
    processName_ = "fdl" + std::to_string(::getpid());
    const std::string conf = box.confDir();
    fs::copy_file(kDebianConf, box.mainConf(), fs::copy_options::overwrite_existing);
    fs::create_symlink(ApacheSandbox::kBinary, box.path() + "/" + processName_);
    std::string modules;
    for (const char* m : kModules)
        modules += std::string("LoadModule ") + m + "_module " + ApacheSandbox::kModuleDir + "/mod_" + m + ".so\n";
    put(conf + "/mods-enabled/fendrel.load", modules);
    put(conf + "/ports.conf", "Listen 127.0.0.1:" + std::to_string(port_) + "\n");
    fs::create_directories(conf + "/conf-enabled");
    const std::string user = runUser();
    put(conf + "/envvars", "export APACHE_RUN_USER=" + user + "\n"
                           "export APACHE_RUN_GROUP=$(id -gn " + user + ")\n"
                           "export APACHE_RUN_DIR='" + box.path() + "/run'\n"
                           "export APACHE_PID_FILE='" + box.path() + "/run/apache2.pid'\n"
                           "export APACHE_LOCK_DIR='" + box.path() + "/lock'\n"
                           "export APACHE_LOG_DIR='" + box.path() + "/logs'\n"
                           "export APACHE_HTTPD='" + box.path() + "/" + processName_ + "'\n");
    fs::create_directories(box.path() + "/logs");
    put(documentRoot() + "/index.html", "home\n");
    writeSite();
    box.setControlProgram("APACHE_CONFDIR='" + conf + "' APACHE_STARTED_BY_SYSTEMD=1 exec /usr/sbin/apachectl \"$@\"\n");
}

DebianApache::~DebianApache()
{
    std::ifstream pidFile(box_.path() + "/run/apache2.pid");
    pid_t pid = 0;
    if (!(pidFile >> pid) || pid <= 0)
        return;
    ::kill(pid, SIGTERM);
    for (int i = 0; i < 200 && ::kill(pid, 0) == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (::kill(pid, 0) == 0)
        ::kill(pid, SIGKILL);
}

std::string DebianApache::errorLog() const
{
    return readFile(box_.path() + "/logs/error.log");
}

void DebianApache::writeSite(const std::string& extra) const
{
    const std::string port = std::to_string(port_);
    put(siteConf(), "ServerName 127.0.0.1\n"
                    "<VirtualHost 127.0.0.1:" + port + ">\n"
                    "    DocumentRoot " + documentRoot() + "\n"
                    "    <Directory " + documentRoot() + ">\n"
                    "        Require all granted\n"
                    "    </Directory>\n" + extra +
                    "</VirtualHost>\n");
}

bool DebianApache::waitForStatus(const std::string& path, int status, double seconds) const
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    do {
        if (httpStatus(port_, path) == status)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    } while (std::chrono::steady_clock::now() < deadline);
    return false;
}
