#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

// A private Apache 2.4 (Debian's /usr/sbin/apache2) for end-to-end tests: its
// own ServerRoot, configuration, pid file and error log in a temporary folder,
// listening on 127.0.0.1 and a free port, serving a document root that plays
// the protected folder root (AllowOverride All, as a repaired configuration
// has it). The server runs in the foreground as this process's child and is
// always stopped: by stop(), by the destructor (also when a test fails) and,
// should the test process die, by the kernel (parent-death signal).
//
// When run as root the server's children run as an unprivileged account
// (www-data, else nobody), and every request first makes the document tree
// readable for it.
//
//   ApacheSandbox apache;
//   ASSERT_TRUE(apache.start()) << apache.error();
//   EXPECT_EQ(apache.status("/private/"), 401);
class ApacheSandbox
{
public:
    static constexpr const char* kBinary = "/usr/sbin/apache2";
    static constexpr const char* kModuleDir = "/usr/lib/apache2/modules";

    ApacheSandbox();
    ~ApacheSandbox();
    ApacheSandbox(const ApacheSandbox&) = delete;
    ApacheSandbox& operator=(const ApacheSandbox&) = delete;

    // Whether the binary and the modules are installed.
    static bool available();

    // The sandbox folder, holding apache2.conf, the pid file, the error log
    // and the document root "docs".
    const std::string& serverRoot() const { return root_; }
    std::string configPath() const;
    std::string documentRoot() const;
    std::string pidFilePath() const;
    std::string errorLogPath() const;
    int port() const { return port_; }
    // Listens on this port instead of the free one chosen when made; start()
    // still moves to another free port when this one is taken meanwhile.
    void setPort(int port) { port_ = port; }
    // The account the server's children run as ("" when not run as root).
    const std::string& serverUser() const { return user_; }

    // The configuration start() writes: the generated one with extraConfig()
    // appended, or the replacement when one was set.
    std::string defaultConfig() const;
    void setExtraConfig(const std::string& text) { extra_ = text; }
    void setReplacementConfig(const std::string& text) { replacement_ = text; }
    std::string configText() const;
    // Writes configText() to configPath(); start() does it too.
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

private:
    bool launch();
    bool waitForPort(double seconds);
    int generationCount() const;

    std::string root_;
    int port_ = 0;
    std::string user_;
    std::string group_;
    std::string extra_;
    std::optional<std::string> replacement_;
    pid_t child_ = -1;
    std::string error_;
};

// GET http://127.0.0.1:<port><path> through curl (no proxy, 10 s limit);
// the HTTP status, 0 when none came. Only the loopback address is ever asked.
int httpStatus(int port, const std::string& path, const std::optional<std::string>& user = std::nullopt,
               const std::optional<std::string>& password = std::nullopt);
