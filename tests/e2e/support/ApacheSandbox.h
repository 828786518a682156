#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

// The machine's /etc/apache2 with only its places moved into a sandbox, as
// installed (Stock) or as repaired; the server and one started through
// controlProgram() end with the object.
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

    static bool available(); // Debian's apache2, its configuration and tools

    const std::string& serverRoot() const { return conf_; } // APACHE_CONFDIR
    std::string configPath() const { return conf_ + "/apache2.conf"; }
    std::string documentRoot() const { return root_ + "/www/html"; }
    // Created, served as /~login/.
    std::string personalFolder(const std::string& login) const;
    std::string errorLogPath() const { return root_ + "/logs/error.log"; }
    int port() const { return port_; }
    void setPort(int port);
    const std::string& processName() const { return processName_; }
    // Debian's apachectl and a2enmod on this configuration.
    std::string controlProgram() const;
    bool enableModule(const std::string& name) const;
    // Lines appended to apache2.conf by start() and gracefulRestart().
    void setExtraConfig(const std::string& text) { extra_ = text; }
    // As a repair does; later starts keep it.
    void replaceConfig(const std::string& text);
    bool writeConfig() const;

    // Each waits (up to 15 s) until the server answers with its configuration.
    bool start();
    bool gracefulRestart();
    void stop(); // SIGTERM; SIGKILL after 10 s
    bool isRunning();
    std::optional<pid_t> pid() const;
    const std::string& error() const { return error_; }
    std::string errorLog() const;

    // Of GET http://127.0.0.1:<port><path> through curl; 0 without answer.
    int status(const std::string& path, const std::optional<std::string>& user = std::nullopt,
               const std::optional<std::string>& password = std::nullopt) const;
    bool waitForStatus(const std::string& path, int status, double seconds) const;

private:
    bool launch();
    bool waitUntil(double seconds, int generation);
    void makeReadable() const;

    std::string root_, conf_, base_, extra_, processName_, error_;
    int port_ = 0;
    pid_t child_ = -1;
};
