#include "KLFileLock.h"

#include "KLCliError.h"
#include "KLRootLock.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
constexpr const char* kCannotLock = "Cannot lock %s: %s";

std::string lockMessage(const std::string& path, int error)
{
    std::string text(kCannotLock);
    text.replace(text.find("%s"), 2, path);
    text.replace(text.find("%s"), 2, std::strerror(error));
    return text;
}

// Like mkdir -p, for the folder of a lock file; failures show when the file
// itself cannot be made.
void makeFoldersOf(const std::string& path)
{
    for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1))
        ::mkdir(path.substr(0, slash).c_str(), 0700);
}
} // namespace

KLFileLock::KLFileLock(const std::string& path, Mode mode, Opening opening) : path_(path)
{
    int flags = O_RDONLY | O_CLOEXEC;
    if (opening == Opening::Created) {
        makeFoldersOf(path);
        flags |= O_CREAT;
    }
    // A folder or a file alike; reading rights are enough for flock.
    fd_ = ::open(path.c_str(), flags, 0600);
    if (fd_ < 0)
        throw KLCliError(errno == ENOENT ? KLExitStatus::NotFound : KLExitStatus::Failure, lockMessage(path, errno));
    int operation = mode == Mode::Exclusive ? LOCK_EX : LOCK_SH;
    while (::flock(fd_, operation) != 0) {
        if (errno == EINTR)
            continue;
        int error = errno;
        ::close(fd_);
        fd_ = -1;
        throw KLCliError(KLExitStatus::Failure, lockMessage(path, error));
    }
    // The controller's own writers would otherwise wait for this very lock.
    KLRootLock::markHeld(path_, true);
}

KLFileLock::~KLFileLock()
{
    if (fd_ < 0)
        return;
    KLRootLock::markHeld(path_, false);
    ::close(fd_);
}
