// Reading, changing and writing the credential files at scale, against
// Apache's own htpasswd adding one user to the same 100,000-user file.
#include "BenchRatio.h"
#include "FendrelPref.h"
#include "KLGroupsDataSource.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"

#include <benchmark/benchmark.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr int kUsers = 100000;
constexpr int kGroups = 1000;
constexpr int kMembersPerGroup = 1000;
constexpr const char* kHtpasswd = "/usr/bin/htpasswd";

std::string userName(int i)
{
    char name[16];
    std::snprintf(name, sizeof name, "user%06d", i);
    return name;
}

// A private home, settings folder and web folder for the whole run.
struct Fixture
{
    std::string base;
    std::string web;
    std::string usersPath;
    std::string groupsPath;
    std::string usersText;
    std::string groupsText;
    std::vector<std::string> names;
    FendrelPref* pane = nullptr;

    Fixture()
    {
        base = "/tmp/fendrel-bench-XXXXXX";
        if (!::mkdtemp(base.data()))
            std::abort();
        ::setenv("HOME", base.c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (base + "/.config").c_str(), 1);
        web = base + "/web";
        ::mkdir(web.c_str(), 0755);
        usersPath = web + "/.htusers";
        groupsPath = web + "/.htgroups";
        pane = new FendrelPref;
        FendrelPref::setSharedInstance(pane);
        KLUserDefaults::standardUserDefaults().setInteger(2, "Fendrel Protected Folder");
        KLUserDefaults::standardUserDefaults().setObject(web, "Web Dir");

        std::string hash = KLPasswordHash().make("password", KLPasswordHash::Kind::DES).value();
        for (int i = 0; i < kUsers; ++i) {
            names.push_back(userName(i));
            usersText += names.back() + ":" + hash + "\n";
        }
        for (int g = 0; g < kGroups; ++g) {
            groupsText += "group" + std::to_string(g) + ": ";
            for (int m = 0; m < kMembersPerGroup; ++m)
                groupsText += names[static_cast<std::size_t>((g * 7919 + m * 97) % kUsers)] + " ";
            groupsText += "\n";
        }
    }

    ~Fixture()
    {
        FendrelPref::setSharedInstance(nullptr);
        delete pane;
        std::system(("rm -rf '" + base + "'").c_str());
    }

    static void put(const std::string& path, const std::string& text)
    {
        std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
    }
};

Fixture& fixture()
{
    static Fixture f;
    return f;
}

void BM_UsersReadAddWrite(benchmark::State& state)
{
    Fixture& f = fixture();
    Fixture::put(f.usersPath, f.usersText);
    int added = 0;
    for (auto _ : state) {
        auto users = KLUsersDataSource::initWithUserfile();
        std::string name = "new" + std::to_string(added++);
        if (users->containsItem(name))
            state.SkipWithError("name taken");
        users->records().push_back({name, KLPasswordHash().make("secret", KLPasswordHash::Kind::DES).value()});
        if (!users->writeUserfile())
            state.SkipWithError("write failed");
    }
}
BENCHMARK(BM_UsersReadAddWrite)->Unit(benchmark::kMillisecond);

void BM_GroupsReadAddWrite(benchmark::State& state)
{
    Fixture& f = fixture();
    Fixture::put(f.groupsPath, f.groupsText);
    int added = 0;
    for (auto _ : state) {
        auto groups = KLGroupsDataSource::initWithUsers(KLNameSet(f.names));
        if (groups->rootArray().size() < kGroups)
            state.SkipWithError("groups lost");
        groups->addNewGroup("extra" + std::to_string(added++));
        if (!groups->writeGroupfile())
            state.SkipWithError("write failed");
    }
}
BENCHMARK(BM_GroupsReadAddWrite)->Unit(benchmark::kMillisecond);

// The reference: htpasswd adds one user to the same file (DES crypt, as we
// write, so that both do the same hashing work).
void BM_HtpasswdAddUser(benchmark::State& state)
{
    Fixture& f = fixture();
    Fixture::put(f.usersPath, f.usersText);
    if (::access(kHtpasswd, X_OK) != 0) {
        state.SkipWithError("htpasswd (apache2-utils) is not installed");
        return;
    }
    int added = 0;
    for (auto _ : state) {
        std::string name = "ref" + std::to_string(added++);
        if (!runQuietly({kHtpasswd, "-b", "-d", f.usersPath, name, "secret"}))
            state.SkipWithError("htpasswd failed");
    }
}
BENCHMARK(BM_HtpasswdAddUser)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    fixture();
    return runBenchmarksWithRatios(argc, argv,
                                   {{"users_read_add_write_100k_vs_htpasswd", "BM_UsersReadAddWrite",
                                     "BM_HtpasswdAddUser"},
                                    {"groups_1000x1000_read_add_write_vs_htpasswd", "BM_GroupsReadAddWrite",
                                     "BM_HtpasswdAddUser"}});
}
