#include "ProcessState.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// By resource number, as Linux numbers them.
constexpr const char* kLimitNames[] = {"cpu",     "fsize", "data",  "stack",      "core",     "rss",
                                       "nproc",   "nofile", "memlock", "as",       "locks",    "sigpending",
                                       "msgqueue", "nice",  "rtprio", "rttime"};
static_assert(sizeof kLimitNames / sizeof kLimitNames[0] == RLIM_NLIMITS);

// What a server needs at least, where a hard limit the caller lowered cannot
// be raised back to pid 1's (no CAP_SYS_RESOURCE, as in some containers).
struct Floor {
    int resource;
    rlim_t soft;
};
constexpr Floor kFloors[] = {
    {RLIMIT_CPU, RLIM_INFINITY},   {RLIMIT_FSIZE, RLIM_INFINITY}, {RLIMIT_DATA, RLIM_INFINITY},
    {RLIMIT_AS, RLIM_INFINITY},    {RLIMIT_STACK, 8 << 20},       {RLIMIT_NOFILE, 1024},
    {RLIMIT_LOCKS, RLIM_INFINITY}, {RLIMIT_RTTIME, RLIM_INFINITY},
};

rlim_t floorOf(int resource)
{
    for (const Floor& f : kFloors)
        if (f.resource == resource)
            return f.soft;
    return 0;
}

constexpr int kIoprioWhoProcess = 1;
constexpr int kIoprioNone = 0; // class "none", level 0: the kernel's default

std::string failed(const std::string& what) { return what + ": " + std::strerror(errno); }

} // namespace

std::string resetProcessState()
{
    for (int resource = 0; resource < RLIM_NLIMITS; ++resource) {
        auto r = static_cast<__rlimit_resource>(resource);
        rlimit system{}, own{};
        if (::prlimit(1, r, nullptr, &system) != 0 || ::getrlimit(r, &own) != 0)
            return failed(std::string("cannot read the resource limit ") + kLimitNames[resource]);
        if (::setrlimit(r, &system) == 0)
            continue;
        // The hard limit stays ours; refused when it is below what a server needs.
        rlimit kept{std::min(system.rlim_cur, own.rlim_max), own.rlim_max};
        if (own.rlim_max < floorOf(resource) || ::setrlimit(r, &kept) != 0)
            return std::string("cannot raise the caller's hard resource limit ") + kLimitNames[resource] + " (" +
                   std::to_string(own.rlim_max) + ")";
    }
    cpu_set_t cpus;
    if (::sched_getaffinity(1, sizeof cpus, &cpus) != 0 || ::sched_setaffinity(0, sizeof cpus, &cpus) != 0)
        return failed("cannot set the CPU affinity to pid 1's");
    sched_param normal{};
    if (::sched_setscheduler(0, SCHED_OTHER, &normal) != 0 || ::setpriority(PRIO_PROCESS, 0, 0) != 0)
        return failed("cannot reset the scheduling class and nice value");
    if (::syscall(SYS_ioprio_set, kIoprioWhoProcess, 0, kIoprioNone) != 0)
        return failed("cannot reset the I/O priority");
    int oom = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    bool oomReset = oom >= 0 && ::write(oom, "0", 1) == 1;
    if (oom >= 0)
        ::close(oom);
    if (!oomReset)
        return failed("cannot reset oom_score_adj");
    if (::chdir("/") != 0)
        return failed("cannot change to the folder /");
    return {};
}
