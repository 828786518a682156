#pragma once

#include <string>
#include <sys/types.h>

// The turn-taking of every writer of one protected folder root, across
// processes: an exclusive advisory lock (flock) on the root folder itself,
// the lock a fendrelctl run holds while it changes that root. Writers of the
// users, groups and access files hold it around their check-and-write.
// Within one process the lock is taken once: a writer inside a run that
// holds the root already (markHeld) does not wait for itself.
class KLRootLock
{
public:
    // Waits for the lock unless this process holds the root already. A root
    // that cannot be opened is not locked; the write that follows reports
    // its own failure.
    explicit KLRootLock(const std::string& root);
    ~KLRootLock();
    KLRootLock(const KLRootLock&) = delete;
    KLRootLock& operator=(const KLRootLock&) = delete;

    // For a holder that keeps its own descriptor on the root for longer.
    static void markHeld(const std::string& root, bool isHeld);

private:
    int fd_ = -1;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};
