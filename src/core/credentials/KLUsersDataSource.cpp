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

#include <memory>

namespace {

constexpr const char* kNewFileExtensionKey = "New File Extension";

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
    source->setRecords(source->parseUserfile(false));
    return source;
}

KLUserRecords KLUsersDataSource::parseUserfile(bool useNewFile)
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
    KLUserRecords users = parseUsers(*text);
    if (!useNewFile)
        disk_.remember(std::move(*text), stamp);
    return users;
}

KLUserRecords KLUsersDataSource::parseUsers(std::string_view text)
{
    KLUserRecords users;
    users.reserve(countOf(text, '\n') + 1);
    KLScanner scanner(text, KLScanner::Skip::WhitespaceAndNewlines);
    // Both persist from one line to the next: a name without a hash behind
    // it at the very end takes the previous line's hash.
    std::string_view name;
    std::string_view hash;
    auto printable = [](char c) { return c > ' ' && c < 0x7f; };
    while (!scanner.isAtEnd()) {
        // The usual line, "name:hash" starting right after the previous
        // line's end, is taken by hand; it is what the scans below would
        // take, and anything else goes to them.
        std::size_t at = scanner.scanLocation();
        at += at < text.size() && text[at] == '\n';
        std::size_t end = std::min(text.find('\n', at), text.size());
        std::size_t colon = text.substr(0, end).find(':', at);
        if (at < end && printable(text[at]) && colon != std::string_view::npos && colon > at &&
            colon + 1 < end && printable(text[colon + 1])) {
            name = text.substr(at, colon - at);
            hash = text.substr(colon + 1, end - colon - 1);
            scanner.setScanLocation(end);
        } else {
            if (!scanner.scanUpToString(":", name)) {
                // A line that starts with ":" would hold the scanner in place.
                scanner.skipLine();
                continue;
            }
            scanner.scanString(":");
            scanner.scanUpToString("\n", hash);
        }
        // The access file writer's stand-in for "nobody" is never an account.
        if (KLNameIndex::equalIgnoringCase(name, KLFSItem::kPlaceholder))
            continue;
        users.push_back({std::string(name), std::string(hash)});
    }
    return users;
}

std::string KLUsersDataSource::userfileText(const KLUserRecords& users)
{
    std::size_t length = 0;
    for (const KLUserRecord& record : users)
        length += record.name.size() + record.hash.size() + 2;
    std::string text;
    text.reserve(length);
    for (const KLUserRecord& record : users) {
        text += record.name;
        text += ':';
        text += record.hash;
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
    std::string text = userfileText(records_);
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
    records_ = KLUsersMerge::merged(parseUsers(disk_.text()), records_, parseUsers(*theirs));
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

// Rebuilt only after the list changed (a write, new records, or a length
// that no longer matches), never per question.
const KLNameSet& KLUsersDataSource::nameSet() const
{
    if (!exactNames_ || exactNamesCount_ != records_.size()) {
        exactNamesCount_ = records_.size();
        exactNames_.emplace(records_.size());
        exactNames_->addAll(records_.size(), [this](std::size_t i) { return std::string_view(records_[i].name); });
    }
    return *exactNames_;
}

const KLNameIndex& KLUsersDataSource::foldedNames() const
{
    if (!foldedNames_ || foldedNames_->size() != records_.size()) {
        foldedNames_.emplace(KLNameIndex::Matching::IgnoringCase);
        foldedNames_->reserve(records_.size());
        for (const KLUserRecord& record : records_)
            foldedNames_->add(record.name);
    }
    return *foldedNames_;
}

void KLUsersDataSource::forgetNames()
{
    exactNames_.reset();
    foldedNames_.reset();
}

void KLUsersDataSource::recordsDidChange()
{
    forgetNames();
}

void KLUsersDataSource::setRecords(KLUserRecords records)
{
    records_ = std::move(records);
    forgetNames();
}

bool KLUsersDataSource::containsItem(const std::string& name) const
{
    if (name.empty())
        return true;
    if (KLNameIndex::equalIgnoringCase(name, anyUserRealName) ||
        KLNameIndex::equalIgnoringCase(name, anyUserDisplayName))
        return true;
    return foldedNames().contains(name);
}

bool KLUsersDataSource::hasUser(const std::string& name) const
{
    return nameSet().contains(name);
}

KLFSItem* KLUsersDataSource::activeDirectory() const
{
    KLPaneContext* pane = KLPaneContext::shared();
    return pane ? pane->selectedItem() : nullptr;
}
