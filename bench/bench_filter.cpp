// Typing a name into the filter field of a 100,000-user table: the rows
// found for each keystroke, through the users source as the table asks it,
// against the plain way of folding and searching every name on every key.
#include "BenchRatio.h"
#include "KLNameFilter.h"
#include "KLUsersDataSource.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kUsers = 100000;
// What a user types, one keystroke at a time.
constexpr const char* kTyped = "User0421";

struct Fixture
{
    KLUsersDataSource users;
    std::vector<std::string> names;

    Fixture()
    {
        KLUserRecords list;
        for (int i = 0; i < kUsers; ++i) {
            char name[16];
            std::snprintf(name, sizeof name, "user%06d", i);
            names.emplace_back(name);
            list.push_back({names.back(), "abcdefghijklm"});
        }
        users.setRecords(std::move(list));
    }
};

Fixture& fixture()
{
    static Fixture f;
    return f;
}

void BM_FilterTyping(benchmark::State& state)
{
    Fixture& f = fixture();
    int rows = f.users.numberOfRows();
    auto nameAt = [&](int row) { return f.users.objectAtRow(row, KLUsersDataSource::kUserColumn).description(); };
    std::string typed = kTyped;
    for (auto _ : state) {
        KLNameFilter filter;
        for (std::size_t n = 1; n <= typed.size(); ++n)
            filter.setText(typed.substr(0, n), rows, nameAt);
        if (filter.count(rows) != 100)
            state.SkipWithError("wrong rows");
    }
}
BENCHMARK(BM_FilterTyping)->Unit(benchmark::kMillisecond);

// The reference: every keystroke lowers and searches every name.
void BM_FoldEveryNameEveryKey(benchmark::State& state)
{
    Fixture& f = fixture();
    std::string typed = kTyped;
    std::transform(typed.begin(), typed.end(), typed.begin(), [](char c) { return static_cast<char>(std::tolower(c)); });
    for (auto _ : state) {
        std::vector<int> rows;
        for (std::size_t n = 1; n <= typed.size(); ++n) {
            std::string text = typed.substr(0, n);
            rows.clear();
            for (std::size_t i = 0; i < f.names.size(); ++i) {
                std::string name = f.names[i];
                std::transform(name.begin(), name.end(), name.begin(),
                               [](char c) { return static_cast<char>(std::tolower(c)); });
                if (name.find(text) != std::string::npos)
                    rows.push_back(static_cast<int>(i));
            }
        }
        if (rows.size() != 100)
            state.SkipWithError("wrong rows");
    }
}
BENCHMARK(BM_FoldEveryNameEveryKey)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    fixture();
    return runBenchmarksWithRatios(argc, argv, {{"filter_typing_100k_users_vs_fold_every_name", "BM_FilterTyping",
                                                 "BM_FoldEveryNameEveryKey"}});
}
