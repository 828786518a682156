#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

// A private Apache for end-to-end tests: the machine's /etc/apache2 copied
// as it stands, with only Listen, the virtual host, the run, lock and log
// folders (through Debian's envvars), the document root and the UserDir base
// moved into the sandbox. Stock is the server as installed; Repaired is what
// Fendrel's repair leaves (AllowOverride All, its modules enabled).
// The server runs as this process's child (its own process group, gone with
// the test through the parent-death signal); one started through
// controlProgram() is stopped by the destructor too. As root, every request
// first makes the document tree readable for www-data.
class ApacheSandbox
{
public:
    enum class Setup { Stock, Repaired };

    static constexpr const char* kBinary = "/usr/sbin/apache2";
    static constexpr const char* kInstalledConf = "/etc/apache2";

    explicit ApacheSandbox(Setup setup = Setup::Repaired);
    ~ApacheSandbox();
    ApacheSandbox(const ApacheSandbox&) = delete;
    ApacheSandbox& operator=(const ApacheSandbox&) = delete;

    // Whether Debian's apache2, its configuration and its tools are installed.
    static bool available();

    const std::string& serverRoot() const { return conf_; } // APACHE_CONFDIR
    std::string configPath() const { return conf_ + "/apache2.conf"; }
    std::string documentRoot() const { return root_ + "/www/html"; }
    // The personal web folder of a login (created), served as /~login/.
    std::string personalFolder(const std::string& login) const;
    std::string errorLogPath() const { return root_ + "/logs/error.log"; }
    int port() const { return port_; }
    void setPort(int port);
    // The short process name of this sandbox's server, unlike any other.
    const std::string& processName() const { return processName_; }
    // A script running Debian's apachectl on this configuration.
    std::string controlProgram() const;

    // Debian's a2enmod on this configuration; true when it succeeded.
    bool enableModule(const std::string& name) const;
    // Lines appended to apache2.conf by start() and gracefulRestart().
    void setExtraConfig(const std::string& text) { extra_ = text; }
    // Replaces apache2.conf with the text, as a repair does; later starts keep it.
    void replaceConfig(const std::string& text);
    bool writeConfig() const;

    // Starts the server and waits (up to 15 s) until the port answers.
    bool start();
    // SIGUSR1, then waits until the server has re-read its configuration.
    bool gracefulRestart();
    // SIGTERM, waits for the server to end; SIGKILL after 10 s.
    void stop();
    bool isRunning();
    std::optional<pid_t> pid() const;
    // Why the last start or restart failed, with the error log.
    const std::string& error() const { return error_; }
    std::string errorLog() const;

    // The HTTP status of GET http://127.0.0.1:<port><path>; 0 without answer.
    int status(const std::string& path, const std::optional<std::string>& user = std::nullopt,
               const std::optional<std::string>& password = std::nullopt) const;
    // Polls until the path answers with this status.
    bool waitForStatus(const std::string& path, int status, double seconds) const;

private:
    bool launch();
    bool waitUntil(double seconds, int generation);
    void makeReadable() const;

    std::string root_, conf_, base_, extra_, processName_, error_;
    int port_ = 0;
    pid_t child_ = -1;
};

// GET http://127.0.0.1:<port><path> through curl (no proxy, 10 s limit);
// the HTTP status, 0 when none came.
int httpStatus(int port, const std::string& path, const std::optional<std::string>& user = std::nullopt,
               const std::optional<std::string>& password = std::nullopt);
