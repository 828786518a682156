#include "KLGroupsDataSource.h"

#include "KLAtomicFile.h"
#include "KLCollectionExtensions.h"
#include "KLFileExtensions.h"
#include "KLGroupsMerge.h"
#include "KLLog.h"
#include "KLNotificationCenter.h"
#include "KLPaneContext.h"
#include "KLRootLock.h"
#include "KLScanner.h"
#include "KLStringExtensions.h"
#include "KLTextFile.h"
#include "KLUserDefaults.h"

#include <algorithm>

namespace {

constexpr const char* kSortGroupsKey = "Sort Groups";

std::optional<std::string> groupsFilePath()
{
    KLPaneContext* pane = KLPaneContext::shared();
    return pane ? pane->fendrelLocation(KLPaneContext::kGroupsFile) : std::nullopt;
}

std::shared_ptr<KLUserItem> emptyRoot()
{
    return KLUserItem::itemWithValue(std::nullopt, nullptr, KLUserItem::Children{});
}

} // namespace

KLGroupsDataSource::KLGroupsDataSource() : root_(emptyRoot())
{
}

std::shared_ptr<KLGroupsDataSource> KLGroupsDataSource::initWithUsers(UserNames users)
{
    auto source = std::make_shared<KLGroupsDataSource>();
    source->root_ = source->parseGroupfileWithUsers(users);
    return source;
}

std::shared_ptr<KLGroupsDataSource> KLGroupsDataSource::initWithUsers(KLNameSet users)
{
    auto names = std::make_shared<const KLNameSet>(std::move(users));
    return initWithUsers([names]() -> const KLNameSet& { return *names; });
}

std::vector<std::string> KLGroupsDataSource::list() const
{
    std::vector<std::string> names;
    names.reserve(root_->children()->size());
    for (const auto& group : *root_->children())
        names.push_back(group->value());
    return names;
}

std::shared_ptr<KLUserItem> KLGroupsDataSource::parseGroupfileWithUsers(const UserNames& users)
{
    unreadableFile_ = false;
    forgetNames();
    std::optional<std::string> path = groupsFilePath();
    if (!path)
        return emptyRoot();
    const KLFileStamp stamp = KLFileStamp::of(*path);
    disk_.remember({}, stamp);
    if (!fileExists(*path))
        return emptyRoot();
    std::optional<std::string> text = KLTextFile::readEditable(*path);
    if (!text) {
        unreadableFile_ = true;
        readError_ = KLTextFile::lastError();
        KLLog("Fendrel: cannot read the groups file " + *path + " (" + readError_ + "); it will not be overwritten");
        return emptyRoot();
    }
    disk_.remember(std::move(*text), stamp);
    // Members are read group by group when first needed, from the text kept
    // for the next write; the names are asked for then.
    std::shared_ptr<const std::string> kept = disk_.sharedText();
    auto keepUsers = std::make_shared<const MemberFilter>(
        [users](std::vector<std::string_view>& names) { users().keepContained(names); });
    return readGroupLines(*kept, [&kept, &keepUsers](KLUserItem& group, std::string_view members) {
        group.setUnreadMembers([kept, members, keepUsers](std::vector<std::string_view>& names) {
            memberNames(members, *keepUsers, names);
        });
    });
}

std::shared_ptr<KLUserItem> KLGroupsDataSource::parseGroups(std::string_view text,
                                                            const std::function<bool(std::string_view)>& isUser)
{
    return parseGroups(text, [&isUser](std::vector<std::string_view>& names) {
        std::erase_if(names, [&isUser](std::string_view name) { return !isUser(name); });
    });
}

std::shared_ptr<KLUserItem> KLGroupsDataSource::parseGroups(std::string_view text, const KLNameSet& users)
{
    return parseGroups(text, [&users](std::vector<std::string_view>& names) { users.keepContained(names); });
}

std::shared_ptr<KLUserItem> KLGroupsDataSource::parseGroups(std::string_view text, const MemberFilter& keepUsers)
{
    std::vector<std::string_view> names;
    return readGroupLines(text, [&keepUsers, &names](KLUserItem& group, std::string_view members) {
        names.clear();
        memberNames(members, keepUsers, names);
        group.addMembers(names);
    });
}

