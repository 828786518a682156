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
    std::string current(1024 * 1024 - 1, 'x');
    current.back() = '\n';
    std::ofstream(box->mainConf()) << current;
    auto result = webcheck(kNobody, box->mainConf(), box->callerFile("full", current + "\n"));
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(current + "\n", read(box->mainConf()));
}

TEST_F(WebCheckDataTest, DataIsOpenedWithTheCallersRights)
{
    // The caller's own file, in a folder only root may enter: root could
    // open it, the caller cannot.
    std::string main = read(box->mainConf());
    std::string folder = box->path() + "/rootonly";
    ASSERT_EQ(0, ::mkdir(folder.c_str(), 0700));
    std::string data = folder + "/data";
    std::ofstream(data) << main << "\n";
    ASSERT_EQ(0, ::chown(data.c_str(), kNobody, kNobody));

    auto result = webcheck(kNobody, box->mainConf(), data);
    EXPECT_EQ(kDataRefused, result.status) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("as the caller")) << result.err;
    EXPECT_EQ(main, read(box->mainConf()));

    // The same file is taken from root, who may enter the folder.
    ASSERT_EQ(0, ::chown(data.c_str(), 0, 0));
    result = webcheck(0, box->mainConf(), data);
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(main + "\n", read(box->mainConf()));
}

TEST_F(WebCheckDataTest, OnlyTheRepairOfTheCurrentContentIsWritten)
{
    std::string debian = read("/etc/apache2/apache2.conf");
    if (debian.find("AllowOverride None") == std::string::npos)
        GTEST_SKIP() << "no Debian apache2.conf";
    // Accepted: the core's own repair of Debian's main file and of a users
    // file of the caller's.
    for (uid_t uid : {kNobody, uid_t(0)}) {
        std::string own = box->confDir() + "/users/" + (uid == 0 ? "root" : "nobody") + ".conf";
        std::string users = "<Directory \"/home/ann/public_html/\">\n    AllowOverride None\n</Directory>\n";
        for (const auto& [file, text] : {std::pair{box->mainConf(), debian}, std::pair{own, users}}) {
            std::ofstream(file) << text;
            std::string data = repairData(file, uid);
            auto result = webcheck(uid, file, data);
            EXPECT_EQ(0, result.status) << "uid " << uid << " " << file << ": " << result.err;
            EXPECT_EQ(read(data), read(file));
            EXPECT_NE(text + "\n", read(file)) << "nothing was repaired";
        }
    }

    // Refused: anything else, the file untouched.
    std::ofstream(box->mainConf()) << debian;
    std::string repaired = read(repairData(box->mainConf()));
    auto replaced = [&](const std::string& what, const std::string& with) {
        std::string text = repaired;
        return text.replace(text.find(what), what.size(), with);
    };
    const std::pair<const char*, std::string> cases[] = {
        {"a module added", repaired + "LoadModule evil_module /tmp/evil.so\n"},
        {"a piped error log", replaced("ErrorLog ", "ErrorLog \"|/usr/bin/id\" ")},
        {"a repaired line changed", replaced("AllowOverride All", "AllowOverride All Options=ExecCGI")},
        {"a line added in a block", replaced("AllowOverride All", "AllowOverride All\nOptions +ExecCGI")},
        {"a line removed", repaired.substr(repaired.find('\n') + 1)},
        {"the current content", debian},
        {"another line feed", repaired + "\n"},
        {"the repair of another file", "ServerName localhost\n\n"},
        {"empty", ""},
    };
    for (uid_t uid : {kNobody, uid_t(0)}) {
        for (const auto& [what, data] : cases) {
            auto result = webcheck(uid, box->mainConf(), box->callerFile("data", data, uid));
            EXPECT_EQ(kNotARepair, result.status) << "uid " << uid << ": " << what << " " << result.err;
        }
    }
    EXPECT_EQ(debian, read(box->mainConf()));
    EXPECT_EQ((std::vector<std::string>{}), strays(box->confDir(), {WebCheckSandbox::mainConfName(), "users"}));
}
