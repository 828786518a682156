#include "WebCheckFixture.h"

#include <sys/stat.h>
#include <unistd.h>

// -data is read as the caller: a regular file of the caller's, not through a
// symbolic link, at most 1 MiB, without NUL bytes.
class WebCheckDataTest : public WebCheckFixture
{
protected:
    void expectRefused(const std::string& data, const std::string& why)
    {
        auto result = webcheck(kNobody, box->mainConf(), data);
        EXPECT_EQ(kDataRefused, result.status) << why << " " << result.err;
    }
};

TEST_F(WebCheckDataTest, UnacceptableDataIsRefused)
{
    std::string main = read(box->mainConf());
    std::string good = box->callerFile("good", "ServerName good\n");
    std::string dir = box->callerDir();

    expectRefused(box->callerFile("rootowned", "ServerName root\n", 0), "owned by root");
    std::string link = dir + "/link";
    ::symlink(good.c_str(), link.c_str());
    ::lchown(link.c_str(), kNobody, kNobody);
    expectRefused(link, "symlink");
    std::string fifo = dir + "/fifo";
    ::mkfifo(fifo.c_str(), 0644);
    ::chown(fifo.c_str(), kNobody, kNobody);
    expectRefused(fifo, "FIFO");
    std::string folder = dir + "/folder";
    std::filesystem::create_directories(folder);
    ::chown(folder.c_str(), kNobody, kNobody);
    expectRefused(folder, "folder");
    expectRefused(box->callerFile("big", std::string(1024 * 1024 + 1, 'x')), "over 1 MiB");
    expectRefused(box->callerFile("nul", std::string("Listen 80\n\0evil\n", 16)), "NUL byte");
    expectRefused("caller/good", "relative");
    expectRefused("/etc/shadow", "unreadable for the caller");
    expectRefused("/dev/zero", "device");
    expectRefused(dir + "/missing", "missing");

    EXPECT_EQ(main, read(box->mainConf()));
    EXPECT_EQ((std::vector<std::string>{}), strays(box->confDir(), {WebCheckSandbox::mainConfName(), "users"}));
}

TEST_F(WebCheckDataTest, ExactlyOneMebibyteIsAccepted)
{
    std::string data(1024 * 1024, 'x');
    data.back() = '\n';
    auto result = webcheck(kNobody, box->mainConf(), box->callerFile("full", data));
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(data, read(box->mainConf()));
}

TEST_F(WebCheckDataTest, DataIsOpenedWithTheCallersRights)
{
    // The caller's own file, in a folder only root may enter: root could
    // open it, the caller cannot.
    std::string main = read(box->mainConf());
    std::string folder = box->path() + "/rootonly";
    ASSERT_EQ(0, ::mkdir(folder.c_str(), 0700));
    std::string data = folder + "/data";
    std::ofstream(data) << "ServerName hidden\n";
    ASSERT_EQ(0, ::chown(data.c_str(), kNobody, kNobody));

    auto result = webcheck(kNobody, box->mainConf(), data);
    EXPECT_EQ(kDataRefused, result.status) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("as the caller")) << result.err;
    EXPECT_EQ(main, read(box->mainConf()));

    // The same file is taken from root, who may enter the folder.
    ASSERT_EQ(0, ::chown(data.c_str(), 0, 0));
    result = webcheck(0, box->mainConf(), data);
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ("ServerName hidden\n", read(box->mainConf()));
}
