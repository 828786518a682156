#include "KLFSItem.h"

#include "KLAddressLookup.h"
#include "KLFileExtensions.h"
#include "KLLog.h"
#include "KLNotificationCenter.h"
#include "KLStringExtensions.h"
#include "KLTextFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <unordered_map>

namespace {

constexpr const char* kCreatedFormat = "Created ";
constexpr const char* kDeallocedFormat = "Dealloced ";

// Mode names of description(), by stored status. 4 names both kinds
// although the writer and reader use 7 for that; kept as it always was.
const char* modeName(std::int32_t status)
{
    switch (status) {
    case 0:
        return "None";
    case 1:
        return "Password";
    case 2:
        return "Address";
    case 3:
        return "Password or Address";
    case 4:
        return "Password and Address";
    default:
        return "";
    }
}

std::unordered_map<std::string, bool>& expansionMemory()
{
    static std::unordered_map<std::string, bool> memory;
    return memory;
}

// The file system root's last component is empty; it goes by "/".
std::string folderName(const std::string& path)
{
    std::string name = lastPathComponent(path);
    return name.empty() ? std::string(1, '/') : name;
}

// The listing tells a folder from a file without a look at each entry;
// links (to folders or not) and file systems that give no type are looked at.
bool isListedFolder(const dirent& entry, const std::string& folder)
{
    if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN)
        return entry.d_type == DT_DIR;
    return isFolder(stringByAppendingPathComponent(folder, entry.d_name));
}

} // namespace

KLFSItem::KLFSItem(Passkey, const std::string& path, KLFSItem* parent)
    : relativePath_(folderName(path)), parent_(parent)
{
    if (parent_) {
        fullPath_ = stringByAppendingPathComponent(parent_->fullPath(), relativePath_);
    } else {
        rootPath_ = path;
        fullPath_ = rootPath_;
    }
    accessPath_ = stringByAppendingPathComponent(fullPath_, kAccessFileName);
}

KLFSItem::~KLFSItem()
{
    KLLog(kDeallocedFormat, relativePath_);
}

bool KLFSItem::accessFileExists(const std::string& path)
{
    // The web server follows a symbolic link to the access file; a link to
    // nothing is no access file to it, and so to the folder's state.
    struct stat st{};
    return ::stat(path.c_str(), &st) == 0;
}

std::shared_ptr<KLFSItem> KLFSItem::create(const std::string& path, std::shared_ptr<KLFSItem> parent)
{
    auto item = std::make_shared<KLFSItem>(Passkey{}, path, parent.get());
    item->heldParent_ = std::move(parent);
    item->anchor_ = item;
    item->load(AT_FDCWD);
    return item;
}

std::shared_ptr<KLFSItem> KLFSItem::create()
{
    return create("/");
}

