#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// A copy of the test build of WebCheck in box/ of a fresh 0700 folder
// /tmp/fendrel-webcheck-<pid>-XXXXXX, removed with the object, on exit() and
// on SIGINT, SIGTERM, SIGABRT or SIGSEGV; those of killed test processes go
// when the next makes its first. Beside it, logging stubs of apachectl,
// pkcheck (exit setPkcheckExit(), 0 at first, for this test's subjects, else
// 1), a2enmod and systemctl (after pretendSystemd()); conf/; caller/ of nobody's.
class WebCheckSandbox
{
public:
    static constexpr uid_t kNobody = 65534;

    // Without root: a skip, exit 77.
    static void exitUnlessRoot();
    static std::string testBuild();
    static std::string mainConfName();

    WebCheckSandbox();
    ~WebCheckSandbox();
    WebCheckSandbox(const WebCheckSandbox&) = delete;
    WebCheckSandbox& operator=(const WebCheckSandbox&) = delete;

    const std::string& path() const { return path_; } // box/
    std::string tool() const { return path_ + "/WebCheck"; }
    std::string confDir() const { return path_ + "/conf"; }
    std::string mainConf() const { return confDir() + "/" + mainConfName(); }
    std::string callerDir() const { return path_ + "/caller"; }
    std::string lockFile() const { return path_ + "/webcheck.lock"; }
    std::string controlLog() const { return path_ + "/apachectl.log"; }
    std::string pkcheckLog() const { return callerDir() + "/pkcheck.log"; } // pkcheck runs as the caller
    std::string a2enmodLog() const { return path_ + "/a2enmod.log"; }

    void installSetUID() const; // root:root 04755
    // conf/ links to an ApacheSandbox's, which the control program and a2enmod drive.
    void driveApache(const std::string& serverRoot, const std::string& controlProgram) const;
    void setPkcheckExit(int code) const;
    void pretendSystemd() const;
    // In a child as root, before it takes a caller's ids: a mount namespace
    // where only box/ is reachable (else _exit(119)).
    void shareWithCaller() const;
    // Owned by uid, mode 0644, in callerDir().
    std::string callerFile(const std::string& name, const std::string& contents, uid_t uid = kNobody) const;

    struct Run {
        int status = -1; // exit status, or 128 + signal
        std::string out, err;
    };
    struct Options {
        uid_t uid = 0; // real and effective ids of the caller (gid = uid)
        std::vector<std::string> env;
        std::string input; // standard input, usually a token
        std::vector<std::string> wrapper; // programs that exec the tool (e.g. prlimit ...)
        std::function<void()> inChild; // in the child as the caller, just before execve
        std::function<void()> inCaller; // in the caller as root, before it takes the caller's ids
        bool callerToken = false; // the caller writes the token the tool expects instead of input
        std::optional<uid_t> tokenUid; // with callerToken: the uid it names, when not the caller's
    };
    // From a caller process with the caller's ids that reaps all handed to it:
    // the last status, within 60 s. rawArgv: args is argv exactly (empty: argc 0).
    Run run(const std::vector<std::string>& args, const Options& options, bool rawArgv = false) const;

    static std::string token(std::uint32_t pid, std::uint32_t uid, std::uint64_t start, std::uint32_t version = 1);
    static std::uint64_t startTime(pid_t pid);

private:
    // A script body after "#!/bin/sh"; empty: the logging stub.
    void setControlProgram(const std::string& body) const;

    std::string root_, path_;
};
