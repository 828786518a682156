#include "KLUsersDataSource.h"

#include "KLAtomicFile.h"
#include "KLFileExtensions.h"
#include "KLLog.h"
#include "KLNotificationCenter.h"
#include "KLPaneContext.h"
#include "KLScanner.h"
#include "KLTextFile.h"
#include "KLRootLock.h"
#include "KLStringExtensions.h"
#include "KLUserDefaults.h"
#include "KLUsersMerge.h"

#include <algorithm>
#include <memory>

namespace {

constexpr const char* kNewFileExtensionKey = "New File Extension";

bool isASCII(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::optional<std::string> usersFilePath()
{
    KLPaneContext* pane = KLPaneContext::shared();
    return pane ? pane->fendrelLocation(KLPaneContext::kUsersFile) : std::nullopt;
}

} // namespace

KLUsersDataSource::KLUsersDataSource() = default;

std::shared_ptr<KLUsersDataSource> KLUsersDataSource::initWithUserfile()
{
    auto source = std::make_shared<KLUsersDataSource>();
    source->setDataArray(std::make_shared<KLPlist::Array>(source->parseUserfile(false)));
    return source;
}

KLPlist::Array KLUsersDataSource::parseUserfile(bool useNewFile)
{
    unreadableFile_ = false;
    std::optional<std::string> path = usersFilePath();
    if (!path)
        return {};
    if (useNewFile)
        *path += KLUserDefaults::standardUserDefaults().stringForKey(kNewFileExtensionKey).value_or("");
    KLFileStamp stamp = KLFileStamp::of(*path);
    if (!fileExists(*path)) {
        if (!useNewFile)
            disk_.remember({}, stamp);
        return {};
    }
    std::optional<std::string> text = KLTextFile::readEditable(*path);
    if (!text) {
        unreadableFile_ = true;
        readError_ = KLTextFile::lastError();
        KLLog("Fendrel: cannot read the users file " + *path + " (" + readError_ + "); it will not be overwritten");
        return {};
    }
    KLPlist::Array users = parseUsers(*text);
    if (!useNewFile)
        disk_.remember(std::move(*text), stamp);
    return users;
}

KLPlist::Array KLUsersDataSource::parseUsers(std::string_view text)
{
    KLPlist::Array users;
    users.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
    KLScanner scanner(text, KLScanner::Skip::WhitespaceAndNewlines);
    // Both persist from one line to the next: a name without a hash behind
    // it at the very end takes the previous line's hash.
    std::string name;
    std::string hash;
    while (!scanner.isAtEnd()) {
        if (!scanner.scanUpToString(":", name)) {
            // A line that starts with ":" would hold the scanner in place.
            scanner.skipLine();
            continue;
        }
        scanner.scanString(":");
        scanner.scanUpToString("\n", hash);
        // The access file writer's stand-in for "nobody" is never an account.
        if (KLNameIndex::equalIgnoringCase(name, KLFSItem::kPlaceholder))
            continue;
        // Keys in their map order, each record built in place.
        KLPlist::Dictionary record;
        record.emplace_hint(record.end(), kPasswordKey, hash);
        record.emplace_hint(record.end(), kUserKey, name);
        users.emplace_back(std::move(record));
    }
    return users;
}

std::string KLUsersDataSource::userfileText(const KLPlist::Array& users)
{
    // Strings are appended in place; other values by their description.
    auto append = [](std::string& text, const KLPlist& value) {
        if (const std::string* s = value.string())
            text += *s;
        else
            text += value.description();
    };
    std::string text;
    text.reserve(users.size() * 24);
    for (const KLPlist& record : users) {
        append(text, record[kUserKey]);
        text += ':';
        append(text, record[kPasswordKey]);
        text += '\n';
    }
    return text;
}

bool KLUsersDataSource::writeUserfile()
{
    // Whatever happens, the next look-up sees the list as it is now.
    forgetNames();
    std::optional<std::string> path = usersFilePath();
    if (!path)
        return false;
    if (unreadableFile_) {
        KLPaneContext::reportFileNotWritten(*path, readError_);
        return false;
    }
    KLRootLock lock(stringByDeletingLastPathComponent(*path));
    if (!mergeChangesOnDisk(*path))
        return false;
    std::string text = userfileText(dataArray());
    if (!isASCII(text)) {
        KLLog("Fendrel: the users file " + *path + " is not written: a name or password hash is not ASCII");
        return false;
    }
    if (!KLAtomicFile::write(*path, text)) {
        KLLog("Fendrel: cannot write the users file " + *path + ": " + KLAtomicFile::lastError());
        KLPaneContext::reportFileNotWritten(*path, KLAtomicFile::lastReason());
        return false;
    }
    disk_.remember(std::move(text), KLFileStamp::of(*path));
    KLNotificationCenter::defaultCenter().post(kUsersFileDidChange, this);
    return true;
}

bool KLUsersDataSource::mergeChangesOnDisk(const std::string& path)
{
    std::optional<std::string> theirs;
    if (!disk_.outsideText(path, theirs)) {
        KLPaneContext::reportFileNotWritten(path, KLTextFile::lastError());
        return false;
    }
    if (!theirs)
        return true;
    KLLog("Fendrel: the users file " + path + " was changed by another program; its changes are kept");
    dataArray() = KLUsersMerge::merged(parseUsers(disk_.text()), dataArray(), parseUsers(*theirs));
    forgetNames();
    return true;
}

bool KLUsersDataSource::fileChangedOnDisk() const
{
    std::optional<std::string> path = usersFilePath();
    return path && disk_.changedOnDisk(*path, unreadableFile_);
}

bool KLUsersDataSource::passwordIsTruncated(const std::string& password)
{
    return password.size() > kSignificantPasswordLength;
}

const KLNameIndex& KLUsersDataSource::names(KLNameIndex::Matching matching) const
{
    // Rebuilt only after the list changed (a write, a new array, or a length
    // that no longer matches), never per question.
    std::optional<KLNameIndex>& names = matching == KLNameIndex::Matching::Exact ? exactNames_ : foldedNames_;
    if (!names || names->size() != dataArray().size()) {
        names.emplace(matching);
        names->reserve(dataArray().size());
        for (const KLPlist& record : dataArray()) {
            const KLPlist& name = record[kUserKey];
            const std::string* text = name.string();
            names->add(text ? std::string_view(*text) : std::string_view(name.description()));
        }
    }
    return *names;
}

void KLUsersDataSource::forgetNames()
{
    exactNames_.reset();
    foldedNames_.reset();
}

void KLUsersDataSource::dataArrayDidChange()
{
    forgetNames();
}

void KLUsersDataSource::setDataArray(std::shared_ptr<KLPlist::Array> dataArray)
{
    KLXDataSource::setDataArray(std::move(dataArray));
    forgetNames();
}

bool KLUsersDataSource::containsItem(const std::string& name) const
{
    if (name.empty())
        return true;
    if (KLNameIndex::equalIgnoringCase(name, anyUserRealName) ||
        KLNameIndex::equalIgnoringCase(name, anyUserDisplayName))
        return true;
    return names(KLNameIndex::Matching::IgnoringCase).contains(name);
}

bool KLUsersDataSource::hasUser(const std::string& name) const
{
    return names(KLNameIndex::Matching::Exact).contains(name);
}

KLFSItem* KLUsersDataSource::activeDirectory() const
{
    KLPaneContext* pane = KLPaneContext::shared();
    return pane ? pane->selectedItem() : nullptr;
}