void KLFSItem::load(int folderFd)
{
    // Opened first, so that one look at the open file tells whether there
    // is one (as accessFileExists would, following a link) and serves both
    // the stamp and the reader. Not blocking: a pipe cannot hold the open,
    // and the reader refuses what is no regular file. A file that exists
    // but cannot be opened is looked at by its path.
    std::string relative;
    if (folderFd != AT_FDCWD) {
        relative.reserve(relativePath_.size() + 1 + std::strlen(kAccessFileName));
        relative.append(relativePath_).append(1, '/').append(kAccessFileName);
    }
    const char* path = folderFd == AT_FDCWD ? accessPath_.c_str() : relative.c_str();
    const int fd = ::openat(folderFd, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    KLFileStamp stamp = fd >= 0 ? KLFileStamp::of(fd) : KLFileStamp::of(accessPath_);
    if (stamp.exists()) {
        // A file that cannot be used shows as none, and is never written over.
        std::optional<std::string> text =
            fd >= 0 ? KLTextFile::readEditable(fd, stamp) : KLTextFile::readEditable(accessPath_);
        unusableFile_ = !text;
        setStringValue(std::move(text).value_or(""));
        noteDiskText(true, stamp);
    } else {
        // A new item is in allow-list mode until its file says otherwise
        // (reading one starts the state afresh); the write this asks for
        // does nothing while the status is 0.
        setAllow(true);
    }
    if (fd >= 0)
        ::close(fd);
    KLLog(kCreatedFormat, relativePath_);
}

std::shared_ptr<KLFSItem> KLFSItem::shared() const
{
    return std::shared_ptr<KLFSItem>(anchor_.lock(), const_cast<KLFSItem*>(this));
}

std::shared_ptr<KLFSItem> KLFSItem::parent() const
{
    return parent_ ? parent_->shared() : nullptr;
}

void KLFSItem::setStringValue(std::string text)
{
    accessText_ = std::move(text);
    parseAccessString();
    static const std::string name = kAccessFileDidChange; // made once, not per post
    KLNotificationCenter::defaultCenter().post(name, this);
}

bool KLFSItem::isPasswordProtected() const
{
    return (authStatus_ & kPasswordBit) && !isDisabled_;
}

bool KLFSItem::isAddressProtected() const
{
    return (authStatus_ & kAddressBit) && !isDisabled_;
}

bool KLFSItem::requiresAll() const
{
    return (authStatus_ & kRequireAllBit) && !isDisabled_;
}

std::int32_t KLFSItem::authStatus() const
{
    constexpr std::int32_t both = kPasswordBit | kAddressBit;
    if ((authStatus_ & both) != both)
        return authStatus_ & ~kRequireAllBit;
    return authStatus_;
}

bool KLFSItem::isAllowSet() const
{
    auto it = auth_.find(kAllowOrDeny);
    return it != auth_.end() && it->second.boolReading().value_or(false);
}

KLPlist::Array* KLFSItem::addressArray()
{
    auto it = auth_.find(isAllowSet() ? kAllowFrom : kDenyFrom);
    return it == auth_.end() ? nullptr : it->second.array();
}

const KLPlist::Array* KLFSItem::addressArray() const
{
    return const_cast<KLFSItem*>(this)->addressArray();
}

bool KLFSItem::hasAccessFile() const
{
    return accessFileExists(accessPath_);
}

std::string KLFSItem::description() const
{
    return "Path: " + accessPath_ + "\nEnabled? " + (isDisabled_ ? "NO" : "YES") + "\nExpanded? " +
           (expansionStateForItem(*this) ? "YES" : "NO") + "\nAuth Mode: " + modeName(authStatus_);
}

std::vector<KLFSItem*> KLFSItem::children()
{
    if (childState_ == ChildState::NotLoaded)
        loadChildren();
    std::vector<KLFSItem*> out;
    out.reserve(children_.size());
    for (const auto& child : children_)
        out.push_back(child.get());
    return out;
}

int KLFSItem::numberOfChildren()
{
    if (childState_ == ChildState::NotLoaded)
        loadChildren();
    return childState_ == ChildState::Leaf ? -1 : static_cast<int>(children_.size());
}

KLFSItem* KLFSItem::childAtIndex(int index)
{
    if (childState_ == ChildState::NotLoaded)
        loadChildren();
    if (index < 0 || static_cast<std::size_t>(index) >= children_.size())
        return nullptr;
    return children_[static_cast<std::size_t>(index)].get();
}

void KLFSItem::loadChildren()
{
    // Whoever still points at children of an earlier load keeps a valid item.
    for (auto& child : children_)
        retired_.push_back(std::move(child));
    children_.clear();

    if (isFolder(fullPath_)) {
        // Many access files in a row: the pane's addresses are hashed once.
        KLAddressLookup::Batch addressBatch;
        if (DIR* dir = ::opendir(fullPath_.c_str())) {
            while (const dirent* entry = ::readdir(dir)) {
                std::string name = entry->d_name;
                if (name == "." || name == "..")
                    continue;
                if (!isListedFolder(*entry, fullPath_))
                    continue;
                auto child = std::make_unique<KLFSItem>(Passkey{}, name, this);
                child->anchor_ = anchor_;
                KLFSItem* raw = child.get();
                children_.push_back(std::move(child));
                raw->load(::dirfd(dir));
            }
            ::closedir(dir);
        }
    }
    childState_ = children_.empty() ? ChildState::Leaf : ChildState::Loaded;
}

bool KLFSItem::expansionStateForItem(const KLFSItem& item)
{
    auto it = expansionMemory().find(item.fullPath());
    return it != expansionMemory().end() && it->second;
}

void KLFSItem::saveState(bool expanded, const KLFSItem& item)
{
    expansionMemory()[item.fullPath()] = expanded;
}
