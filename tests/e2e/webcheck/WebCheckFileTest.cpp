#include "WebCheckFixture.h"

#include <sys/stat.h>
#include <unistd.h>

// -file names the main configuration file or users/<name>.conf in the
// configuration folder, reached without symbolic links; nothing else, for
// an authorized caller and for root alike.
class WebCheckFileTest : public WebCheckFixture
{
protected:
    void expectRefused(const std::string& file, const std::string& why)
    {
        for (uid_t uid : {kNobody, uid_t(0)}) {
            std::string data = box->callerFile("data", "ServerName attacker\n", uid);
            auto result = webcheck(uid, file, data);
            EXPECT_EQ(kFileRefused, result.status) << "uid " << uid << ": " << why << " " << result.err;
        }
    }
};

TEST_F(WebCheckFileTest, OnlyTheMainFileAndUsersConfAreWritable)
{
    std::string conf = box->confDir();
    std::ofstream(conf + "/envvars") << "export APACHE_RUN_USER=www-data\n";
    std::ofstream(conf + "/users/alice.conf") << "# alice\n";
    std::ofstream(conf + "/users/.hidden.conf") << "# hidden\n";
    std::filesystem::create_directories(conf + "/users/sub");
    std::ofstream(conf + "/users/sub/x.conf") << "# x\n";
    ::symlink(("../" + WebCheckSandbox::mainConfName()).c_str(), (conf + "/users/link.conf").c_str());
    ::mkfifo((conf + "/users/fifo.conf").c_str(), 0644);
    std::string passwd = read("/etc/passwd");
    std::string main = read(box->mainConf());

    expectRefused(conf + "/envvars", "envvars");
    expectRefused("/etc/passwd", "/etc/passwd");
    expectRefused(conf + "/../" + std::filesystem::path(conf).filename().string() + "/" + WebCheckSandbox::mainConfName(),
                  "..");
    expectRefused(conf + "/users/../" + WebCheckSandbox::mainConfName(), "users/..");
    expectRefused(conf + "//" + WebCheckSandbox::mainConfName(), "//");
    expectRefused(conf + "/./" + WebCheckSandbox::mainConfName(), "/./");
    expectRefused(WebCheckSandbox::mainConfName(), "relative");
    expectRefused("conf/" + WebCheckSandbox::mainConfName(), "relative with folder");
    expectRefused(conf + "/users/link.conf", "symlink");
    expectRefused(conf + "/users/missing.conf", "missing");
    expectRefused(conf + "/users/.hidden.conf", "hidden");
    expectRefused(conf + "/users/sub/x.conf", "deeper folder");
    expectRefused(conf + "/users/.conf", "empty name");
    expectRefused(conf + "/users/alice.conf.bak", "other suffix");
    expectRefused(conf + "/users/fifo.conf", "FIFO");
    expectRefused(conf + "/" + WebCheckSandbox::mainConfName() + ".bak", "main file with a suffix");

    EXPECT_EQ(passwd, read("/etc/passwd"));
    EXPECT_EQ(main, read(box->mainConf()));
    EXPECT_EQ("export APACHE_RUN_USER=www-data\n", read(conf + "/envvars"));
    EXPECT_EQ("# alice\n", read(conf + "/users/alice.conf"));
    EXPECT_TRUE(std::filesystem::is_symlink(conf + "/users/link.conf"));
    EXPECT_EQ((std::vector<std::string>{}),
              strays(conf + "/users", {"alice.conf", ".hidden.conf", "sub", "link.conf", "fifo.conf"}));
}

TEST_F(WebCheckFileTest, SymlinkedMainFileOrUsersFolderIsRefused)
{
    std::string conf = box->confDir();
    std::string elsewhere = box->path() + "/elsewhere";
    std::filesystem::create_directories(elsewhere);
    std::ofstream(elsewhere + "/alice.conf") << "# elsewhere\n";
    std::filesystem::remove_all(conf + "/users");
    ASSERT_EQ(0, ::symlink(elsewhere.c_str(), (conf + "/users").c_str()));
    expectRefused(conf + "/users/alice.conf", "symlinked users folder");
    EXPECT_EQ("# elsewhere\n", read(elsewhere + "/alice.conf"));

    std::filesystem::remove(box->mainConf());
    ASSERT_EQ(0, ::symlink((elsewhere + "/alice.conf").c_str(), box->mainConf().c_str()));
    expectRefused(box->mainConf(), "symlinked main file");
    EXPECT_EQ("# elsewhere\n", read(elsewhere + "/alice.conf"));
    EXPECT_TRUE(std::filesystem::is_symlink(box->mainConf()));
}
