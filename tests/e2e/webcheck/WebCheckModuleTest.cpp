#include "WebCheckFixture.h"

#include <sys/stat.h>

// -operation module runs a2enmod with one name of the compiled-in list, for
// a caller holding the webcheck right; any other name runs nothing.
using WebCheckModuleTest = WebCheckFixture;

TEST_F(WebCheckModuleTest, NamesOutsideTheListRunNothing)
{
    for (uid_t uid : {kNobody, uid_t(0)}) {
        for (const char* name : {"php8.2", "cgi", "../x", "", "-f", "auth basic", "auth_basic ", "userdir\n",
                                 "USERDIR", "mod_userdir", "userdir;id", "authz_core/../cgi"}) {
            auto result = module(uid, name);
            EXPECT_EQ(kModuleRefused, result.status) << "uid " << uid << " [" << name << "] " << result.err;
        }
    }
    EXPECT_FALSE(std::filesystem::exists(box->a2enmodLog()));
    EXPECT_FALSE(std::filesystem::exists(box->pkcheckLog()));
}

TEST_F(WebCheckModuleTest, ListedModulesAreEnabledWithA2enmod)
{
    if (!std::filesystem::exists("/usr/sbin/a2enmod") || !std::filesystem::exists("/etc/apache2/mods-available"))
        GTEST_SKIP() << "Debian's apache2 is not installed";
    box->realA2enmod();
    std::filesystem::remove(box->confDir() + "/mods-enabled/userdir.load");
    auto result = module(kNobody, "userdir");
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_TRUE(std::filesystem::is_symlink(box->confDir() + "/mods-enabled/userdir.load"));
    EXPECT_EQ("userdir\n", read(box->a2enmodLog()));

    // a2enmod failing, or missing: 8.
    std::filesystem::remove(box->confDir() + "/mods-available/authz_groupfile.load");
    EXPECT_EQ(kControlFailed, module(0, "authz_groupfile").status);
    std::filesystem::remove(box->path() + "/a2enmod");
    EXPECT_EQ(kControlFailed, module(kNobody, "auth_basic").status);
}
