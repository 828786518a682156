#pragma once

#include <optional>
#include <string>
#include <vector>
#include <sys/types.h>

// A private Apache for end-to-end tests, built from the machine's own
// installed configuration: /etc/apache2 is copied as it stands (enabled
// modules, configuration snippets and sites included) and only what must move
// is rewritten: Listen and the virtual host to 127.0.0.1 and a free port, the
// run, lock and log folders (through envvars) and the document root and the
// UserDir base to folders of the sandbox. The real apache2 binary reads
// Debian's envvars, as the machine's own server would.
//
// Stock is the server exactly as installed. Repaired is what Fendrel's
// repair leaves on such a server: every "AllowOverride None" of apache2.conf
// turned into "AllowOverride All" and Fendrel's modules enabled through
// Debian's a2enmod; the repair tests prove from Stock that the real repair
// gets there.
//
// start() runs the server in the foreground as this process's child; it goes
// down with stop(), the destructor (also when a test fails) or, should the
// test process die, the parent-death signal. A server started through
// controlProgram() (Debian's apachectl on this configuration) is stopped by
// the destructor too.
//
// When run as root the server's children run as www-data, and every request
// first makes the document tree readable for it.
//
//   ApacheSandbox apache;
//   ASSERT_TRUE(apache.start()) << apache.error();
//   EXPECT_EQ(apache.status("/private/"), 401);
class ApacheSandbox
{
public:
    enum class Setup { Stock, Repaired };

    static constexpr const char* kBinary = "/usr/sbin/apache2";
    static constexpr const char* kInstalledConf = "/etc/apache2";
    static constexpr const char* kA2enmod = "/usr/sbin/a2enmod";
    // What Fendrel's access files need; userdir serves the personal folders.
    static constexpr const char* kAccessModules[] = {"auth_basic", "authn_core", "authn_file",   "authz_core",
                                                     "authz_user", "authz_groupfile", "authz_host", "access_compat"};

    explicit ApacheSandbox(Setup setup = Setup::Repaired);
    ~ApacheSandbox();
    ApacheSandbox(const ApacheSandbox&) = delete;
    ApacheSandbox& operator=(const ApacheSandbox&) = delete;

    // Whether Debian's apache2, its configuration and its tools are installed.
    static bool available();

    // The copied configuration folder (the server's root, APACHE_CONFDIR).
    const std::string& serverRoot() const { return conf_; }
    std::string configPath() const;
    std::string documentRoot() const;
    // The personal web folder of a login (created), served as /~login/ once
    // userdir is on.
    std::string personalFolder(const std::string& login) const;
    std::string pidFilePath() const;
    std::string errorLogPath() const;
    int port() const { return port_; }
    // Listens on this port instead of the free one chosen when made.
    void setPort(int port);
    // The short process name of this sandbox's server, unlike any other
    // Apache on the machine.
    const std::string& processName() const { return processName_; }
    // A script running Debian's apachectl on this configuration.
    std::string controlProgram() const;

    // Debian's a2enmod on this configuration; true when it succeeded.
    bool enableModule(const std::string& name) const;
    bool isModuleEnabled(const std::string& name) const;

    // Lines appended to apache2.conf by start() and gracefulRestart().
    void setExtraConfig(const std::string& text) { extra_ = text; }
    std::string configText() const;
    // Replaces apache2.conf with the text, as a repair does; later starts and
    // restarts keep it.
    void replaceConfig(const std::string& text);
    bool writeConfig();

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

    // Makes the sandbox readable for the server's account (root only; does
    // nothing otherwise). status() calls it before every request.
    void makeReadable() const;

    // The HTTP status of GET http://127.0.0.1:<port><path>, optionally with
    // basic authentication; 0 when no answer came.
    int status(const std::string& path, const std::optional<std::string>& user = std::nullopt,
               const std::optional<std::string>& password = std::nullopt) const;
    // Polls until the path answers with this status (0: no answer).
    bool waitForStatus(const std::string& path, int status, double seconds) const;

private:
    void copyInstalledConfiguration();
    std::vector<std::string> a2enmodEnvironment() const;
    void rewrite(const std::string& file, const std::string& from, const std::string& to) const;
    bool launch();
    bool waitForPort(double seconds);
    int generationCount() const;
    void stopDaemon() const;

    std::string root_;
    std::string conf_;
    std::string base_;
    std::string extra_;
    std::string processName_;
    int port_ = 0;
    pid_t child_ = -1;
    std::string error_;
};

// GET http://127.0.0.1:<port><path> through curl (no proxy, 10 s limit);
// the HTTP status, 0 when none came. Only the loopback address is ever asked.
int httpStatus(int port, const std::string& path, const std::optional<std::string>& user = std::nullopt,
               const std::optional<std::string>& password = std::nullopt);
