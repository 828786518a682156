#include "KLCliController.h"

#include "KLAddressDataSource.h"
#include "KLBundle.h"
#include "KLCliError.h"
#include "KLFSDataSource.h"
#include "KLFSItem.h"
#include "KLFolderPath.h"
#include "KLGroupsDataSource.h"
#include "KLPlistJSON.h"
#include "KLStringExtensions.h"
#include "KLUserItem.h"
#include "KLUsersDataSource.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr const char* kNoSuchFolder = "No such folder: ";
constexpr const char* kNoSuchUser = "No such user: ";
constexpr const char* kNoSuchGroup = "No such group: ";
constexpr const char* kNoSuchMember = "No such member of group \"%g\": %u";
constexpr const char* kNoSuchAddress = "No such address: ";
constexpr const char* kNeedsConfirmation = "%s needs a confirmation: answer on a terminal or use --yes";
constexpr const char* kDeclined = "%s: cancelled, nothing changed";
constexpr const char* kProtectColumn = "protect";
constexpr const char* kAddressColumn = "address";
constexpr const char* kBadAddress = "Address \"%s\" cannot be used";
constexpr const char* kNoSource = "The pane gave no data source to ";

// A JSON string as nlohmann::json writes it; plain printable ASCII, most
// names, without building a JSON value.
void appendJSONString(std::string& text, std::string_view value)
{
    static constexpr std::array<bool, 256> kPlain = [] {
        std::array<bool, 256> table{};
        for (int c = 0x20; c < 0x7f; ++c)
            table[static_cast<std::size_t>(c)] = c != '"' && c != '\\';
        return table;
    }();
    bool plain = std::all_of(value.begin(), value.end(), [](char c) { return kPlain[static_cast<unsigned char>(c)]; });
    if (!plain) {
        text += nlohmann::json(value).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
        return;
    }
    text += '"';
    text += value;
    text += '"';
}

// The protection menu's entries, in menu order.
constexpr std::array<const char*, 5> kModeNames = {"none", "password", "address", "any", "all"};

std::string replaced(std::string text, const std::string& token, const std::string& value)
{
    text.replace(text.find(token), token.size(), value);
    return text;
}

nlohmann::json stringList(const KLPlist::Array* array)
{
    nlohmann::json list = nlohmann::json::array();
    if (array)
        for (const KLPlist& element : *array)
            list.push_back(element.description());
    return list;
}

} // namespace

KLCliController::KLCliController(const std::string& root, bool assumeYes) : root_(root), views_(assumeYes)
{
}

std::optional<std::string> KLCliController::fendrelLocation(int code) const
{
    if (root_.empty())
        return FendrelPref::fendrelLocation(code);
    switch (code) {
    case kUsersFile:
        return stringByAppendingPathComponent(root_, ".htusers");
    case kGroupsFile:
        return stringByAppendingPathComponent(root_, ".htgroups");
    case kRoot:
        return root_;
    default:
        return std::nullopt;
    }
}

void KLCliController::wake()
{
    initWithBundle(KLBundle::main());
    setOutlets(views_.outlets());
    // Folder, user and group commands need no web server controller.
    setApacheFactory([] { return std::shared_ptr<KLApacheController>(); });
    awakeFromNib();
}

void KLCliController::wakeForUpdates()
{
    initWithBundle(KLBundle::main());
    setOutlets(views_.outlets());
}

namespace {
template <class Source, class Base>
Source& sourceOf(Base* base, const char* view)
{
    if (auto* source = dynamic_cast<Source*>(base))
        return *source;
    throw KLCliError(KLExitStatus::Failure, std::string(kNoSource) + view);
}
} // namespace

KLFSDataSource& KLCliController::folderSource()
{
    return sourceOf<KLFSDataSource>(views_.webDirOutline.outlineDataSource(), "webDirOutline");
}

KLUsersDataSource& KLCliController::userSource()
{
    return sourceOf<KLUsersDataSource>(views_.userTable.tableDataSource(), "userTable");
}

