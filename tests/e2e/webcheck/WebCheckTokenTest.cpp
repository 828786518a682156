#include "WebCheckFixture.h"

#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>

// The token must name the process that started the tool, as the kernel sees
// it; any other token is refused before polkit is asked.
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
            {"no token", ""},
            {"short", WebCheckSandbox::token(self, uid, start).substr(0, 31)},
            {"garbled magic", garbled},
            {"version 2", WebCheckSandbox::token(self, uid, start, 2)},
            {"pid 1", WebCheckSandbox::token(1, uid, WebCheckSandbox::startTime(1))},
            {"sibling", WebCheckSandbox::token(sibling, uid, WebCheckSandbox::startTime(sibling))},
            {"foreign uid", WebCheckSandbox::token(self, uid == 0 ? kNobody : 0, start)},
            {"start time", WebCheckSandbox::token(self, uid, start + 1)},
            {"zeros", std::string(32, '\0')},
        };
        WebCheckSandbox::Options options;
        options.uid = uid;
        for (const auto& [what, input] : cases) {
            options.input = input;
            auto result = box->run(ctlArgs("graceful"), options);
            EXPECT_EQ(kTokenRefused, result.status) << "uid " << uid << ": " << what << " " << result.err;
        }
        // The caller is a subreaper; the process that starts the tool leaves
        // its process group and exits, so the tool is handed to the caller,
        // whose token it carries.
        options.callerToken = true;
        options.inCaller = [] { ::prctl(PR_SET_CHILD_SUBREAPER, 1); };
        options.inChild = [] { ::setpgid(0, 0); };
        options.wrapper = {"/bin/sh", "-c", "(sleep 0.3; exec \"$0\" \"$@\") <&0 & exit 0"};
        auto result = box->run(ctlArgs("graceful"), options);
        EXPECT_EQ(kTokenRefused, result.status) << "uid " << uid << ": handed over " << result.err;
    }
    ::kill(sibling, SIGKILL);
    ::waitpid(sibling, nullptr, 0);

    // Root starts the tool as nobody with a token that names nobody: they
    // agree, but the caller runs as someone else.
    WebCheckSandbox::Options options;
    options.callerToken = true;
    options.tokenUid = kNobody;
    options.wrapper = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    auto result = box->run(ctlArgs("graceful"), options);
    EXPECT_EQ(kTokenRefused, result.status) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("the caller runs as another user")) << result.err;
    EXPECT_FALSE(controlRan());
    EXPECT_FALSE(fs::exists(box->pkcheckLog())) << "polkit is asked only about a valid token";
}
