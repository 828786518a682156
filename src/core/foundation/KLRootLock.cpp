#include "KLRootLock.h"

#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

using FileId = std::pair<dev_t, ino_t>;

// Roots this process holds, by identity (a path may be spelled many ways),
// with how many holders each has.
std::mutex& heldMutex()
{
    static std::mutex mutex;
    return mutex;
}

std::multiset<FileId>& held()
{
    static std::multiset<FileId> roots;
    return roots;
}

bool identify(int fd, FileId& id)
{
    struct stat info {};
    if (::fstat(fd, &info) != 0)
        return false;
    id = {info.st_dev, info.st_ino};
    return true;
}

bool identify(const std::string& path, FileId& id)
{
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0)
        return false;
    id = {info.st_dev, info.st_ino};
    return true;
}

} // namespace

KLRootLock::KLRootLock(const std::string& root)
{
    int fd = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    FileId id;
    if (fd < 0 || !identify(fd, id)) {
        if (fd >= 0)
            ::close(fd);
        return;
    }
    {
        std::lock_guard<std::mutex> guard(heldMutex());
        if (held().contains(id)) {
            ::close(fd);
            return;
        }
    }
    while (::flock(fd, LOCK_EX) != 0 && errno == EINTR) {
    }
    fd_ = fd;
    device_ = id.first;
    inode_ = id.second;
    std::lock_guard<std::mutex> guard(heldMutex());
    held().insert(id);
}

KLRootLock::~KLRootLock()
{
    if (fd_ < 0)
        return;
    {
        std::lock_guard<std::mutex> guard(heldMutex());
        held().erase(held().find({device_, inode_}));
    }
    ::close(fd_);
}

void KLRootLock::markHeld(const std::string& root, bool isHeld)
{
    FileId id;
    if (!identify(root, id))
        return;
    std::lock_guard<std::mutex> guard(heldMutex());
    if (isHeld)
        held().insert(id);
    else if (auto it = held().find(id); it != held().end())
        held().erase(it);
}
