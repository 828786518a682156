#pragma once

#include "KLAccessMerge.h"
#include "KLFileStamp.h"
#include "KLPlist.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// One folder of the protected folder tree with the access state of its
// access file ".htaccess": who must log in, which addresses are let in or
// kept out, whether both must hold, and the lines the system does not manage.
//
// Ownership: items live in shared_ptrs. A tree's children are owned by their
// parent and share the ownership of the item the tree was created from, so a
// shared_ptr to any item (shared()) keeps the item, its parents and its tree
// alive. An item created with a parent but outside loadChildren() keeps that
// parent alive on its own.
//
// Main thread only: parsing reads and extends the pane's lists.
class KLFSItem
{
    struct Passkey
    {
    };

public:
    // Keys of authDict(). List values are arrays of strings.
    static constexpr const char* kRequireUser = "Require user";
    static constexpr const char* kRequireGroup = "Require group";
    static constexpr const char* kAllowFrom = "Allow from";
    static constexpr const char* kDenyFrom = "Deny from";
    static constexpr const char* kAllowOrDeny = "Allow or Deny"; // true: allow-list mode
    static constexpr const char* kAuthType = "AuthType";
    // The pseudo-user "any user of the users file".
    static constexpr const char* kValidUser = "valid-user";
    // Stands in an empty list that is switched on, so that nobody gets in;
    // never a user, group or address, and dropped by every reader.
    static constexpr const char* kPlaceholder = "fendreled";
    static constexpr const char* kAccessFileName = ".htaccess";
    // Posted after every (re)load of the text, the item as object.
    static constexpr const char* kAccessFileDidChange = "KLAccessFileDidChange";

    // Bits of authStatus.
    static constexpr std::int32_t kPasswordBit = 1;
    static constexpr std::int32_t kAddressBit = 2;
    static constexpr std::int32_t kRequireAllBit = 4;

    // Creates the item for path and loads its access file. Without a parent
    // the item is a tree root and path its full path; with one, path's last
    // component names the folder inside the parent.
    static std::shared_ptr<KLFSItem> create(const std::string& path, std::shared_ptr<KLFSItem> parent = nullptr);
    // The item of the file system root "/".
    static std::shared_ptr<KLFSItem> create();

    KLFSItem(Passkey, const std::string& path, KLFSItem* parent);
    ~KLFSItem();
    KLFSItem(const KLFSItem&) = delete;
    KLFSItem& operator=(const KLFSItem&) = delete;

    // A shared_ptr to this item that keeps its whole tree alive.
    std::shared_ptr<KLFSItem> shared() const;
    // Null for a root.
    std::shared_ptr<KLFSItem> parent() const;

    // --- Reading ---------------------------------------------------------
    // The access file text last loaded or set.
    const std::string& stringValue() const { return accessText_; }
    // Replaces the text, parses it and posts kAccessFileDidChange.
    void setStringValue(std::string text);

    bool isPasswordProtected() const;
    bool isAddressProtected() const;
    bool requiresAll() const;
    bool isAuthenticationDisabled() const { return isDisabled_; }
    // The stored status, with the "all required" bit reported only together
    // with both the password and the address bits.
    std::int32_t authStatus() const;
    bool isAllowSet() const;
    // "Allow from" in allow-list mode, else "Deny from"; null when absent.
    KLPlist::Array* addressArray();
    const KLPlist::Array* addressArray() const;
    KLPlist::Dictionary& authDict() { return auth_; }
    const KLPlist::Dictionary& authDict() const { return auth_; }
    // Unmanaged lines in file order; commented ones with their "#".
    const std::vector<std::string>& userText() const { return userText_; }

    const std::string& relativePath() const { return relativePath_; }
    const std::string& fullPath() const { return fullPath_; }
    const std::string& accessPath() const { return accessPath_; }
    bool hasAccessFile() const;
    // Only basic authentication exists.
    bool secureMode() const { return false; }

    // "Path: ...\nEnabled? ...\nExpanded? ...\nAuth Mode: ..."
    std::string description() const;

    // --- Writing ---------------------------------------------------------
    // Replaces the access file with the managed block for the current state
    // (atomically, keeping owner, group and mode) and reloads the item from
    // it. Does nothing while authStatus() is 0. A failed write leaves the old
    // file; the item keeps its state in memory and nothing is announced.
    void writeAccessFile();
    void setAuthStatus(std::int32_t status, bool disable);
    void setAllow(bool allow);
    void setSecureMode(bool secure);
    // Removes the file and forgets the access state; the unmanaged lines stay
    // in memory and come back with the next write.
    void deleteAccessFile();
    // The text writeAccessFile() would write now.
    std::string accessFileText() const;
    // Whether another program changed, made or removed the access file
    // since this item last read or wrote it.
    bool accessFileChangedOnDisk() const;
    // Reads the access file again if accessFileChangedOnDisk(); a file that
    // went away leaves the item as one made without it. Whether it did.
    bool reloadIfChangedOnDisk();

    // --- Tree ------------------------------------------------------------
    // Loads the sub-folders on first use. Empty for a leaf.
    std::vector<KLFSItem*> children();
    // Whether the sub-folders have been listed (children() then loads nothing).
    bool hasLoadedChildren() const { return childState_ != ChildState::NotLoaded; }
    // -1 for a leaf.
    int numberOfChildren();
    KLFSItem* childAtIndex(int index);
    // Lists the sub-folders (symbolic links to folders included, hidden ones
    // too, in the file system's order) and creates their items.
    void loadChildren();

    // Which folders the outline had expanded, by full path, for the life of
    // the process.
    static bool expansionStateForItem(const KLFSItem& item);
    static void saveState(bool expanded, const KLFSItem& item);

private:
    static bool accessFileExists(const std::string& path);
    // Reads the access file; a child's through its parent's open folder
    // (folderFd), which is a shorter path to walk.
    void load(int folderFd);
    void parseAccessString();
    // Remembers the file as read or written here, for accessFileChangedOnDisk().
    void noteDiskText(bool exists, const KLFileStamp& stamp);
    // Puts the change made here on top of another program's edit of the file.
    // False, reported, when the file cannot be read and so not be merged.
    bool mergeChangesOnDisk();
    KLAccessState accessState() const;
    void setAccessState(KLAccessState state);
    const KLFSItem& root() const;

    enum class ChildState { NotLoaded, Loaded, Leaf };

    std::string relativePath_;
    std::string rootPath_; // roots only
    std::string fullPath_;
    std::string accessPath_;
    KLFSItem* parent_ = nullptr;
    std::shared_ptr<KLFSItem> heldParent_;    // a parent this item keeps alive itself
    std::weak_ptr<KLFSItem> anchor_;          // the shared_ptr that owns this item's tree
    std::vector<std::unique_ptr<KLFSItem>> children_;
    // Children of an earlier load: pointers to them stay valid.
    std::vector<std::unique_ptr<KLFSItem>> retired_;
    ChildState childState_ = ChildState::NotLoaded;
    KLPlist::Dictionary auth_;
    std::vector<std::string> userText_;
    std::string accessText_;
    std::string diskText_; // the file as last read or written here
    bool diskHadFile_ = false;
    bool unusableFile_ = false; // there, but too large, no text or unreadable
    KLFileStamp diskStamp_;
    std::int32_t authStatus_ = 0;
    bool isDisabled_ = true;
};