std::shared_ptr<KLUserItem> KLGroupsDataSource::readGroupLines(std::string_view text, const MemberAdder& add)
{
    std::shared_ptr<KLUserItem> root = emptyRoot();
    KLScanner scanner(text, KLScanner::Skip::None);
    std::string name;
    std::string_view members;
    while (!scanner.isAtEnd()) {
        if (!scanner.scanUpToString(":", name)) {
            // A line that starts with ":" would hold the scanner in place.
            scanner.skipLine();
            continue;
        }
        if (stringByRemovingSurroundingWhitespace(name).empty()) {
            scanner.scanUpToString("\n");
            scanner.scanString("\n");
            continue;
        }
        // Kept untrimmed: a blank line before a group stays in its name, and
        // the writer puts it back.
        auto group = KLUserItem::itemWithValue(name, root.get(), KLUserItem::Children{});
        root->children()->push_back(group);
        scanner.scanString(":");
        members = {};
        scanner.scanUpToString("\n", members);
        scanner.scanString("\n");
        if (stringByRemovingSurroundingWhitespace(members).empty())
            continue;
        add(*group, members);
    }
    return root;
}

void KLGroupsDataSource::memberNames(std::string_view members, const MemberFilter& keepUsers,
                                     std::vector<std::string_view>& names)
{
    names.reserve(countOf(members, ' ') + 1);
    // Names are a few bytes long: a plain walk beats a search call per name.
    std::size_t start = 0;
    for (std::size_t i = 0; i < members.size(); ++i) {
        if (members[i] == ' ') {
            names.push_back(members.substr(start, i - start));
            start = i + 1;
        }
    }
    names.push_back(members.substr(start));
    keepUsers(names);
}

std::string KLGroupsDataSource::groupfileText(const KLUserItem& root)
{
    std::string text;
    std::vector<std::string_view> names;
    for (const auto& group : *root.children()) {
        names.clear();
        group->memberNames(names);
        std::size_t length = group->value().size() + 3;
        for (std::string_view name : names)
            length += name.size() + 1;
        std::size_t at = text.size();
        if (text.capacity() < at + length)
            text.reserve(std::max(2 * text.capacity(), at + length));
        // Filled through a pointer: a million appends would each check the
        // room.
        text.resize(at + length);
        char* out = text.data() + at;
        auto put = [&out](std::string_view piece, char after) {
            out = std::copy(piece.begin(), piece.end(), out);
            *out++ = after;
        };
        put(group->value(), ':');
        *out++ = ' ';
        // Every member, the last included, is followed by a space.
        for (std::string_view name : names)
            put(name, ' ');
        *out++ = '\n';
    }
    return text;
}

bool KLGroupsDataSource::writeGroupfile()
{
    forgetNames();
    std::optional<std::string> path = groupsFilePath();
    if (!path)
        return false;
    if (unreadableFile_) {
        KLPaneContext::reportFileNotWritten(*path, readError_);
        return false;
    }
    if (membersIncomplete_) {
        KLPaneContext::reportFileNotWritten(*path, "the users file could not be read");
        return false;
    }
    KLRootLock lock(stringByDeletingLastPathComponent(*path));
    if (!mergeChangesOnDisk(*path))
        return false;
    std::string text = groupfileText(*root_);
    if (!isASCII(text)) {
        KLLog("Fendrel: the groups file " + *path + " is not written: a group or member name is not ASCII");
        return false;
    }
    if (!KLAtomicFile::write(*path, text)) {
        KLLog("Fendrel: cannot write the groups file " + *path + ": " + KLAtomicFile::lastError());
        KLPaneContext::reportFileNotWritten(*path, KLAtomicFile::lastReason());
        return false;
    }
    disk_.remember(std::move(text), KLFileStamp::of(*path));
    KLNotificationCenter::defaultCenter().post(kGroupsFileDidChange, this);
    return true;
}

