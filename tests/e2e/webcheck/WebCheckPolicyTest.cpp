#include "KLBundle.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

TEST(WebCheckPolicyTest, PolicyValidatesAgainstPolkitsDtdAndSaysWhatEachRightAllows)
{
    std::string dtd;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator("/usr/share/polkit-1", ec))
        if (entry.path().extension() == ".dtd")
            dtd = entry.path().string();
    auto policy = KLBundle::main().pathForResource("com.quillmoor.fendrel", "policy");
    ASSERT_TRUE(policy && !dtd.empty()) << "polkit's DTD is missing: install polkitd (scripts/install-deps)";
    EXPECT_EQ(0, std::system(("xmllint --noout --nonet --dtdvalid '" + dtd + "' '" + *policy + "'").c_str()));
    for (std::string right : {"webcheck\">[^]*?<message>[^<]*repair the Apache web server configuration so that folder "
                              "access files take effect, and to turn on the Apache modules they need",
                              "apachectl\">[^]*?<message>[^<]*start, stop and restart the Apache web server"}) {
        std::regex action("<action id=\"com\\.quillmoor\\.fendrel\\." + right +
                          "[^]*?<allow_any>auth_admin_keep</allow_any>\\s*<allow_inactive>auth_admin_keep</allow_inactive>"
                          "\\s*<allow_active>auth_admin_keep</allow_active>");
        EXPECT_TRUE(std::regex_search(readFile(*policy), action)) << right;
    }
}
