#include "WebCheckFixture.h"

#include <sys/file.h>
#include <thread>

// Only the main file or users/<caller's login>.conf, not through links, for root too.
using WebCheckFileTest = WebCheckFixture;

TEST_F(WebCheckFileTest, OnlyTheMainFileAndUsersConfAreWritableAndNotThroughLinks)
{
    std::string conf = box->confDir(), main = WebCheckSandbox::mainConfName();
    fs::create_directories(conf + "/users/sub");
    for (const char* name : {"envvars", "users/alice.conf", "users/nobody.conf.bak", "users/.hidden.conf", "users/sub/x.conf"})
        std::ofstream(conf + "/" + name) << "# " << name << "\n";
    // For one caller a link or a FIFO, for the other another user's file.
    ::symlink(("../" + main).c_str(), (conf + "/users/nobody.conf").c_str());
    ::mkfifo((conf + "/users/root.conf").c_str(), 0644);
    std::string passwd = read("/etc/passwd"), before = read(box->mainConf());
    auto expectRefused = [&](const std::string& file, const std::string& why) {
        for (uid_t uid : kCallers) {
            std::string data = fs::is_regular_file(file) ? repairData(file, uid) : box->callerFile("data", "\n", uid);
            auto result = webcheck(uid, file, data);
            EXPECT_EQ(kFileRefused, result.status) << "uid " << uid << ": " << why << " " << result.err;
        }
    };
    for (const std::string& file : {conf + "/envvars", std::string("/etc/passwd"), main, "conf/" + main,
                                    conf + "/../" + fs::path(conf).filename().string() + "/" + main,
                                    conf + "/users/../" + main, conf + "//" + main, conf + "/./" + main,
                                    conf + "/users/alice.conf", conf + "/users/nobody.conf", conf + "/users/missing.conf",
                                    conf + "/users/.hidden.conf", conf + "/users/sub/x.conf", conf + "/users/.conf",
                                    conf + "/users/nobody.conf.bak", conf + "/users/root.conf", conf + "/" + main + ".bak"})
        expectRefused(file, file);

    EXPECT_EQ(passwd, read("/etc/passwd"));
    EXPECT_EQ(before, read(box->mainConf()));
    EXPECT_EQ("# envvars\n", read(conf + "/envvars"));
    EXPECT_EQ("# users/alice.conf\n", read(conf + "/users/alice.conf"));
    EXPECT_TRUE(fs::is_symlink(conf + "/users/nobody.conf"));
    EXPECT_EQ((Names{}), strays(conf + "/users", {"alice.conf", ".hidden.conf", "sub", "nobody.conf",
                                                  "nobody.conf.bak", "root.conf"}));

    // The users folder and the main file as links to elsewhere.
    std::string elsewhere = box->path() + "/elsewhere";
    fs::create_directories(elsewhere);
    for (const char* name : {"/nobody.conf", "/root.conf"})
        std::ofstream(elsewhere + name) << "# elsewhere\n";
    fs::remove_all(conf + "/users");
    fs::remove(box->mainConf());
    ASSERT_EQ(0, ::symlink(elsewhere.c_str(), (conf + "/users").c_str()));
    ASSERT_EQ(0, ::symlink((elsewhere + "/nobody.conf").c_str(), box->mainConf().c_str()));
    for (const std::string& file : {conf + "/users/nobody.conf", conf + "/users/root.conf", box->mainConf()})
        expectRefused(file, "through a link");
    for (const char* name : {"/nobody.conf", "/root.conf"})
        EXPECT_EQ("# elsewhere\n", read(elsewhere + name));
    EXPECT_TRUE(fs::is_symlink(box->mainConf()));
}

TEST_F(WebCheckFileTest, DataIsAFileOfTheCallersOfAtMostOneMebibyte)
{
    std::string before = read(box->mainConf()), dir = box->callerDir();
    std::string link = dir + "/link", fifo = dir + "/fifo", folder = dir + "/folder";
    std::string rootOnly = box->path() + "/rootonly", hidden = rootOnly + "/data";
    ASSERT_EQ(0, ::mkdir(rootOnly.c_str(), 0700));
    std::ofstream(hidden) << before << "\n";
    ::symlink(box->callerFile("good", "ServerName good\n").c_str(), link.c_str());
    ::mkfifo(fifo.c_str(), 0644);
    fs::create_directories(folder);
    for (const std::string& path : {link, fifo, folder, hidden})
        ::lchown(path.c_str(), kNobody, kNobody);
    for (const std::string& data : {box->callerFile("rootowned", "ServerName root\n", 0), link, fifo, folder,
                                    box->callerFile("big", std::string(1024 * 1024 + 1, 'x')),
                                    box->callerFile("nul", std::string("Listen 80\n\0evil\n", 16)), std::string("caller/good"),
                                    std::string("/etc/shadow"), std::string("/dev/zero"), dir + "/missing", hidden}) {
        auto result = webcheck(kNobody, box->mainConf(), data);
        EXPECT_EQ(kDataRefused, result.status) << data << " " << result.err;
        EXPECT_TRUE(data != hidden || result.err.find("as the caller") != std::string::npos) << result.err;
    }
    EXPECT_EQ(before, read(box->mainConf()));
    EXPECT_EQ(Names{}, strays());

    // Root may enter the folder; exactly 1 MiB is accepted.
    ASSERT_EQ(0, ::chown(hidden.c_str(), 0, 0));
    auto result = webcheck(0, box->mainConf(), hidden);
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(before + "\n", read(box->mainConf()));
    std::string current(1024 * 1024 - 1, 'x');
    current.back() = '\n';
    std::ofstream(box->mainConf()) << current;
    result = webcheck(kNobody, box->mainConf(), box->callerFile("full", current + "\n"));
    EXPECT_EQ(0, result.status) << result.err;
    EXPECT_EQ(current + "\n", read(box->mainConf()));
}

