#include "WebCheckFixture.h"

// Anything but the documented argument lists and module names is refused
// before anything runs: no control program, no a2enmod, no polkit.
using WebCheckArgumentsTest = WebCheckFixture;

TEST_F(WebCheckArgumentsTest, UndocumentedListsCommandsAndModulesAreRefused)
{
    std::string tool = box->tool(), other = box->callerFile("WebCheck", "#!/bin/sh\n");
    // The tool itself, but where the caller cannot look.
    std::string hidden = box->path() + "/rootonly";
    ASSERT_EQ(0, ::mkdir(hidden.c_str(), 0700));
    ASSERT_EQ(0, ::link(tool.c_str(), (hidden + "/WebCheck").c_str()));
    const std::vector<std::string> control = {"graceful;id", "configtest", "-k", "", "START", "stop start",
                                              "graceful\n"};
    const std::vector<std::string> modules = {"php8.2",   "cgi",     "../x",        "",           "-f",
                                              "auth basic", "auth_basic ", "userdir\n", "USERDIR",
                                              "mod_userdir", "userdir;id", "authz_core/../cgi"};
    struct Case {
        std::vector<std::string> args;
        int status = kUsage;
        bool raw = false; // argv exactly as given: empty is argc 0
        bool nobodyOnly = false;
    };
    std::vector<Case> cases = {
        {{}, kUsage, true},
        {{}},
        {{"-operation", "ctl", "-data", "start"}},
        {{"-operation", "ctl", "-mypath", tool, "-data", "start"}},
        {{"-mypath", tool, "-operation", "ctl", "-data", "start", "extra"}},
        {{"-mypath", tool, "-operation", "ctl", "-data"}},
        {{"-mypath", tool, "-operation", "rm", "-data", "start"}},
        {{"-mypath", tool, "-operation", "webcheck", "-data", box->mainConf()}},
        {{"-mypath", tool, "-operation", "webcheck", "-data", "x", "-file", box->mainConf()}},
        {{"-selfRepair", "NO", "-mypath", tool}},
        {{"--help", "-operation"}},
    };
    for (const std::string& path : {std::string("/bin/sh"), other, box->path() + "/missing", hidden + "/WebCheck"})
        cases.push_back({{"-mypath", path, "-operation", "ctl", "-data", "start"}, kUsage, false, path == hidden + "/WebCheck"});
    for (const std::string& command : control)
        cases.push_back({ctlArgs(command)});
    for (const std::string& name : modules)
        cases.push_back({{"-mypath", tool, "-operation", "module", "-data", name}, kModuleRefused});
    for (uid_t uid : kCallers) {
        for (const Case& c : cases) {
            if (c.nobodyOnly && uid == 0)
                continue;
            std::string shown = "uid " + std::to_string(uid) + " ";
            for (const auto& a : c.args)
                shown += "[" + a + "]";
            WebCheckSandbox::Options options;
            options.uid = uid;
            options.callerToken = true;
            auto result = box->run(c.args, options, c.raw);
            EXPECT_EQ(c.status, result.status) << shown << " " << result.err;
            if (c.status == kUsage && !c.raw) {
                EXPECT_NE(std::string::npos, result.err.find("WebCheck: ")) << shown;
            }
        }
    }
    EXPECT_FALSE(controlRan());
    EXPECT_FALSE(fs::exists(box->a2enmodLog()));
    EXPECT_FALSE(fs::exists(box->pkcheckLog()));
}

TEST_F(WebCheckArgumentsTest, HelpDocumentsFormsAndExitCodes)
{
    auto result = run(kNobody, {"--help"});
    EXPECT_EQ(0, result.status);
    for (const std::string& text : Names{"-operation webcheck -file", "-operation ctl -data start|stop|restart|graceful", "-operation module -data NAME",
          "-selfRepair YES", "  3  the token", "  7  polkit", "  9  no root rights", "  10 NAME",
          "  11 FILE is not the repair",
          "modules: auth_basic authn_core authn_file authz_core authz_user authz_groupfile authz_host access_compat "
          "userdir\n",
          "control program: " + box->path() + "/apachectl", "lock: " + box->lockFile()})
        EXPECT_NE(std::string::npos, result.out.find(text)) << text;
}

TEST_F(WebCheckArgumentsTest, ListedModulesAreEnabledWithA2enmod)
{
    if (!fs::exists("/usr/sbin/a2enmod") || !fs::exists("/etc/apache2/mods-available"))
        GTEST_SKIP() << "Debian's apache2 is not installed";
    box->realA2enmod();
    fs::remove(box->confDir() + "/mods-enabled/userdir.load");
    auto result = module(kNobody, "userdir");
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_TRUE(fs::is_symlink(box->confDir() + "/mods-enabled/userdir.load"));
    EXPECT_EQ("userdir\n", read(box->a2enmodLog()));

    // a2enmod failing, or missing: 8.
    fs::remove(box->confDir() + "/mods-available/authz_groupfile.load");
    EXPECT_EQ(kControlFailed, module(0, "authz_groupfile").status);
    fs::remove(box->path() + "/a2enmod");
    EXPECT_EQ(kControlFailed, module(kNobody, "auth_basic").status);
}
