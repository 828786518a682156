#include "WebCheckFixture.h"

#include <csignal>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

// The token must name the process that started the tool, as the kernel sees
// it; any other token is refused before polkit is asked.
class WebCheckTokenTest : public WebCheckFixture
{
protected:
    WebCheckSandbox::Run ctlWithInput(uid_t uid, const std::string& input)
    {
        WebCheckSandbox::Options options;
        options.uid = uid;
        options.input = input;
        return box->run({"-mypath", box->tool(), "-operation", "ctl", "-data", "graceful"}, options);
    }
};

TEST_F(WebCheckTokenTest, ForeignShortAndGarbledTokensAreRefused)
{
    pid_t sibling = ::fork();
    if (sibling == 0) {
        ::pause();
        ::_exit(0);
    }
    std::uint32_t self = static_cast<std::uint32_t>(::getpid());
    std::uint64_t start = WebCheckSandbox::startTime(::getpid());
    for (uid_t uid : {kNobody, uid_t(0)}) {
        std::string good = WebCheckSandbox::token(self, uid, start);
        std::string garbled = good;
        garbled[3] = 'X';
        uid_t foreign = uid == 0 ? kNobody : 0;
        std::vector<std::pair<std::string, std::string>> cases = {
            {"no token", ""},
            {"short", good.substr(0, 31)},
            {"garbled magic", garbled},
            {"version 2", WebCheckSandbox::token(self, uid, start, 2)},
            {"pid 1", WebCheckSandbox::token(1, uid, WebCheckSandbox::startTime(1))},
            {"sibling", WebCheckSandbox::token(static_cast<std::uint32_t>(sibling), uid,
                                               WebCheckSandbox::startTime(sibling))},
            {"foreign uid", WebCheckSandbox::token(self, foreign, start)},
            {"start time", WebCheckSandbox::token(self, uid, start + 1)},
            {"zeros", std::string(32, '\0')},
        };
        for (const auto& [what, input] : cases) {
            auto result = ctlWithInput(uid, input);
            EXPECT_EQ(kTokenRefused, result.status) << "uid " << uid << ": " << what << " " << result.err;
        }
    }
    ::kill(sibling, SIGKILL);
    ::waitpid(sibling, nullptr, 0);
    EXPECT_FALSE(controlRan());
    EXPECT_FALSE(std::filesystem::exists(box->pkcheckLog())) << "polkit is asked only about a valid token";
}

TEST_F(WebCheckTokenTest, OwnTokenIsAccepted)
{
    auto result = ctl(kNobody, "graceful");
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_TRUE(controlRan());
}

TEST_F(WebCheckTokenTest, AHelperWhoseCallerExitedIsRefused)
{
    // The caller is a subreaper; the process that starts the tool leaves the
    // caller's process group and exits, so the tool is handed to the caller,
    // whose token it carries.
    for (uid_t uid : {kNobody, uid_t(0)}) {
        WebCheckSandbox::Options options;
        options.uid = uid;
        options.callerToken = true;
        options.inCaller = [] { ::prctl(PR_SET_CHILD_SUBREAPER, 1); };
        options.inChild = [] { ::setpgid(0, 0); };
        options.wrapper = {"/bin/sh", "-c", "(sleep 0.3; exec \"$0\" \"$@\") <&0 & exit 0"};
        auto result = box->run({"-mypath", box->tool(), "-operation", "ctl", "-data", "graceful"}, options);
        EXPECT_EQ(kTokenRefused, result.status) << "uid " << uid << ": " << result.err;
    }
    EXPECT_FALSE(controlRan());
}

TEST_F(WebCheckTokenTest, AHelperStartedForAnotherUserThanItsCallerIsRefused)
{
    // Root starts the tool as nobody with a token that names nobody: the
    // token and the tool agree, but the caller runs as someone else.
    WebCheckSandbox::Options options;
    options.callerToken = true;
    options.tokenUid = kNobody;
    options.wrapper = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    auto result = box->run({"-mypath", box->tool(), "-operation", "ctl", "-data", "graceful"}, options);
    EXPECT_EQ(kTokenRefused, result.status) << result.err;
    EXPECT_NE(result.err.find("the caller runs as another user"), std::string::npos) << result.err;
    EXPECT_FALSE(controlRan());
}