KLGroupsDataSource& KLCliController::groupSource()
{
    return sourceOf<KLGroupsDataSource>(views_.groupOutline.outlineDataSource(), "groupOutline");
}

KLAddressDataSource& KLCliController::addressSource()
{
    return sourceOf<KLAddressDataSource>(views_.addressTable.tableDataSource(), "addressTable");
}

void KLCliController::addKnownAddress(const std::string& address)
{
    int beeps = views_.workspace.beeps();
    addAddress(nullptr);
    KLHeadlessListView& table = views_.addressTable;
    int row = table.editedRow();
    if (row < 0)
        throw KLCliError(KLExitStatus::Failure, replaced(kBadAddress, "%s", address));
    addressSource().setObjectValue(table, KLPlist(address), kAddressColumn, row);
    table.endEditing();
    if (views_.workspace.beeps() != beeps)
        throw KLCliError(KLExitStatus::Refused, replaced(kBadAddress, "%s", address));
}

KLFSItem& KLCliController::selectFolder(const std::string& folder)
{
    std::optional<std::vector<std::string>> names = KLFolderPath::componentsBelowRoot(rootPath(), folder);
    KLFSDataSource& source = folderSource();
    if (!names || !source.rootItem())
        throw KLCliError(KLExitStatus::NotFound, kNoSuchFolder + folder);
    KLHeadlessListView& outline = views_.webDirOutline;
    KLFSItem* item = source.rootItem();
    for (const std::string& name : *names) {
        KLFSItem* next = nullptr;
        int count = item->numberOfChildren();
        for (int i = 0; i < count && !next; ++i) {
            KLFSItem* child = item->childAtIndex(i);
            if (child->relativePath() == name)
                next = child;
        }
        if (!next)
            throw KLCliError(KLExitStatus::NotFound, kNoSuchFolder + folder);
        outline.expandItem(item);
        item = next;
    }
    outline.selectRow(outline.rowForItem(item), false);
    webOutlineClick(nullptr);
    return *item;
}

std::string KLCliController::displayPathOf(const KLFSItem& item) const
{
    std::vector<std::string> names;
    for (const KLFSItem* node = &item; node->parent(); node = node->parent().get())
        names.insert(names.begin(), node->relativePath());
    return KLFolderPath::displayPath(names);
}

int KLCliController::protectionIndex(KLFSItem& item)
{
    KLPlist value = folderSource().objectValue(views_.webDirOutline, kProtectColumn, &item);
    return static_cast<int>(value.integerReading().value_or(0));
}

const char* KLCliController::modeName(int index)
{
    return kModeNames.at(static_cast<std::size_t>(index));
}

nlohmann::json KLCliController::folderState(KLFSItem& item)
{
    const KLPlist::Dictionary& auth = item.authDict();
    auto list = [&auth](const char* key) {
        auto found = auth.find(key);
        return found == auth.end() ? nlohmann::json::array() : stringList(found->second.array());
    };
    int mode = protectionIndex(item);
    return {
        {"path", displayPathOf(item)},
        {"mode", modeName(mode)},
        {"disabled", item.isAuthenticationDisabled()},
        {"status", item.authStatus()},
        {"addressMode", item.isAllowSet() ? "allow" : "deny"},
        {"users", list(KLFSItem::kRequireUser)},
        {"groups", list(KLFSItem::kRequireGroup)},
        {"addresses", stringList(std::as_const(item).addressArray())},
        {"hasAccessFile", item.hasAccessFile()},
    };
}

bool KLCliController::accessFileHolds(KLFSItem& item)
{
    std::shared_ptr<KLFSItem> parent = item.parent();
    std::shared_ptr<KLFSItem> fresh =
        parent ? KLFSItem::create(item.relativePath(), parent) : KLFSItem::create(item.fullPath());
    nlohmann::json held = folderState(item);
    nlohmann::json stored = folderState(*fresh);
    // Without a file the address mode means nothing: a new item starts in
    // allow-list mode, a deleted file leaves none.
    if (!fresh->hasAccessFile()) {
        held.erase("addressMode");
        stored.erase("addressMode");
    }
    return held == stored;
}

