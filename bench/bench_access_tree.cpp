// Loading the children of a protected folder with 10,000 sub-folders, each
// holding a managed access file, while the pane knows 10,000 users and 1,000
// addresses; against listing the same folder and reading the same files raw.

#include "BenchRatio.h"

#include "KLFSItem.h"
#include "KLLog.h"
#include "KLPaneContext.h"

#include <benchmark/benchmark.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unordered_set>
#include <vector>

namespace {

constexpr int kFolders = 10000;
constexpr int kUsers = 10000;
constexpr int kAddresses = 1000;
constexpr int kGroups = 100;

std::string userName(int i)
{
    return "user" + std::to_string(i);
}

std::string address(int i)
{
    return "10." + std::to_string(i / 256) + "." + std::to_string(i % 256) + ".1";
}

// The pane as a real one answers: hashed names, a plain address list.
class BenchPaneContext : public KLPaneContext
{
public:
    std::string root;
    std::vector<std::string> userNames;
    std::vector<std::string> groupNames;
    std::unordered_set<std::string> userSet;
    std::unordered_set<std::string> groupSet;
    KLPlist::Array addressList;

    std::optional<std::string> fendrelLocation(int code) const override
    {
        if (code == kUsersFile)
            return root + "/.htusers";
        if (code == kGroupsFile)
            return root + "/.htgroups";
        if (code == kRoot)
            return root;
        return std::nullopt;
    }
    std::optional<std::string> adjustedFendrelLocation(int code) const override { return fendrelLocation(code); }
    std::optional<std::vector<std::string>> userArray() const override { return userNames; }
    std::optional<std::vector<std::string>> groupArray() const override { return groupNames; }
    bool hasUser(const std::string& name) const override { return userSet.count(name) > 0; }
    bool hasGroup(const std::string& name) const override { return groupSet.count(name) > 0; }
    KLUsersDataSource* users() const override { return nullptr; }
    KLPlist::Array& addresses() override { return addressList; }
    std::size_t indexOfAddress(const std::string& a) const override
    {
        for (std::size_t i = 0; i < addressList.size(); ++i) {
            if (addressList[i].description() == a)
                return i;
        }
        return kNotFound;
    }
    std::string addressAtIndex(std::size_t index) const override { return addressList.at(index).description(); }
    bool shouldDiscoverAddresses() const override { return true; }
    void setShouldDiscoverAddresses(bool) override {}
    KLFSItem* selectedItem() const override { return nullptr; }
    bool hasBeenManuallyEdited() const override { return false; }
    void deleteRow(KLListView*, int) override {}
    void userWasDeleted(const std::string&) override {}
    void replaceAddressAtIndex(std::size_t, const std::string&) override {}
    void addAddressesFromArray(const std::vector<std::string>&) override {}
    void webOutlineClick(void*) override {}
    void presentManualEditingErrorWithInvocation(KLInvocation) override {}
    void displayError(int) override {}
    void fileNotWritten(const std::string&, const std::string&) override {}
};

// The folder tree, made once and removed at exit.
struct Fixture
{
    BenchPaneContext pane;
    std::string root;

