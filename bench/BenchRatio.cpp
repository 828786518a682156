#include "BenchRatio.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <map>

extern char** environ;

namespace {

// Console output as usual, plus the real time per iteration of every run
// and of every aggregate ("name_median" when repeated).
class CollectingReporter : public benchmark::ConsoleReporter
{
public:
    std::map<std::string, double> seconds;

    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Aggregate || run.iterations > 0)
                seconds[run.benchmark_name()] = run.GetAdjustedRealTime();
        }
    }
};

} // namespace

bool runQuietly(const std::vector<std::string>& argv)
{
    std::vector<char*> args;
    for (const std::string& arg : argv)
        args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    int spawned = ::posix_spawn(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    return spawned == 0 && ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

int runBenchmarksWithRatios(int argc, char** argv, const std::vector<BenchComparison>& comparisons)
{
    // Repetitions of ours and of the reference take turns in random order,
    // so that a slow spell of the machine falls on both sides of a ratio.
    // A flag given on the command line comes later and wins.
    std::vector<char*> args(argv, argv + argc);
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    args.insert(args.begin() + 1, interleave.data());
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    int missing = 0;
    for (const BenchComparison& c : comparisons) {
        auto ours = reporter.seconds.find(c.ours);
        auto reference = reporter.seconds.find(c.reference);
        if (ours == reporter.seconds.end() || reference == reporter.seconds.end() || reference->second <= 0) {
            std::printf("ratio %s n/a\n", c.what.c_str());
            ++missing;
            continue;
        }
        std::printf("ratio %s %.3f\n", c.what.c_str(), ours->second / reference->second);
    }
    return missing == 0 ? 0 : 1;
}
