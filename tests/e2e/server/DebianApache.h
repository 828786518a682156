#pragma once

#include "WebCheckSandbox.h"

#include <string>

// A private Apache laid out as Debian's: a copy of the machine's own
// /etc/apache2/apache2.conf in the WebCheck sandbox's configuration folder,
// with the modules, ports and site files it includes and an envvars file,
// driven by Debian's own apachectl through the sandbox's control program.
// The server runs under a name of its own, so that its process is told apart
// from every other Apache on the machine. The destructor stops it.
class DebianApache
{
public:
    static constexpr const char* kDebianConf = "/etc/apache2/apache2.conf";

    // Whether this machine has what it needs (Debian's apache2 and apachectl).
    static bool available();

    explicit DebianApache(const WebCheckSandbox& box);
    ~DebianApache();
    DebianApache(const DebianApache&) = delete;
    DebianApache& operator=(const DebianApache&) = delete;

    const std::string& processName() const { return processName_; }
    int port() const { return port_; }
    std::string documentRoot() const { return box_.path() + "/docs"; }
    std::string siteConf() const { return box_.confDir() + "/sites-enabled/site.conf"; }
    std::string controlProgram() const { return box_.path() + "/apachectl"; }
    std::string errorLog() const;
    // Writes the site file with extra lines inside its virtual host.
    void writeSite(const std::string& extra = {}) const;
    // Polls the port until it answers (or stops answering) with this status.
    bool waitForStatus(const std::string& path, int status, double seconds) const;

private:
    const WebCheckSandbox& box_;
    std::string processName_;
    int port_ = 0;
};