    Fixture()
    {
        // One line per item created and destroyed would swamp the output;
        // the log call itself is still made.
        KLSetLogSink([](const std::string&) {});
        std::string base = std::filesystem::temp_directory_path().string() + "/bench-access-XXXXXX";
        if (!::mkdtemp(base.data()))
            std::abort();
        root = base;
        pane.root = root;
        for (int i = 0; i < kUsers; ++i) {
            pane.userNames.push_back(userName(i));
            pane.userSet.insert(userName(i));
        }
        for (int i = 0; i < kGroups; ++i) {
            pane.groupNames.push_back("group" + std::to_string(i));
            pane.groupSet.insert(pane.groupNames.back());
        }
        for (int i = 0; i < kAddresses; ++i)
            pane.addressList.emplace_back(address(i));
        KLPaneContext::setShared(&pane);

        // Every kind of managed file, written by the model itself into a
        // template folder, then copied into the sub-folders.
        std::vector<std::string> texts;
        std::string templateFolder = root + "/template";
        std::filesystem::create_directories(templateFolder);
        for (int kind = 0; kind < 8; ++kind) {
            auto item = KLFSItem::create(templateFolder);
            KLPlist::Array users, allow, deny;
            for (int u = 0; u < 1 + kind; ++u)
                users.emplace_back(userName((kind * 1237 + u * 389) % kUsers));
            for (int a = 0; a < 1 + kind % 3; ++a) {
                allow.emplace_back(address((kind * 97 + a * 31) % kAddresses));
                deny.emplace_back(address((kind * 53 + a * 17) % kAddresses));
            }
            item->authDict()[KLFSItem::kRequireUser] = users;
            item->authDict()[KLFSItem::kRequireGroup] = KLPlist::stringArray({pane.groupNames[kind]});
            item->authDict()[KLFSItem::kAllowFrom] = allow;
            item->authDict()[KLFSItem::kDenyFrom] = deny;
            item->authDict()[KLFSItem::kAllowOrDeny] = kind % 2 == 0;
            static const std::int32_t statuses[] = {1, 2, 3, 7};
            item->setAuthStatus(statuses[kind % 4], kind == 5);
            texts.push_back(item->stringValue());
        }
        std::filesystem::remove_all(templateFolder);

        std::string tree = root + "/tree";
        for (int i = 0; i < kFolders; ++i) {
            std::string folder = tree + "/folder" + std::to_string(i);
            std::filesystem::create_directories(folder);
            std::ofstream(folder + "/.htaccess", std::ios::binary) << texts[static_cast<std::size_t>(i) % texts.size()];
        }
        root = tree;
    }

    ~Fixture()
    {
        KLPaneContext::setShared(nullptr);
        std::filesystem::remove_all(pane.root);
    }
};

Fixture& fixture()
{
    static Fixture f;
    return f;
}

void BM_LoadChildren(benchmark::State& state)
{
    Fixture& f = fixture();
    for (auto _ : state) {
        auto item = KLFSItem::create(f.root);
        benchmark::DoNotOptimize(item->numberOfChildren());
        if (item->numberOfChildren() != kFolders)
            state.SkipWithError("wrong number of children");
    }
}

// What any reader must do at least: list the folder, tell folders from files,
// read each access file.
void BM_ReadRaw(benchmark::State& state)
{
    Fixture& f = fixture();
    std::vector<char> buffer(1 << 16);
    for (auto _ : state) {
        std::size_t bytes = 0;
        DIR* dir = ::opendir(f.root.c_str());
        while (const dirent* entry = ::readdir(dir)) {
            std::string name = entry->d_name;
            if (name == "." || name == "..")
                continue;
            std::string path = f.root + "/" + name;
            struct stat st{};
            if (::stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
                continue;
            int fd = ::open((path + "/.htaccess").c_str(), O_RDONLY | O_CLOEXEC);
            if (fd < 0)
                continue;
            for (ssize_t n; (n = ::read(fd, buffer.data(), buffer.size())) > 0;)
                bytes += static_cast<std::size_t>(n);
            ::close(fd);
        }
        ::closedir(dir);
        benchmark::DoNotOptimize(bytes);
    }
}

} // namespace

// The median of nine: the machine is shared, and one disturbed run must
// not move the ratio.
BENCHMARK(BM_LoadChildren)->Unit(benchmark::kMillisecond)->Repetitions(9)->ReportAggregatesOnly();
BENCHMARK(BM_ReadRaw)->Unit(benchmark::kMillisecond)->Repetitions(9)->ReportAggregatesOnly();

int main(int argc, char** argv)
{
    fixture();
    return runBenchmarksWithRatios(
        argc, argv,
        {{"access_tree_load_vs_raw_read", "BM_LoadChildren/repeats:9_median", "BM_ReadRaw/repeats:9_median"}});
}
