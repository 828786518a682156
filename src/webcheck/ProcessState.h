#pragma once

#include <string>

// Gives this process, and so every program it starts, the state a server
// started at boot has, whatever the caller set: pid 1's resource limits and
// CPU affinity, the normal scheduling class at nice 0, no I/O priority,
// oom_score_adj 0 and the working folder /. Needs root; a hard limit that
// cannot be raised to pid 1's (no CAP_SYS_RESOURCE) stays, unless it is below
// what a server needs. Empty, or what failed.
std::string resetProcessState();
