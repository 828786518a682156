#include "WebCheckFixture.h"

#include <sys/stat.h>
#include <unistd.h>

// Anything but the documented argument lists is refused before the token is
// even read: nothing runs and polkit is not asked.
using WebCheckArgumentsTest = WebCheckFixture;

TEST_F(WebCheckArgumentsTest, ArgcZeroIsRefused)
{
    for (uid_t uid : {kNobody, uid_t(0)}) {
        WebCheckSandbox::Options options;
        options.uid = uid;
        options.callerToken = true;
        auto result = box->run({}, options, true);
        EXPECT_EQ(kUsage, result.status) << "uid " << uid << ": " << result.err;
    }
    EXPECT_FALSE(controlRan());
    EXPECT_FALSE(std::filesystem::exists(box->pkcheckLog()));
}

TEST_F(WebCheckArgumentsTest, UndocumentedListsAndCommandsAreRefused)
{
    std::string tool = box->tool();
    std::vector<std::vector<std::string>> lists = {
        {},
        {"-operation", "ctl", "-data", "start"},
        {"-operation", "ctl", "-mypath", tool, "-data", "start"},
        {"-mypath", tool, "-operation", "ctl", "-data", "start", "extra"},
        {"-mypath", tool, "-operation", "ctl", "-data"},
        {"-mypath", tool, "-operation", "rm", "-data", "start"},
        {"-mypath", tool, "-operation", "webcheck", "-data", box->mainConf()},
        {"-mypath", tool, "-operation", "webcheck", "-data", "x", "-file", box->mainConf()},
        {"-mypath", tool, "-operation", "ctl", "-data", "graceful;id"},
        {"-mypath", tool, "-operation", "ctl", "-data", "configtest"},
        {"-mypath", tool, "-operation", "ctl", "-data", "-k"},
        {"-mypath", tool, "-operation", "ctl", "-data", ""},
        {"-mypath", tool, "-operation", "ctl", "-data", "START"},
        {"-mypath", tool, "-operation", "ctl", "-data", "stop start"},
        {"-mypath", tool, "-operation", "ctl", "-data", "graceful\n"},
        {"-selfRepair", "NO", "-mypath", tool},
        {"--help", "-operation"},
    };
    for (uid_t uid : {kNobody, uid_t(0)}) {
        for (const auto& list : lists) {
            auto result = run(uid, list);
            std::string shown;
            for (const auto& a : list)
                shown += "[" + a + "]";
            EXPECT_EQ(kUsage, result.status) << "uid " << uid << " " << shown;
            EXPECT_NE(std::string::npos, result.err.find("WebCheck: ")) << shown;
        }
    }
    EXPECT_FALSE(controlRan());
    EXPECT_FALSE(std::filesystem::exists(box->pkcheckLog()));
}

TEST_F(WebCheckArgumentsTest, MypathMustBeThisProgram)
{
    std::string other = box->callerFile("WebCheck", "#!/bin/sh\n");
    // The tool itself, but where the caller cannot look.
    std::string hidden = box->path() + "/rootonly";
    ASSERT_EQ(0, ::mkdir(hidden.c_str(), 0700));
    ASSERT_EQ(0, ::link(box->tool().c_str(), (hidden + "/WebCheck").c_str()));
    for (const std::string& path : {std::string("/bin/sh"), other, box->path() + "/missing", hidden + "/WebCheck"}) {
        auto result = run(kNobody, {"-mypath", path, "-operation", "ctl", "-data", "start"});
        EXPECT_EQ(kUsage, result.status) << path;
    }
    EXPECT_FALSE(controlRan());
}

TEST_F(WebCheckArgumentsTest, HelpDocumentsFormsAndExitCodes)
{
    auto result = run(kNobody, {"--help"});
    EXPECT_EQ(0, result.status);
    for (const char* text : {"-operation webcheck -file", "-operation ctl -data start|stop|restart|graceful",
                             "-operation module -data NAME", "-selfRepair YES", "  3  the token", "  7  polkit",
                             "  9  no root rights", "  10 NAME", "  11 FILE is not the repair",
                             "modules: auth_basic authn_core authn_file authz_core authz_user authz_groupfile "
                             "authz_host access_compat userdir\n"})
        EXPECT_NE(std::string::npos, result.out.find(text)) << text;
    EXPECT_NE(std::string::npos, result.out.find("control program: " + box->path() + "/apachectl"));
    EXPECT_NE(std::string::npos, result.out.find("lock: " + box->lockFile()));
}