TEST_F(WebCheckFileTest, OnlyTheRepairOfTheCurrentContentIsWrittenKeepingOwnerAndMode)
{
    std::string debian = read("/etc/apache2/apache2.conf");
    if (debian.find("AllowOverride None") == std::string::npos)
        GTEST_SKIP() << "no Debian apache2.conf";
    std::string users = "<Directory \"/home/ann/public_html/\">\n    AllowOverride None\n</Directory>\n";
    for (uid_t uid : kCallers) {
        std::string own = box->confDir() + "/users/" + (uid == 0 ? "root" : "nobody") + ".conf";
        for (const auto& [file, text] : {std::pair{box->mainConf(), debian}, std::pair{own, users}}) {
            std::ofstream(file) << text;
            // Owner, group and mode are kept, whoever they are.
            uid_t owner = uid == 0 ? 1000 : 0;
            gid_t group = uid == 0 ? 1000 : 4;
            mode_t mode = uid == 0 ? 0604 : 0640;
            ASSERT_EQ(0, ::chown(file.c_str(), owner, group));
            ASSERT_EQ(0, ::chmod(file.c_str(), mode));
            std::string data = repairData(file, uid);
            auto result = webcheck(uid, file, data);
            EXPECT_EQ(0, result.status) << "uid " << uid << " " << file << ": " << result.err;
            EXPECT_EQ(read(data), read(file));
            EXPECT_NE(text + "\n", read(file)) << "nothing was repaired";
            expectStat(file, owner, group, mode);
        }
    }
    EXPECT_EQ(Names{}, strays(box->confDir() + "/users", {"root.conf", "nobody.conf"}));

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
        {"the current content", debian}, {"another line feed", repaired + "\n"},
        {"the repair of another file", "ServerName localhost\n\n"}, {"empty", ""},
    };
    for (uid_t uid : kCallers) {
        for (const auto& [what, data] : cases) {
            auto result = webcheck(uid, box->mainConf(), box->callerFile("data", data, uid));
            EXPECT_EQ(kNotARepair, result.status) << "uid " << uid << ": " << what << " " << result.err;
        }
    }
    EXPECT_EQ(debian, read(box->mainConf()));
    EXPECT_EQ(Names{}, strays());
}

TEST_F(WebCheckFileTest, AFailedWriteKeepsTheOldFileAndWritesTakeTurnsUnderARootOnlyLock)
{
    std::string big = std::string(8192, '#') + "\n";
    std::ofstream(box->mainConf()) << big;
    for (uid_t uid : kCallers) {
        auto result = webcheck(uid, box->mainConf(), repairData(box->mainConf(), uid), {"/usr/bin/prlimit", "--fsize=1000:"});
        EXPECT_EQ(kReplaceFailed, result.status) << "uid " << uid << ": " << result.err;
        EXPECT_NE(std::string::npos, result.err.find("unchanged")) << result.err;
        EXPECT_EQ(big, read(box->mainConf()));
        EXPECT_EQ(Names{}, strays());
    }

    std::string old = "ServerName localhost\n";
    std::ofstream(box->mainConf()) << old;
    std::string data = repairData(box->mainConf());
    int lock = ::open(box->lockFile().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    for (auto [mode, owner] : {std::pair{0644, 0u}, std::pair{0600, kNobody}}) {
        ASSERT_EQ(0, ::fchmod(lock, mode));
        ASSERT_EQ(0, ::fchown(lock, owner, owner));
        auto result = webcheck(kNobody, box->mainConf(), data);
        EXPECT_EQ(kReplaceFailed, result.status) << result.err;
        EXPECT_NE(std::string::npos, result.err.find("not a file of root's alone")) << result.err;
    }
    ASSERT_EQ(0, ::fchown(lock, 0, 0));
    ASSERT_EQ(0, ::flock(lock, LOCK_EX));
    auto given = webcheck(kNobody, box->mainConf(), data);
    EXPECT_EQ(kReplaceFailed, given.status) << "a holder that never lets go: the tool gives up " << given.err;
    EXPECT_EQ(old, read(box->mainConf()));
    EXPECT_EQ(Names{}, strays());

    int status = -1;
    std::thread writer([&] { status = webcheck(kNobody, box->mainConf(), data).status; });
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_EQ(old, read(box->mainConf())) << "replaced while another holder had the lock";
    ::flock(lock, LOCK_UN);
    ::close(lock);
    writer.join();
    EXPECT_EQ(0, status);
    EXPECT_EQ(old + "\n", read(box->mainConf()));

    // Made by the tool when missing, for root alone.
    ASSERT_EQ(0, ::unlink(box->lockFile().c_str()));
    ASSERT_EQ(0, webcheck(kNobody, box->mainConf(), repairData(box->mainConf(), kNobody, "first")).status);
    expectStat(box->lockFile(), 0, 0, 0600);
}
