#pragma once

#include <ctime>
#include <string>
#include <sys/types.h>

struct stat;

// What a file looked like when this process last read or wrote it (device,
// inode, size, modification time to the nanosecond), so that a writer can
// tell whether another program changed it since. Equal stamps are trusted
// only when the modification time lies well before the stamp was taken: a
// change within the file system's clock tick of the read could keep them
// equal, so then the content has to decide.
class KLFileStamp
{
public:
    // A stamp of no file: anything found later differs from it.
    KLFileStamp() = default;
    // The file as it is now (a missing file is recorded as missing).
    static KLFileStamp of(const std::string& path);
    // An open file as it is now.
    static KLFileStamp of(int fd);

    // False only when the file is certainly as stamped.
    bool mayHaveChanged(const std::string& path) const;
    bool exists() const { return exists_; }
    // What the look at the file saw (links followed), so that a reader of
    // the file need not look again.
    mode_t mode() const { return mode_; }
    off_t size() const { return size_; }

private:
    // Clock first: the stamp is never taken later than the look.
    static KLFileStamp taken();
    void record(const struct stat& info);

    bool taken_ = false;
    bool exists_ = false;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    mode_t mode_ = 0;
    off_t size_ = 0;
    timespec modified_{};
    timespec takenAt_{};
};
