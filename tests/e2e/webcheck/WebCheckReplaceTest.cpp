#include "WebCheckFixture.h"

#include <chrono>
#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <set>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

// A replaced configuration keeps owner, group and mode; a failed write keeps
// the old file and leaves no temporary file behind.
using WebCheckReplaceTest = WebCheckFixture;

namespace {
gid_t admGroup()
{
    struct group* adm = ::getgrnam("adm");
    return adm ? adm->gr_gid : 4;
}
} // namespace

TEST_F(WebCheckReplaceTest, ReplacedFilesKeepOwnerGroupAndMode)
{
    ASSERT_EQ(0, ::chown(box->mainConf().c_str(), 0, admGroup()));
    ASSERT_EQ(0, ::chmod(box->mainConf().c_str(), 0640));
    std::string alice = box->confDir() + "/users/alice.conf";
    std::ofstream(alice) << "# old\n";
    ASSERT_EQ(0, ::chown(alice.c_str(), 1000, 1000));
    ASSERT_EQ(0, ::chmod(alice.c_str(), 0604));

    std::string data = "<Directory />\n    AllowOverride All\n</Directory>\n";
    auto result = webcheck(kNobody, box->mainConf(), box->callerFile("data", data));
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(data, read(box->mainConf()));
    struct stat st{};
    ASSERT_EQ(0, ::stat(box->mainConf().c_str(), &st));
    EXPECT_EQ(0u, st.st_uid);
    EXPECT_EQ(admGroup(), st.st_gid);
    EXPECT_EQ(0640u, st.st_mode & 07777);

    result = webcheck(0, alice, box->callerFile("alice", "# new\n", 0));
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("# new\n", read(alice));
    ASSERT_EQ(0, ::stat(alice.c_str(), &st));
    EXPECT_EQ(1000u, st.st_uid);
    EXPECT_EQ(1000u, st.st_gid);
    EXPECT_EQ(0604u, st.st_mode & 07777);

    EXPECT_EQ((std::vector<std::string>{}), strays(box->confDir(), {WebCheckSandbox::mainConfName(), "users"}));
    EXPECT_EQ((std::vector<std::string>{}), strays(box->confDir() + "/users", {"alice.conf"}));
}

TEST_F(WebCheckReplaceTest, FailedWriteKeepsTheOldFileAndNoTemporary)
{
    std::string old = "ServerName old\n";
    std::ofstream(box->mainConf()) << old;
    std::string data = box->callerFile("data", std::string(8192, '#') + "\n");
    for (uid_t uid : {kNobody, uid_t(0)}) {
        ::chown(data.c_str(), uid, uid);
        WebCheckSandbox::Options options;
        options.uid = uid;
        options.input = WebCheckSandbox::tokenFor(uid);
        options.wrapper = {"/usr/bin/prlimit", "--fsize=1000"};
        auto result = box->run({"-mypath", box->tool(), "-operation", "webcheck", "-file", box->mainConf(), "-data",
                                data},
                               options);
        EXPECT_EQ(kReplaceFailed, result.status) << "uid " << uid << ": " << result.err;
        EXPECT_NE(std::string::npos, result.err.find("unchanged")) << result.err;
        EXPECT_EQ(old, read(box->mainConf()));
        EXPECT_EQ((std::vector<std::string>{}), strays(box->confDir(), {WebCheckSandbox::mainConfName(), "users"}));
    }
}

TEST_F(WebCheckReplaceTest, ConcurrentReplacementsLeaveOneWholeFile)
{
    constexpr int kWriters = 6;
    std::vector<std::string> contents;
    for (int i = 0; i < kWriters; ++i)
        contents.push_back(std::string(200000, static_cast<char>('a' + i)) + "\n");
    std::vector<std::string> files;
    for (int i = 0; i < kWriters; ++i)
        files.push_back(box->callerFile("data" + std::to_string(i), contents[i]));
    std::vector<int> statuses(kWriters, -1);
    std::vector<std::thread> writers;
    for (int i = 0; i < kWriters; ++i)
        writers.emplace_back([&, i] { statuses[i] = webcheck(kNobody, box->mainConf(), files[i]).status; });
    for (auto& w : writers)
        w.join();
    EXPECT_EQ(std::vector<int>(kWriters, 0), statuses);
    std::string final = read(box->mainConf());
    EXPECT_TRUE(std::find(contents.begin(), contents.end(), final) != contents.end()) << "mixed or torn content";
    EXPECT_EQ((std::vector<std::string>{}), strays(box->confDir(), {WebCheckSandbox::mainConfName(), "users"}));
}

TEST_F(WebCheckReplaceTest, ReplacementWaitsForTheFolderLock)
{
    std::string old = read(box->mainConf());
    std::string data = box->callerFile("data", "ServerName locked\n");
    int folder = ::open(box->confDir().c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_EQ(0, ::flock(folder, LOCK_EX));
    int status = -1;
    std::thread writer([&] { status = webcheck(kNobody, box->mainConf(), data).status; });
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(old, read(box->mainConf())) << "replaced while another holder had the lock";
    ::flock(folder, LOCK_UN);
    ::close(folder);
    writer.join();
    EXPECT_EQ(0, status);
    EXPECT_EQ("ServerName locked\n", read(box->mainConf()));
}
