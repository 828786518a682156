#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// A private copy of the test build of WebCheck (WebCheck_test) in box/ of a
// fresh folder /tmp/fendrel-webcheck-<pid of the test>-XXXXXX, mode 0700, so
// that only the test's caller processes (shareWithCaller()) reach it. It is
// removed with the object, on exit() and on SIGINT, SIGTERM, SIGABRT or
// SIGSEGV; sandboxes of test processes that are gone (killed) are removed
// when the next test makes its first. The test build finds its collaborators
// beside itself, which box/ provides:
//   WebCheck                 the copy (installSetUID() makes it root:root 04755)
//   apachectl                control program: by default a bash stub that appends
//                            its arguments, ids, umask, descriptors, blocked and
//                            ignored signals, file-size and descriptor limits and
//                            exact environment to controlLog(); setControlProgram()
//                            replaces it (e.g. to drive a private Apache)
//   pkcheck                  polkit stub: appends its arguments, "by <its uid>"
//                            and "for <the tool's parent pid>,<start time>" to
//                            pkcheckLog() and exits with setPkcheckExit()'s code
//                            (0 at first) when the --process subject is this
//                            test process or one of its descendants, else 1
//   a2enmod                  stub that appends its arguments to a2enmodLog();
//                            realA2enmod() runs Debian's on a copy of the
//                            machine's mods-available and mods-enabled in conf/
//   systemctl                stub that appends "systemctl: <arguments>" to
//                            controlLog(); used only where run-systemd-system
//                            exists (pretendSystemd())
//   conf/<main file>         the main configuration file (mainConf())
//   conf/users/              per-user configuration files
//   caller/                  a folder owned by nobody (65534) for caller files
//   webcheck.lock            the lock that keeps replacements apart (the tool
//                            makes it, root:root 0600, on its first replacement)
// Runs are bounded in time; the folder is removed with the object.
class WebCheckSandbox
{
public:
    static constexpr uid_t kNobody = 65534;

    // Tests that need root call this first: without root it reports a skip
    // and ends the process with 77 (CTest's SKIP_RETURN_CODE).
    static void exitUnlessRoot();
    static std::string testBuild();
    static std::string mainConfName();

    WebCheckSandbox();
    ~WebCheckSandbox();
    WebCheckSandbox(const WebCheckSandbox&) = delete;
    WebCheckSandbox& operator=(const WebCheckSandbox&) = delete;

    // box/, where the tool and everything beside it live.
    const std::string& path() const { return path_; }
    std::string tool() const { return path_ + "/WebCheck"; }
    std::string confDir() const { return path_ + "/conf"; }
    std::string mainConf() const { return confDir() + "/" + mainConfName(); }
    std::string callerDir() const { return path_ + "/caller"; }
    std::string lockFile() const { return path_ + "/webcheck.lock"; }
    std::string controlLog() const { return path_ + "/apachectl.log"; }
    // In caller/: pkcheck runs as the caller.
    std::string pkcheckLog() const { return callerDir() + "/pkcheck.log"; }
    std::string a2enmodLog() const { return path_ + "/a2enmod.log"; }

    void installSetUID() const;
    // A shell script body (after "#!/bin/sh") as the control program.
    void setControlProgram(const std::string& body) const;
    // For a private Apache (ApacheSandbox): conf/ becomes a symbolic link to
    // its configuration folder (the tool takes its configuration folder as it
    // stands and refuses links only below it), the control program runs the
    // sandbox's apachectl and a2enmod works on that folder, so -file is
    // <confDir()>/<main file> and ctl and module operations reach that server.
    void driveApache(const std::string& serverRoot, const std::string& controlProgram) const;
    // pkcheck's exit code; realPkcheck() hands the question to polkit itself.
    void setPkcheckExit(int code) const;
    void realPkcheck() const;
    void realA2enmod() const;
    void pretendSystemd() const;
    // In a child process running as root, before it takes a caller's ids:
    // a mount namespace of its own where the 0700 folder is a 0755 tmpfs
    // holding box/, so the caller and what it starts reach the sandbox at
    // the same paths and no other process does. Ends the process with 119
    // when that fails.
    void shareWithCaller() const;
    // Writes a file of the caller's (owned by uid, mode 0644) in callerDir().
    std::string callerFile(const std::string& name, const std::string& contents, uid_t uid = kNobody) const;

    struct Run {
        int status = -1; // exit status, or 128 + signal
        std::string out;
        std::string err;
    };
    struct Options {
        uid_t uid = 0; // real and effective ids of the caller (gid = uid)
        std::vector<std::string> env;
        std::string input; // standard input, usually a token
        std::vector<std::string> wrapper; // programs that exec the tool (e.g. prlimit ...)
        std::function<void()> inChild; // runs in the child as the caller, just before execve
        // Runs in the caller process as root before it takes the caller's ids.
        std::function<void()> inCaller;
        // The caller writes its own token (the one the tool expects from it)
        // instead of input.
        bool callerToken = false;
        // With callerToken: the uid the token names, when not the caller's.
        std::optional<uid_t> tokenUid;
    };
    // Runs the tool from a caller process: a child of this process with the
    // caller's ids (after shareWithCaller() when this process is root) that
    // starts the tool (through the wrapper, if any) and
    // reaps it and anything handed to it; the status is that of the last
    // process to end. argv excludes argv[0] unless rawArgv, which passes argv
    // exactly (empty: argc 0).
    Run run(const std::vector<std::string>& args, const Options& options, bool rawArgv = false) const;

    // The token the tool expects from this process for a caller uid.
    static std::string tokenFor(uid_t uid);
    static std::string token(std::uint32_t pid, std::uint32_t uid, std::uint64_t start, std::uint32_t version = 1);
    static std::uint64_t startTime(pid_t pid);

private:
    std::string root_;
    std::string path_;
};
