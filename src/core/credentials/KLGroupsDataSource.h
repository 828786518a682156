#pragma once

#include "KLDiskCopy.h"
#include "KLNameIndex.h"
#include "KLNameSet.h"
#include "KLOutlineDataSource.h"
#include "KLUserItem.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class KLFSItem;

// The groups file ".htgroups" ("group: member member \n" per line) as a
// tree of KLUserItem nodes, and the groups outline over it: a text column
// "group" (group or member name) and a check box column "active" (the group
// may enter the selected folder). Users are added by dropping them from the
// users table onto a group.
class KLGroupsDataSource : public KLOutlineDataSource
{
public:
    static constexpr const char* kGroupColumn = "group";
    // Posted after each write of the groups file, the source as object.
    static constexpr const char* kGroupsFileDidChange = "KLGroupsFileDidChange";
    static constexpr const char* kActiveColumn = "active";
    // Removed from a new group name: a name is one word of the file.
    static constexpr const char* kRemovedFromNames = " :\t\r\n";

    // An empty tree, no file read.
    KLGroupsDataSource();
    // The names members must be among, asked for when a group's members are
    // first read, which is not when the file is read.
    using UserNames = std::function<const KLNameSet&()>;
    // initWithUsers: the tree read from the groups file, keeping only
    // members that are among `users`.
    static std::shared_ptr<KLGroupsDataSource> initWithUsers(UserNames users);
    static std::shared_ptr<KLGroupsDataSource> initWithUsers(KLNameSet users);

    // --- Groupfile ---
    KLUserItem* root() const { return root_.get(); }
    KLUserItem::Children& rootArray() { return *root_->children(); }
    std::vector<std::string> list() const;
    std::shared_ptr<KLUserItem> parseGroupfileWithUsers(const UserNames& users);
    // The reader's rules over decoded text; `isUser` says which member names
    // to keep.
    static std::shared_ptr<KLUserItem> parseGroups(std::string_view text,
                                                    const std::function<bool(std::string_view)>& isUser);
    static std::shared_ptr<KLUserItem> parseGroups(std::string_view text, const KLNameSet& users);
    static std::string groupfileText(const KLUserItem& root);
    // Atomically, in ASCII; false, keeping the old file, when a name is not
    // ASCII or the file cannot be written or was there but unreadable.
    bool writeGroupfile();
    // The groups were read against users that could not be read, so their
    // members are incomplete: the file is left as it is from now on.
    void setMembersIncomplete() { membersIncomplete_ = true; }
    // Whether another program changed, made, removed or spoilt the file
    // since it was last read or written here.
    bool fileChangedOnDisk() const;
    // A group named so in any letter case, other than the group whose name
    // is being edited in the outline.
    bool containsItem(const std::string& name) const;
    // Exact membership of a group name, for readers that filter names.
    bool hasGroup(const std::string& name) const;
    KLUserItem* addNewGroup(const std::string& name);
    // Orders the groups by name (the "Case Sensitive Compare" rule).
    void sortGroups();
    void removeUserFromGroups(const std::string& user);
    bool deleteRowForItem(KLListView& view, KLUserItem* item);
    KLFSItem* activeDirectory() const;

    KLListView* outlineView() const { return outlineView_; }
    void setOutlineView(KLListView* view) { outlineView_ = view; }
    // The outline's action (the pane's groupClick), sent when a group
    // collapses so that the pane follows the new selection.
    void setAction(std::function<void()> action) { action_ = std::move(action); }

    // --- Outline data ---
    int numberOfChildren(KLListView& view, KLItem item) override;
    KLItem child(KLListView& view, int index, KLItem item) override;
    bool isItemExpandable(KLListView& view, KLItem item) override;
    KLPlist objectValue(KLListView& view, const std::string& column, KLItem item) override;
    void setObjectValue(KLListView& view, const KLPlist& value, const std::string& column, KLItem item) override;

    // --- DelegateMethods ---
    bool shouldEdit(KLListView& view, const std::string& column, KLItem item) override;
    void willDisplayCell(KLListView& view, KLCell& cell, const std::string& column, KLItem item) override;
    bool hasTextValidation() const override { return true; }
    bool validateText(KLListView& view, const std::string& text) override;
    // With "Sort Groups" on, an accepted name sorts the groups while the
    // edited one still has its old name: it keeps its place until the next
    // sort.
    bool textShouldEndEditing(KLListView& view, const std::string& text) override;
    void itemWillCollapse(KLListView& view, KLItem item) override;

    // --- DragAndDrop ---
    bool writeItems(KLListView& view, const std::vector<KLItem>& items, KLPasteboard& pasteboard) override;
    KLDragOperation validateDrop(KLListView& view, const KLPasteboard& pasteboard, KLItem item,
                                 int childIndex) override;
    bool acceptDrop(KLListView& view, const KLPasteboard& pasteboard, KLItem item, int childIndex) override;
    // The member a drop of `pasteboard` on `item` adds, or nothing when the
    // drop is refused (not a group, a foreign name, already a member).
    std::optional<std::string> droppedMember(const KLPasteboard& pasteboard, KLItem item) const;

private:
    static KLUserItem* node(KLItem item) { return static_cast<KLUserItem*>(item); }
    // Removes the names that are not users from a member list.
    using MemberFilter = std::function<void(std::vector<std::string_view>& names)>;
    static std::shared_ptr<KLUserItem> parseGroups(std::string_view text, const MemberFilter& keepUsers);
    // The groups of `text`, each line's members handed to `add`
    // with their group.
    using MemberAdder = std::function<void(KLUserItem& group, std::string_view members)>;
    static std::shared_ptr<KLUserItem> readGroupLines(std::string_view text, const MemberAdder& add);
    // The member names of a group's line that `keepUsers` keeps.
    static void memberNames(std::string_view members, const MemberFilter& keepUsers,
                            std::vector<std::string_view>& names);
    // Built on first use after a change, each kind only when asked for.
    const KLNameIndex& names(KLNameIndex::Matching matching) const;
    void forgetNames();
    void reload();
    // Takes the node out of its parent's children and writes the file.
    void removeItem(KLUserItem* item);
    void setGroupValue(KLListView& view, const KLPlist& value, KLUserItem* group);
    void setGroupActive(bool on, KLUserItem* group);

    std::shared_ptr<KLUserItem> root_;
    KLListView* outlineView_ = nullptr;
    std::function<void()> action_;
    // Carries another program's edits of the file since it was last read or
    // written here into the groups before they are written.
    // False, reported, when the file on disk cannot be read.
    bool mergeChangesOnDisk(const std::string& path);

    bool unreadableFile_ = false;
    std::string readError_;
    KLDiskCopy disk_; // the file as last read or written here
    bool membersIncomplete_ = false;
    mutable std::optional<KLNameIndex> exactNames_;
    mutable std::optional<KLNameIndex> foldedNames_;
};
