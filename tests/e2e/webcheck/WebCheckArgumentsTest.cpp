#include "WebCheckFixture.h"

#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>

// Refused before anything runs: no control program, no a2enmod, no polkit.
using WebCheckArgumentsTest = WebCheckFixture;

TEST_F(WebCheckArgumentsTest, UndocumentedListsCommandsAndModulesAreRefusedAndHelpDocumentsTheRest)
{
    std::string tool = box->tool(), hidden = box->path() + "/rootonly";
    std::vector<std::pair<Names, int>> cases = {
        {{}, kUsage}, {{"--help", "-operation"}, kUsage}, {{"-operation", "ctl", "-data", "start"}, kUsage},
        {{"-operation", "ctl", "-mypath", tool, "-data", "start"}, kUsage},
        {{"-mypath", tool, "-operation", "ctl", "-data", "start", "extra"}, kUsage},
        {{"-mypath", tool, "-operation", "ctl", "-data"}, kUsage},
        {{"-mypath", tool, "-operation", "rm", "-data", "start"}, kUsage},
        {{"-mypath", tool, "-operation", "webcheck", "-data", box->mainConf()}, kUsage},
        {{"-mypath", tool, "-operation", "webcheck", "-data", "x", "-file", box->mainConf()}, kUsage},
        {{"-selfRepair", "NO", "-mypath", tool}, kUsage},
    };
    for (const std::string& path : {std::string("/bin/sh"), box->callerFile("WebCheck", "#!/bin/sh\n"), hidden})
        cases.push_back({{"-mypath", path, "-operation", "ctl", "-data", "start"}, kUsage});
    for (const char* command : {"graceful;id", "configtest", "-k", "", "START", "stop start", "graceful\n"})
        cases.push_back({ctlArgs(command), kUsage});
    for (const char* name : {"php8.2", "cgi", "../x", "", "-f", "auth basic", "auth_basic ", "userdir\n", "USERDIR",
                             "mod_userdir", "userdir;id", "authz_core/../cgi"})
        cases.push_back({{"-mypath", tool, "-operation", "module", "-data", name}, kModuleRefused});
    for (uid_t uid : kCallers) {
        for (const auto& [args, status] : cases) {
            auto result = run(uid, args);
            EXPECT_EQ(status, result.status) << "uid " << uid << " " << ::testing::PrintToString(args);
            EXPECT_NE(std::string::npos, result.err.find("WebCheck: ")) << result.err;
        }
        EXPECT_EQ(kUsage, box->run({}, {.uid = uid, .callerToken = true}, true).status) << "argc 0, uid " << uid;
    }
    // The tool itself, but where the caller cannot look.
    ASSERT_EQ(0, ::mkdir(hidden.c_str(), 0700));
    ASSERT_EQ(0, ::link(tool.c_str(), (hidden + "/WebCheck").c_str()));
    EXPECT_EQ(kUsage, run(kNobody, {"-mypath", hidden + "/WebCheck", "-operation", "ctl", "-data", "start"}).status);
    EXPECT_FALSE(controlRan());
    EXPECT_FALSE(fs::exists(box->a2enmodLog()));
    EXPECT_FALSE(fs::exists(box->pkcheckLog()));

    auto result = run(kNobody, {"--help"});
    EXPECT_EQ(0, result.status);
    for (const std::string& text : Names{"-operation ctl -data start|stop|restart|graceful", "  11 FILE is not the repair",
          "modules: auth_basic authn_core authn_file authz_core authz_user authz_groupfile authz_host access_compat "
          "userdir\n",
          "control program: " + box->path() + "/apachectl", "lock: " + box->lockFile()})
        EXPECT_NE(std::string::npos, result.out.find(text)) << text;
}

TEST_F(WebCheckArgumentsTest, AFailingOrMissingA2enmodIsAControlFailure)
{
    std::ofstream(box->path() + "/a2enmod") << "#!/bin/sh\nexit 1\n";
    EXPECT_EQ(kControlFailed, module(0, "authz_groupfile").status);
    fs::remove(box->path() + "/a2enmod");
    EXPECT_EQ(kControlFailed, module(kNobody, "auth_basic").status);
}

// Only a token naming the tool's starter, as the kernel sees it, gets to polkit.
using WebCheckTokenTest = WebCheckFixture;

TEST_F(WebCheckTokenTest, ForeignShortGarbledAndHandedOverTokensAreRefused)
{
    pid_t sibling = ::fork();
    if (sibling == 0)
        for (;;)
            ::pause();
    auto self = static_cast<std::uint32_t>(::getpid());
    std::uint64_t start = WebCheckSandbox::startTime(::getpid());
    for (uid_t uid : kCallers) {
        std::string garbled = WebCheckSandbox::token(self, uid, start);
        garbled[3] = 'X';
        const std::pair<const char*, std::string> cases[] = {
            {"no token", ""}, {"zeros", std::string(32, '\0')}, {"garbled magic", garbled},
            {"short", WebCheckSandbox::token(self, uid, start).substr(0, 31)},
            {"version 2", WebCheckSandbox::token(self, uid, start, 2)},
            {"pid 1", WebCheckSandbox::token(1, uid, WebCheckSandbox::startTime(1))},
            {"sibling", WebCheckSandbox::token(sibling, uid, WebCheckSandbox::startTime(sibling))},
            {"foreign uid", WebCheckSandbox::token(self, uid == 0 ? kNobody : 0, start)},
            {"start time", WebCheckSandbox::token(self, uid, start + 1)},
        };
        for (const auto& [what, input] : cases) {
            auto result = box->run(ctlArgs("graceful"), {.uid = uid, .input = input});
            EXPECT_EQ(kTokenRefused, result.status) << "uid " << uid << ": " << what << " " << result.err;
        }
        // The starter exits, so the tool is handed to the caller (a subreaper), whose token it carries.
        auto result = box->run(ctlArgs("graceful"), {.uid = uid,
                                                     .wrapper = {"/bin/sh", "-c", "(sleep 0.3; exec \"$0\" \"$@\") <&0 & exit 0"},
                                                     .inChild = [] { ::setpgid(0, 0); },
                                                     .inCaller = [] { ::prctl(PR_SET_CHILD_SUBREAPER, 1); },
                                                     .callerToken = true});
        EXPECT_EQ(kTokenRefused, result.status) << "uid " << uid << ": handed over " << result.err;
    }
    ::kill(sibling, SIGKILL);
    ::waitpid(sibling, nullptr, 0);

    // Token and tool agree on nobody, but the caller runs as root.
    auto result = box->run(ctlArgs("graceful"), {.wrapper = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"},
                                                 .callerToken = true,
                                                 .tokenUid = kNobody});
    EXPECT_EQ(kTokenRefused, result.status) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("the caller runs as another user")) << result.err;
    EXPECT_FALSE(controlRan());
    EXPECT_FALSE(fs::exists(box->pkcheckLog())) << "polkit is asked only about a valid token";
}