int KLCliController::userRow(const std::string& name)
{
    const KLUserRecords& records = userSource().records();
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (stringByRemovingSurroundingWhitespace(records[i].name) == name)
            return static_cast<int>(i) + 1; // row 0 is any valid user
    }
    throw KLCliError(KLExitStatus::NotFound, kNoSuchUser + name);
}

KLUserItem& KLCliController::groupNode(const std::string& name)
{
    for (const std::shared_ptr<KLUserItem>& group : groupSource().rootArray()) {
        if (group->value() == name)
            return *group;
    }
    throw KLCliError(KLExitStatus::NotFound, kNoSuchGroup + name);
}

KLUserItem& KLCliController::memberNode(KLUserItem& group, const std::string& user)
{
    if (const KLUserItem::Children* members = group.children()) {
        for (const std::shared_ptr<KLUserItem>& member : *members) {
            if (member->value() == user)
                return *member;
        }
    }
    throw KLCliError(KLExitStatus::NotFound, replaced(replaced(kNoSuchMember, "%g", group.value()), "%u", user));
}

int KLCliController::addressRow(const std::string& address)
{
    std::size_t index = indexOfAddress(address);
    if (index == kNotFound)
        throw KLCliError(KLExitStatus::NotFound, kNoSuchAddress + address);
    return static_cast<int>(index);
}

void KLCliController::selectGroupNode(KLUserItem& node)
{
    KLHeadlessListView& outline = views_.groupOutline;
    if (node.parent() && node.parent()->parent())
        outline.expandItem(node.parent());
    outline.selectRow(outline.rowForItem(&node), false);
}

std::vector<std::string> KLCliController::userNames() const
{
    return userArray().value_or(std::vector<std::string>{});
}

void KLCliController::writeUserListJSON(std::FILE* stream) const
{
    // What nlohmann::json's dump(2) gives for the same array of objects.
    KLUsersDataSource* source = users();
    if (!source || source->numberOfRows() <= 1) {
        std::fputs("[]", stream);
        return;
    }
    constexpr std::size_t kPiece = 64 * 1024;
    std::string text = "[";
    text.reserve(kPiece + 1024);
    auto send = [&text, stream] {
        std::fwrite(text.data(), 1, text.size(), stream);
        text.clear();
    };
    bool first = true;
    for (const KLUserRecord& record : source->records()) {
        text += first ? "\n  {\n    \"hash\": " : ",\n  {\n    \"hash\": ";
        first = false;
        appendJSONString(text, KLPasswordHash::nameOf(KLPasswordHash::kindOf(record.hash)));
        text += ",\n    \"name\": ";
        appendJSONString(text, record.name);
        text += "\n  }";
        if (text.size() >= kPiece)
            send();
    }
    text += "\n]";
    send();
}

KLPasswordHash::Kind KLCliController::passwordHashKind() const
{
    return hashForThisRun_.value_or(FendrelPref::passwordHashKind());
}

nlohmann::json KLCliController::groupList() const
{
    nlohmann::json list = nlohmann::json::array();
    for (const std::shared_ptr<KLUserItem>& group : groups()->rootArray()) {
        nlohmann::json members = nlohmann::json::array();
        if (const KLUserItem::Children* children = group->children())
            for (const std::shared_ptr<KLUserItem>& member : *children)
                members.push_back(member->value());
        list.push_back({{"name", group->value()}, {"members", members}});
    }
    return list;
}

std::vector<std::string> KLCliController::knownAddresses() const
{
    std::vector<std::string> list;
    for (const KLPlist& address : *sharedAddresses())
        list.push_back(address.description());
    return list;
}

void KLCliController::requireConfirmation(const std::string& what)
{
    KLTerminalAlerts& alerts = views_.alerts;
    if (alerts.confirmationMissing())
        throw KLCliError(KLExitStatus::Refused, replaced(kNeedsConfirmation, "%s", what));
    if (alerts.declined())
        throw KLCliError(KLExitStatus::Failure, replaced(kDeclined, "%s", what));
}
