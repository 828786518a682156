#pragma once

#include <string>
#include <vector>

// The processes of the machine as the kernel lists them.
class KLProcessList
{
public:
    // The short command name of every process (/proc/<pid>/comm, at most 15
    // bytes, as the kernel truncates it). A process that ends while the list
    // is read is left out. procRoot lets tests read a prepared tree.
    static std::vector<std::string> allProcessNames(const std::string& procRoot = "/proc");
};
