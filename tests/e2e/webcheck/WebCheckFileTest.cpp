#include "WebCheckFixture.h"

#include <sys/stat.h>
#include <unistd.h>

// -file names the main configuration file or users/<login>.conf of the
// caller's own login in the configuration folder, reached without symbolic
// links; nothing else, for an authorized caller and for root alike.
class WebCheckFileTest : public WebCheckFixture
{
protected:
    void expectRefused(const std::string& file, const std::string& why)
    {
        for (uid_t uid : {kNobody, uid_t(0)}) {
            std::string data = std::filesystem::is_regular_file(file) ? repairData(file, uid)
                                                                      : box->callerFile("data", "\n", uid);
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
    std::ofstream(conf + "/users/nobody.conf.bak") << "# bak\n";
    std::ofstream(conf + "/users/.hidden.conf") << "# hidden\n";
    std::filesystem::create_directories(conf + "/users/sub");
    std::ofstream(conf + "/users/sub/x.conf") << "# x\n";
    // For one caller a link or a FIFO, for the other another user's file.
    ::symlink(("../" + WebCheckSandbox::mainConfName()).c_str(), (conf + "/users/nobody.conf").c_str());
    ::mkfifo((conf + "/users/root.conf").c_str(), 0644);
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
    expectRefused(conf + "/users/alice.conf", "another user's file");
    expectRefused(conf + "/users/nobody.conf", "symlink");
    expectRefused(conf + "/users/missing.conf", "missing");
    expectRefused(conf + "/users/.hidden.conf", "hidden");
    expectRefused(conf + "/users/sub/x.conf", "deeper folder");
    expectRefused(conf + "/users/.conf", "empty name");
    expectRefused(conf + "/users/nobody.conf.bak", "other suffix");
    expectRefused(conf + "/users/root.conf", "FIFO");
    expectRefused(conf + "/" + WebCheckSandbox::mainConfName() + ".bak", "main file with a suffix");

    EXPECT_EQ(passwd, read("/etc/passwd"));
    EXPECT_EQ(main, read(box->mainConf()));
    EXPECT_EQ("export APACHE_RUN_USER=www-data\n", read(conf + "/envvars"));
    EXPECT_EQ("# alice\n", read(conf + "/users/alice.conf"));
    EXPECT_TRUE(std::filesystem::is_symlink(conf + "/users/nobody.conf"));
    EXPECT_EQ((std::vector<std::string>{}), strays(conf + "/users", {"alice.conf", ".hidden.conf", "sub", "nobody.conf",
                                                                     "nobody.conf.bak", "root.conf"}));
}

TEST_F(WebCheckFileTest, SymlinkedMainFileOrUsersFolderIsRefused)
{
    std::string conf = box->confDir();
    std::string elsewhere = box->path() + "/elsewhere";
    std::filesystem::create_directories(elsewhere);
    for (const char* name : {"nobody.conf", "root.conf"})
        std::ofstream(elsewhere + "/" + name) << "# elsewhere\n";
    std::filesystem::remove_all(conf + "/users");
    ASSERT_EQ(0, ::symlink(elsewhere.c_str(), (conf + "/users").c_str()));
    for (const char* name : {"nobody.conf", "root.conf"}) {
        expectRefused(conf + "/users/" + name, "symlinked users folder");
        EXPECT_EQ("# elsewhere\n", read(elsewhere + "/" + name));
    }

    std::filesystem::remove(box->mainConf());
    ASSERT_EQ(0, ::symlink((elsewhere + "/nobody.conf").c_str(), box->mainConf().c_str()));
    expectRefused(box->mainConf(), "symlinked main file");
    EXPECT_EQ("# elsewhere\n", read(elsewhere + "/nobody.conf"));
    EXPECT_TRUE(std::filesystem::is_symlink(box->mainConf()));
}