bool KLGroupsDataSource::mergeChangesOnDisk(const std::string& path)
{
    std::optional<std::string> theirs;
    if (!disk_.outsideText(path, theirs)) {
        KLPaneContext::reportFileNotWritten(path, KLTextFile::lastError());
        return false;
    }
    if (!theirs)
        return true;
    KLLog("Fendrel: the groups file " + path + " was changed by another program; its changes are kept");
    KLPaneContext* pane = KLPaneContext::shared();
    auto isUser = [pane](std::string_view name) { return !pane || pane->hasUser(std::string(name)); };
    std::shared_ptr<KLUserItem> merged = parseGroups(*theirs, isUser);
    KLGroupsMerge::mergeInto(*parseGroups(disk_.text(), isUser), *root_, *merged);
    // The outline keeps the root it was given: its groups are replaced.
    KLUserItem::Children& groups = *root_->children();
    groups = std::move(*merged->children());
    for (const auto& group : groups)
        group->setParent(root_.get());
    forgetNames();
    return true;
}

bool KLGroupsDataSource::fileChangedOnDisk() const
{
    std::optional<std::string> path = groupsFilePath();
    return path && disk_.changedOnDisk(*path, unreadableFile_);
}

const KLNameIndex& KLGroupsDataSource::names(KLNameIndex::Matching matching) const
{
    const KLUserItem::Children& groups = *root_->children();
    std::optional<KLNameIndex>& names = matching == KLNameIndex::Matching::Exact ? exactNames_ : foldedNames_;
    if (!names || names->size() != groups.size()) {
        names.emplace(matching);
        names->reserve(groups.size());
        for (const auto& group : groups)
            names->add(group->value());
    }
    return *names;
}

void KLGroupsDataSource::forgetNames()
{
    exactNames_.reset();
    foldedNames_.reset();
}

bool KLGroupsDataSource::containsItem(const std::string& name) const
{
    if (!names(KLNameIndex::Matching::IgnoringCase).contains(name))
        return false;
    KLUserItem* edited = nullptr;
    if (outlineView_ && outlineView_->editedRow() >= 0)
        edited = node(outlineView_->itemAtRow(outlineView_->editedRow()));
    if (!edited)
        return true;
    // Renaming a group to its own name in other letter case is allowed.
    return std::any_of(root_->children()->begin(), root_->children()->end(), [&](const auto& group) {
        return group.get() != edited && KLNameIndex::equalIgnoringCase(group->value(), name);
    });
}

bool KLGroupsDataSource::hasGroup(const std::string& name) const
{
    return names(KLNameIndex::Matching::Exact).contains(name);
}

KLUserItem* KLGroupsDataSource::addNewGroup(const std::string& name)
{
    auto group = KLUserItem::itemWithValue(name, root_.get(), KLUserItem::Children{});
    KLUserItem::Children& groups = rootArray();
    groups.push_back(group);
    forgetNames();
    if (KLUserDefaults::standardUserDefaults().boolForKey(kSortGroupsKey))
        sortGroups();
    return group.get();
}

void KLGroupsDataSource::sortGroups()
{
    bool caseSensitive = caseSensitiveCompare();
    KLUserItem::Children& groups = rootArray();
    std::stable_sort(groups.begin(), groups.end(),
                     [caseSensitive](const auto& a, const auto& b) { return a->compareTo(*b, caseSensitive) < 0; });
}

void KLGroupsDataSource::removeUserFromGroups(const std::string& user)
{
    std::string name = stringByRemovingSurroundingWhitespace(user);
    bool removed = false;
    // Copies: deleting a member changes the arrays being walked.
    KLUserItem::Children groups = rootArray();
    for (const auto& group : groups) {
        KLUserItem::Children members = *group->children();
        for (const auto& member : members) {
            if (member->value() != name)
                continue;
            removeItem(member.get());
            removed = true;
        }
    }
    if (removed)
        reload();
}

void KLGroupsDataSource::removeItem(KLUserItem* item)
{
    KLUserItem* parent = item->parent();
    if (!parent || !parent->children())
        return;
    KLUserItem::Children& siblings = *parent->children();
    auto it = std::find_if(siblings.begin(), siblings.end(), [item](const auto& child) { return child.get() == item; });
    if (it == siblings.end())
        return;
    siblings.erase(it);
    if (parent == root_.get())
        forgetNames();
    writeGroupfile();
}

bool KLGroupsDataSource::deleteRowForItem(KLListView& view, KLUserItem* item)
{
    if (!item)
        return false;
    removeItem(item);
    view.reloadData();
    return true;
}

void KLGroupsDataSource::reload()
{
    if (outlineView_)
        outlineView_->reloadData();
}

