#include "WebCheckFixture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// The control program sees root, umask 022, the standard descriptors and
// only PATH and LANG, whatever the caller's environment held.
using WebCheckEnvironmentTest = WebCheckFixture;

TEST_F(WebCheckEnvironmentTest, HostileEnvironmentDoesNotReachTheControlProgram)
{
    std::string evil = box->path() + "/evil";
    std::string marker = box->path() + "/pwned";
    std::filesystem::create_directories(evil);
    for (const char* name : {"systemctl", "apachectl", "apache2", "pkcheck", "envvars", "sh", "bash"}) {
        std::string path = evil + "/" + name;
        std::ofstream(path) << "#!/bin/sh\ntouch '" << marker << "'\n";
        ::chmod(path.c_str(), 0755);
    }
    std::string secret = box->path() + "/secret";
    std::ofstream(secret) << "secret\n";
    int leaked = ::open(secret.c_str(), O_RDONLY); // inherited unless the tool closes it

    for (uid_t uid : {kNobody, uid_t(0)}) {
        WebCheckSandbox::Options options;
        options.uid = uid;
        options.input = WebCheckSandbox::tokenFor(uid);
        options.env = {"PATH=" + evil + ":/usr/bin:/bin", "APACHE_ENVVARS=" + evil + "/envvars",
                       "APACHE_CONFDIR=" + evil, "IFS=/", "LD_PRELOAD=/nonexistent/evil.so",
                       "BASH_ENV=" + evil + "/sh", "ENV=" + evil + "/sh", "LANG=de_DE.UTF-8", "SHELLOPTS=xtrace"};
        mode_t old = ::umask(0);
        auto result = box->run({"-mypath", box->tool(), "-operation", "ctl", "-data", "graceful"}, options);
        ::umask(old);
        EXPECT_EQ(0, result.status) << result.err;
    }
    ::close(leaked);

    std::string log = read(box->controlLog());
    std::vector<std::string> env, fds;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("env: ", 0) == 0)
            env.push_back(line.substr(5));
        if (line.rfind("fd: ", 0) == 0)
            fds.push_back(line.substr(4));
    }
    std::vector<std::string> clean = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LANG=C"};
    EXPECT_EQ(clean.size() * 2, env.size()) << log;
    for (const std::string& e : env)
        EXPECT_TRUE(std::find(clean.begin(), clean.end(), e) != clean.end()) << e;
    for (const std::string& fd : fds)
        EXPECT_EQ(std::string::npos, fd.find("secret")) << "descriptor leaked: " << fd;
    EXPECT_EQ(2u, std::count(fds.begin(), fds.end(), "/dev/null")) << "standard input is /dev/null";
    EXPECT_EQ(2, [&] {
        int n = 0;
        for (std::size_t at = 0; (at = log.find("Uid:\t0\t0\t0\t0\n", at)) != std::string::npos; ++at)
            ++n;
        return n;
    }()) << log;
    EXPECT_NE(std::string::npos, log.find("umask: 0022")) << log;
    EXPECT_EQ(std::string::npos, log.find("umask: 0000")) << log;
    EXPECT_FALSE(std::filesystem::exists(marker)) << "a hostile program ran";
}
