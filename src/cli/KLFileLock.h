#pragma once

#include <string>

// An advisory lock (flock) on a file or folder, held for the life of the
// object. Two fendrelctl processes that change the same users, groups or
// access files take it exclusively around their whole read-modify-write, so
// neither loses the other's change; readers take it shared.
class KLFileLock
{
public:
    enum class Mode { Shared, Exclusive };
    // Existing: the path must be there (the root folder). Created: a lock
    // file of its own, made with its folders when missing.
    enum class Opening { Existing, Created };

    // Waits for the lock. Throws KLCliError when the path cannot be opened.
    KLFileLock(const std::string& path, Mode mode, Opening opening = Opening::Existing);
    ~KLFileLock();
    KLFileLock(const KLFileLock&) = delete;
    KLFileLock& operator=(const KLFileLock&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
    int fd_ = -1;
};
