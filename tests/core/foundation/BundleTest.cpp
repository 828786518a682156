#include "KLBundle.h"
#include "TempDir.h"

#include <gtest/gtest.h>

TEST(BundleTest, ResourcesAndHelperComeFromTheOverrideOrTheTree)
{
    const KLBundle& bundle = KLBundle::main();
    // An empty override counts as none: run from the build tree, the shipped resources are found.
    ::setenv("FENDREL_RESOURCES", "", 1);
    EXPECT_EQ(bundle.pathForResource("errors", "plist"), bundle.resourcePath() + "/errors.plist");
    TempDir dir;
    std::string own = dir.write("errors.plist", "<plist/>");
    ::setenv("FENDREL_RESOURCES", dir.path().c_str(), 1);
    ::setenv("FENDREL_WEBCHECK", "/opt/test/WebCheck", 1);
    EXPECT_EQ(bundle.resourcePath(), dir.path());
    EXPECT_EQ(bundle.pathForResource("errors", "plist"), std::optional<std::string>(own));
    EXPECT_FALSE(bundle.pathForResource("credits", "html") || bundle.pathForResource("errors", "xml"));
    // The helper override names only WebCheck.
    EXPECT_EQ(bundle.pathForAuxiliaryExecutable("WebCheck"), std::optional<std::string>("/opt/test/WebCheck"));
    EXPECT_NE(bundle.pathForAuxiliaryExecutable("OtherTool"), std::optional<std::string>("/opt/test/WebCheck"));
    ::unsetenv("FENDREL_RESOURCES");
    ::unsetenv("FENDREL_WEBCHECK");
}
