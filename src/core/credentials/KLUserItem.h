#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// One node of the groups tree: the root (no value), a group (its name and a
// children array, possibly empty) or a member (a user name, no children
// array). A node owns its children; its parent pointer is only a way back up.
class KLUserItem
{
public:
    using Children = std::vector<std::shared_ptr<KLUserItem>>;
    // Fills `names` with a group's member names from its line of the file,
    // as views into text the function keeps alive.
    using MemberNames = std::function<void(std::vector<std::string_view>& names)>;

    KLUserItem(std::optional<std::string> value, KLUserItem* parent, std::optional<Children> children);
    // A member of `group`, its name copied once.
    KLUserItem(std::string_view member, KLUserItem* group);
    static std::shared_ptr<KLUserItem> itemWithValue(std::optional<std::string> value, KLUserItem* parent,
                                                     std::optional<Children> children);

    // The group or user name; empty for the root.
    const std::string& value() const;
    void setValue(std::string value);
    KLUserItem* parent() const { return parent_; }
    void setParent(KLUserItem* parent) { parent_ = parent; }
    // Null for members. A group's members not yet read are read first.
    Children* children() { return group_ ? members() : nullptr; }
    const Children* children() const { return group_ ? members() : nullptr; }
    // Leaves a group's members unread until its children are first asked
    // for: most groups of a large file are never opened in a session.
    void setUnreadMembers(MemberNames read);
    // A group's member names, without making nodes for members not yet
    // read: a writer needs only the names. Valid until the group changes.
    void memberNames(std::vector<std::string_view>& names) const;
    // Appends members named so; the nodes of one call share one allocation.
    void addMembers(const std::vector<std::string_view>& names);
    // Fixed at creation: whether the node was made with a children array
    // (groups and the root), not whether it has any child.
    bool hasChildren() const { return hasChildren_; }

    // Orders by value, case-sensitively when "Case Sensitive Compare" is on.
    int compareTo(const KLUserItem& other) const;
    // The same with the setting read once by the caller (for sorts).
    int compareTo(const KLUserItem& other, bool caseSensitive) const;
    std::string description() const;

private:
    struct Group
    {
        Children members;
        // Until the members are read: where their names come from, and the
        // names once asked for.
        MemberNames unread;
        std::optional<std::vector<std::string_view>> unreadNames;
    };
    Children* members() const;
    const std::vector<std::string_view>& unreadNames() const;

    // Small, as a group of a thousand members holds a thousand of them.
    std::string value_;
    KLUserItem* parent_;
    std::unique_ptr<Group> group_;
    bool hasValue_;
    bool hasChildren_;
};
