#pragma once

#include <memory>
#include <string>
#include <sys/types.h>

// The folders a walk of the folder tree is inside of, by device and inode.
// A link to a folder leads into that folder, so a link to an ancestor would
// lead the walk round and round; the walk enters no folder twice on one
// branch. Branches share their common ancestors.
class KLFolderAncestry
{
public:
    KLFolderAncestry(dev_t device, ino_t inode, std::shared_ptr<const KLFolderAncestry> above)
        : device_(device), inode_(inode), above_(std::move(above))
    {
    }

    // Extends `ancestry` by the folder at `path` (links followed) and returns
    // true, or returns false when that folder is already in it. A folder that
    // cannot be examined is entered as it is: it has no children to list.
    static bool enter(std::shared_ptr<const KLFolderAncestry>& ancestry, const std::string& path);

private:
    bool contains(dev_t device, ino_t inode) const;

    dev_t device_;
    ino_t inode_;
    std::shared_ptr<const KLFolderAncestry> above_;
};
