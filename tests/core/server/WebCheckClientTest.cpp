#include "KLAuthorization.h"
#include "KLFileExtensions.h"
#include "KLLog.h"
#include "KLWebCheckClient.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::uint64_t littleEndian(const KLAuthorization::ExternalForm& form, std::size_t offset, std::size_t width)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value |= static_cast<std::uint64_t>(form[offset + i]) << (8 * i);
    return value;
}

std::string writeScript(const TempDir& dir, const std::string& name, const std::string& body)
{
    std::string path = dir.write(name, "#!/bin/sh\n" + body);
    ::chmod(path.c_str(), 0755);
    return path;
}

} // namespace

TEST(WebCheckExternalFormTest, LayoutNamesThisProcessWhateverItsName)
{
    auto form = KLAuthorization::makeExternalForm();
    auto start = KLAuthorization::processStartTime(::getpid());
    ASSERT_TRUE(form && start);
    EXPECT_EQ(std::string(form->begin(), form->begin() + 4), "FNDR");
    EXPECT_EQ(std::tuple(littleEndian(*form, 4, 4), littleEndian(*form, 8, 4), littleEndian(*form, 12, 4),
                         littleEndian(*form, 16, 8)),
              std::tuple(1u, static_cast<std::uint64_t>(::getpid()), static_cast<std::uint64_t>(::getuid()), *start));
    auto second = KLAuthorization::makeExternalForm();
    ASSERT_TRUE(second);
    EXPECT_TRUE(std::equal(form->begin(), form->begin() + 24, second->begin())) << "only the random bytes differ";
    EXPECT_NE(littleEndian(*form, 24, 8), littleEndian(*second, 24, 8));

    // A name with spaces and parentheses shifts naively split fields.
    char name[16] = {};
    ::prctl(PR_GET_NAME, name);
    ::prctl(PR_SET_NAME, "a) 1 2 (b c");
    auto renamed = KLAuthorization::processStartTime(::getpid());
    ::prctl(PR_SET_NAME, name);
    EXPECT_EQ(renamed, start);
    pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    ::waitpid(child, nullptr, 0);
    EXPECT_FALSE(KLAuthorization::processStartTime(child)) << "a reaped process has no start time";
}

TEST(WebCheckClientTest, SetUIDMeansRootOwnedWithTheBit)
{
    TempDir dir;
    std::string tool = dir.write("WebCheck", "x"), link = dir.file("link");
    ASSERT_EQ(0, ::symlink(tool.c_str(), link.c_str()));
    KLWebCheckClient client(tool);
    EXPECT_FALSE(KLWebCheckClient(dir.file("missing")).isHelperSetUID());
    // As a user the file cannot be given to root.
    const struct {
        uid_t owner;
        mode_t mode;
        bool setUID;
    } cases[] = {{::getuid(), 04755, ::getuid() == 0}, {0, 04755, true}, {0, 0755, false}, {65534, 04755, false}};
    for (const auto& c : cases) {
        if (::getuid() != 0 && c.owner != ::getuid())
            continue;
        ASSERT_EQ(0, ::chown(tool.c_str(), c.owner, static_cast<gid_t>(-1)));
        ASSERT_EQ(0, ::chmod(tool.c_str(), c.mode));
        EXPECT_EQ(client.isHelperSetUID(), c.setUID) << c.owner << " " << c.mode;
        EXPECT_EQ(KLWebCheckClient(link).isHelperSetUID(), c.setUID) << "links are followed";
    }
}

TEST(WebCheckClientTest, ARefusedInstallOrAMissingToolRunsNothingAndIsLogged)
{
    TempDir dir;
    std::string tool = writeScript(dir, "WebCheck", "[ \"$1\" = -selfRepair ] && exit 126\ntouch '" + dir.file("ran") + "'\n");
    std::string pkexec = writeScript(dir, "pkexec", "exec \"$@\"\n");
    std::vector<std::string> logged;
    KLSetLogSink([&](const std::string& line) { logged.push_back(line); });
    EXPECT_EQ(KLWebCheckClient::kAuthorizationFailed,
              KLWebCheckClient(tool, pkexec).webcheckWithArgs({"-operation", "ctl", "-data", "stop"}));
    EXPECT_EQ(KLWebCheckClient::kAuthorizationFailed,
              KLWebCheckClient(dir.file("none"), dir.file("no-pkexec")).webcheckWithArgs({}));
    KLSetLogSink(nullptr);
    EXPECT_FALSE(fileExists(dir.file("ran")));
    ASSERT_EQ(2u, logged.size());
    EXPECT_EQ("Error 126: Authorization failed", logged[0]);
    EXPECT_NE(std::string::npos, logged[1].find("Authorization failed"));
}
