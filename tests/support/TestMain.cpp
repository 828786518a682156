#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <unistd.h>

// Every test process gets its own HOME, settings folder and temporary folder,
// so no test reads or writes the developer's own settings.
int main(int argc, char** argv)
{
    std::string base = "/tmp/fendrel-test-XXXXXX";
    if (::mkdtemp(base.data())) {
        ::setenv("HOME", base.c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (base + "/.config").c_str(), 1);
        ::setenv("TMPDIR", base.c_str(), 1);
    }
    ::testing::InitGoogleTest(&argc, argv);
    int result = RUN_ALL_TESTS();
    if (!std::getenv("FENDREL_KEEP_TEST_HOME"))
        std::system(("rm -rf '" + base + "'").c_str());
    return result;
}
