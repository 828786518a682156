#include "KLBundle.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

TEST(WebCheckPolicyTest, PolicyValidatesAgainstPolkitsDtd)
{
    // polkit's own DTD, as polkitd installs it.
    std::string dtd;
    std::error_code ec;
    for (const char* folder : {"/usr/share/polkit-1", "/usr/local/share/polkit-1"})
        for (const auto& entry : std::filesystem::directory_iterator(folder, ec))
            if (entry.path().extension() == ".dtd")
                dtd = entry.path().string();
    ASSERT_FALSE(dtd.empty()) << "polkit's DTD is missing: install polkitd (scripts/install-deps)";
    auto xmllint = [&](const std::string& file) {
        return std::system(("xmllint --noout --nonet --dtdvalid '" + dtd + "' '" + file + "' 2>/dev/null").c_str());
    };
    auto policy = KLBundle::main().pathForResource("com.quillmoor.fendrel", "policy");
    ASSERT_TRUE(policy);
    EXPECT_EQ(0, xmllint(*policy));

    std::string text = readFile(*policy);
    // Each message says in plain words what its right allows.
    for (auto [right, allows] : {std::pair{"com.quillmoor.fendrel.webcheck", "repair the Apache web server configuration "
                                                                              "so that folder access files take effect, "
                                                                              "and to turn on the Apache modules they need"},
                                 std::pair{"com.quillmoor.fendrel.apachectl", "start, stop and restart the Apache web server"}}) {
        std::regex action(std::string("<action id=\"") + right + "\">[^]*?<message>[^<]*" + allows +
                          "[^]*?<allow_any>auth_admin_keep</allow_any>\\s*"
                          "<allow_inactive>auth_admin_keep</allow_inactive>\\s*"
                          "<allow_active>auth_admin_keep</allow_active>");
        EXPECT_TRUE(std::regex_search(text, action)) << right;
    }

    // The check itself must be able to fail: a policy without defaults.
    TempDir dir;
    std::string broken = dir.write("broken.policy", std::regex_replace(text, std::regex("<defaults>[^]*?</defaults>"), ""));
    EXPECT_NE(0, xmllint(broken));
}
