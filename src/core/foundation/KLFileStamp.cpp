#include "KLFileStamp.h"

#include <sys/stat.h>

namespace {

// Generous against coarse time stamps (some file systems keep whole seconds).
constexpr time_t kClockTickSeconds = 2;

bool operator==(const timespec& a, const timespec& b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

} // namespace

KLFileStamp KLFileStamp::taken()
{
    KLFileStamp stamp;
    stamp.taken_ = true;
    ::clock_gettime(CLOCK_REALTIME, &stamp.takenAt_);
    return stamp;
}

void KLFileStamp::record(const struct stat& info)
{
    exists_ = true;
    device_ = info.st_dev;
    inode_ = info.st_ino;
    mode_ = info.st_mode;
    size_ = info.st_size;
    modified_ = info.st_mtim;
}

KLFileStamp KLFileStamp::of(const std::string& path)
{
    KLFileStamp stamp = taken();
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0)
        stamp.record(info);
    return stamp;
}

KLFileStamp KLFileStamp::of(int fd)
{
    KLFileStamp stamp = taken();
    struct stat info {};
    if (::fstat(fd, &info) == 0)
        stamp.record(info);
    return stamp;
}

bool KLFileStamp::mayHaveChanged(const std::string& path) const
{
    KLFileStamp now = of(path);
    if (!taken_ || now.exists_ != exists_)
        return true;
    if (!exists_)
        return false;
    if (now.device_ != device_ || now.inode_ != inode_ || now.size_ != size_ || !(now.modified_ == modified_))
        return true;
    return modified_.tv_sec + kClockTickSeconds >= takenAt_.tv_sec;
}
