#pragma once

#include <map>
#include <string>

// Whether another program made, changed, moved or removed a file in some
// folders, or a folder itself (inotify). The owner asks on a timer of its
// run loop, so any run loop serves it without a descriptor hook.
class KLFileWatcher
{
public:
    KLFileWatcher();
    ~KLFileWatcher();
    KLFileWatcher(const KLFileWatcher&) = delete;
    KLFileWatcher& operator=(const KLFileWatcher&) = delete;

    // Adds a folder; one already watched, or one that cannot be watched, is
    // left as it is.
    void watchFolder(const std::string& folder);
    // Reads what the kernel reported since the last call: whether anything
    // happened in the watched folders.
    bool takeChanges();

private:
    int fd_ = -1;
    std::map<std::string, int> watches_;
};
