#pragma once

#include <string>
#include <vector>

// A comparison printed after the runs as `ratio <what> <ours/reference>`,
// both measured in the same process.
struct BenchComparison
{
    std::string what;
    std::string ours;      // benchmark name
    std::string reference; // benchmark name
};

int runBenchmarksWithRatios(int argc, char** argv, const std::vector<BenchComparison>& comparisons);

// Runs a program with its output thrown away; whether it exited with 0.
bool runQuietly(const std::vector<std::string>& argv);
