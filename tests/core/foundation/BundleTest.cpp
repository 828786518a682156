#include "KLBundle.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

namespace {

// Sets an environment variable for one scope and puts the old value back.
struct ScopedEnvironment
{
    ScopedEnvironment(const char* name, const std::string& value) : name(name)
    {
        if (const char* was = std::getenv(name))
            old = was;
        ::setenv(name, value.c_str(), 1);
    }
    ~ScopedEnvironment() { old ? ::setenv(name, old->c_str(), 1) : ::unsetenv(name); }
    const char* name;
    std::optional<std::string> old;
};

TEST(BundleTest, ResourcesAndHelperComeFromTheOverrideOrTheTree)
{
    const KLBundle& bundle = KLBundle::main();
    {
        ScopedEnvironment unset("FENDREL_RESOURCES", "");
        // Run from the build tree, the shipped resources are found.
        auto shipped = bundle.pathForResource("errors", "plist");
        ASSERT_TRUE(shipped);
        EXPECT_EQ(*shipped, bundle.resourcePath() + "/errors.plist");
    }
    TempDir dir;
    std::string own = dir.write("errors.plist", "<plist/>");
    ScopedEnvironment resources("FENDREL_RESOURCES", dir.path());
    EXPECT_EQ(bundle.resourcePath(), dir.path());
    EXPECT_EQ(bundle.pathForResource("errors", "plist"), std::optional<std::string>(own));
    EXPECT_FALSE(bundle.pathForResource("credits", "html"));
    EXPECT_FALSE(bundle.pathForResource("errors", "xml"));

    // The helper override names only WebCheck.
    ScopedEnvironment helper("FENDREL_WEBCHECK", "/opt/test/WebCheck");
    EXPECT_EQ(KLBundle::main().pathForAuxiliaryExecutable("WebCheck"),
              std::optional<std::string>("/opt/test/WebCheck"));
    EXPECT_NE(KLBundle::main().pathForAuxiliaryExecutable("OtherTool"),
              std::optional<std::string>("/opt/test/WebCheck"));
}

} // namespace
