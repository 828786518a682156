#include "KLFolderAncestry.h"

#include <sys/stat.h>

bool KLFolderAncestry::enter(std::shared_ptr<const KLFolderAncestry>& ancestry, const std::string& path)
{
    struct stat st{};
    if (::stat(path.c_str(), &st) != 0)
        return true;
    if (ancestry && ancestry->contains(st.st_dev, st.st_ino))
        return false;
    ancestry = std::make_shared<const KLFolderAncestry>(st.st_dev, st.st_ino, ancestry);
    return true;
}

bool KLFolderAncestry::contains(dev_t device, ino_t inode) const
{
    for (const KLFolderAncestry* node = this; node; node = node->above_.get()) {
        if (node->device_ == device && node->inode_ == inode)
            return true;
    }
    return false;
}
