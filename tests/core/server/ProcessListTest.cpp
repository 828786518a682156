#include "KLProcessList.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

namespace {

TEST(ProcessListTest, NamesComeFromEveryNumericEntryOfTheGivenOrTheSystemsList)
{
    TempDir proc;
    proc.write("1/comm", "systemd\n");
    proc.write("42/comm", "httpd\n");
    proc.write("43/comm", "httpd-worker\n");
    proc.write("self/comm", "notapid\n");
    proc.write("44x/comm", "notapid\n");
    proc.mkdir("45"); // ended while the list was read
    std::vector<std::string> names = KLProcessList::allProcessNames(proc.path());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"httpd", "httpd-worker", "systemd"}));
    EXPECT_TRUE(KLProcessList::allProcessNames(proc.file("missing")).empty());
    std::string self;
    std::getline(std::ifstream("/proc/self/comm"), self);
    names = KLProcessList::allProcessNames();
    EXPECT_NE(std::find(names.begin(), names.end(), self), names.end()) << "this test, under its short name " << self;
    EXPECT_GT(names.size(), 1u);
}

} // namespace