KLFSItem* KLGroupsDataSource::activeDirectory() const
{
    KLPaneContext* pane = KLPaneContext::shared();
    return pane ? pane->selectedItem() : nullptr;
}

int KLGroupsDataSource::numberOfChildren(KLListView&, KLItem item)
{
    const KLUserItem* parent = item ? node(item) : root_.get();
    return parent->children() ? static_cast<int>(parent->children()->size()) : 0;
}

KLItem KLGroupsDataSource::child(KLListView&, int index, KLItem item)
{
    KLUserItem* parent = item ? node(item) : root_.get();
    KLUserItem::Children* children = parent->children();
    if (!children || index < 0 || static_cast<std::size_t>(index) >= children->size())
        return nullptr;
    return (*children)[static_cast<std::size_t>(index)].get();
}

bool KLGroupsDataSource::isItemExpandable(KLListView&, KLItem item)
{
    return item && node(item)->hasChildren();
}

bool KLGroupsDataSource::shouldEdit(KLListView&, const std::string& column, KLItem item)
{
    if (column == kGroupColumn)
        return item && node(item)->hasChildren();
    return true;
}

bool KLGroupsDataSource::validateText(KLListView&, const std::string& text)
{
    if (stringByRemovingSurroundingWhitespace(text).empty())
        return false;
    if (containsItem(text))
        return false;
    return !KLScanner::containsWhitespaceOrNewline(text);
}

bool KLGroupsDataSource::textShouldEndEditing(KLListView& view, const std::string& text)
{
    if (!validateText(view, text))
        return false;
    if (KLUserDefaults::standardUserDefaults().boolForKey(kSortGroupsKey))
        sortGroups();
    return true;
}

void KLGroupsDataSource::itemWillCollapse(KLListView& view, KLItem item)
{
    // A member row that disappears cannot stay selected: the group takes
    // the selection and the pane hears of it.
    view.selectRow(view.rowForItem(item), false);
    if (action_)
        action_();
}

void KLGroupsDataSource::setGroupValue(KLListView& view, const KLPlist& value, KLUserItem* group)
{
    group->setValue(stringByRemovingCharactersInString(value.description(), kRemovedFromNames));
    forgetNames();
    writeGroupfile();
    view.reloadData();
}

bool KLGroupsDataSource::writeItems(KLListView&, const std::vector<KLItem>&, KLPasteboard&)
{
    return false;
}

KLDragOperation KLGroupsDataSource::validateDrop(KLListView&, const KLPasteboard& pasteboard, KLItem item, int)
{
    bool offersUser = pasteboard.stringForType(KLPasteboard::kFendrelUserType).has_value();
    if (offersUser && item && node(item)->hasChildren())
        return KLDragOperation::Copy;
    return KLDragOperation::None;
}

std::optional<std::string> KLGroupsDataSource::droppedMember(const KLPasteboard& pasteboard, KLItem item) const
{
    std::optional<std::string> dragged = pasteboard.stringForType(KLPasteboard::kFendrelUserType);
    KLUserItem* group = node(item);
    if (!dragged || !group || !group->children())
        return std::nullopt;
    // The users table sends "name:..."; only the name counts. Other programs
    // can offer the type too: a name that would split the member list or its
    // line is not one of ours.
    std::string name = dragged->substr(0, dragged->find(':'));
    if (name.empty() || KLScanner::containsWhitespaceOrNewline(name))
        return std::nullopt;
    const KLUserItem::Children& members = *group->children();
    if (std::any_of(members.begin(), members.end(), [&](const auto& member) { return member->value() == name; }))
        return std::nullopt;
    return name;
}

bool KLGroupsDataSource::acceptDrop(KLListView& view, const KLPasteboard& pasteboard, KLItem item, int childIndex)
{
    std::optional<std::string> name = droppedMember(pasteboard, item);
    if (!name)
        return false;
    KLUserItem* group = node(item);
    KLUserItem::Children& members = *group->children();
    std::size_t index = std::clamp<std::size_t>(static_cast<std::size_t>(std::max(childIndex, 0)), 0, members.size());
    members.insert(members.begin() + static_cast<std::ptrdiff_t>(index),
                   KLUserItem::itemWithValue(*name, group, std::nullopt));
    view.reloadData();
    writeGroupfile();
    return true;
}
