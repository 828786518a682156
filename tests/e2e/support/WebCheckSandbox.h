#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// A private copy of the test build of WebCheck in box/ of a fresh 0700
// folder in /tmp, removed with the object. Beside it in box/, where the test
// build looks: stubs of apachectl (logs its arguments, ids, umask,
// descriptors, signals, limits, process state and environment to
// controlLog()), pkcheck (logs "<args> by <uid> for <tool's parent
// pid>,<start>" and exits with setPkcheckExit()'s code, 0 at first, for a
// subject of this test's, else 1), a2enmod and systemctl (log their
// arguments; systemctl is used only after pretendSystemd()); conf/ with the
// main file and users/; caller/, a folder of nobody's for caller files.
class WebCheckSandbox
{
public:
    static constexpr uid_t kNobody = 65534;

    // Without root: reports a skip and ends the process with 77 (CTest's SKIP).
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

    // Makes the copy root:root 04755.
    void installSetUID() const;
    // For a private Apache (ApacheSandbox): conf/ becomes a link to its
    // configuration folder, and the control program and a2enmod work on it.
    void driveApache(const std::string& serverRoot, const std::string& controlProgram) const;
    void setPkcheckExit(int code) const;
    // pkcheck hands the question to polkit itself; a2enmod is Debian's, on a
    // copy of the machine's mods-available and mods-enabled in conf/.
    void realPkcheck() const;
    void realA2enmod() const;
    void pretendSystemd() const;
    // In a child running as root, before it takes a caller's ids: a mount
    // namespace where the 0700 folder is a 0755 tmpfs holding box/, so only
    // the caller reaches the sandbox. Ends the process with 119 on failure.
    void shareWithCaller() const;
    // A file of the caller's (owned by uid, mode 0644) in callerDir().
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
    // Runs the tool (through the wrapper) from a caller process with the
    // caller's ids, which reaps it and anything handed to it: the status of
    // the last to end, within 60 s. argv excludes argv[0] unless rawArgv,
    // which passes it exactly (empty: argc 0).
    Run run(const std::vector<std::string>& args, const Options& options, bool rawArgv = false) const;

    static std::string token(std::uint32_t pid, std::uint32_t uid, std::uint64_t start, std::uint32_t version = 1);
    static std::uint64_t startTime(pid_t pid);

private:
    // A shell script body (after "#!/bin/sh") as the control program; empty: the logging stub.
    void setControlProgram(const std::string& body) const;

    std::string root_, path_;
};
