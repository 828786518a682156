#pragma once

#include "KLFSItem.h"
#include "KLDiskCopy.h"
#include "KLNameIndex.h"
#include "KLNameSet.h"
#include "KLPasswordHash.h"
#include "KLTableDataSource.h"
#include "KLUserRecord.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>

// The users file ".htusers" (one "name:hash" line per user; DES or bcrypt
// hashes made here, any other kind kept as read) and the users table over
// it. Table row 0 is the pseudo-user that stands for every user of the file;
// row n is record n - 1.
class KLUsersDataSource : public KLTableDataSource
{
public:
    static constexpr const char* anyUserDisplayName = "Any Valid User";
    static constexpr const char* anyUserRealName = KLFSItem::kValidUser;
    // Posted after each write of the users file, the source as object.
    static constexpr const char* kUsersFileDidChange = "KLUsersFileDidChange";
    static constexpr const char* kUserColumn = "user";
    static constexpr const char* kActiveColumn = "active";
    // The kind of each user's hash (KLPasswordHash::nameOf), read only.
    static constexpr const char* kHashColumn = "hash";
    static constexpr const char* kUserIcon = "genericuser";
    // DES crypt reads this many bytes of a password and ignores the rest.
    static constexpr std::size_t kSignificantPasswordLength = 8;

    // An empty list, no file read.
    KLUsersDataSource();
    // initWithUserfile: the list read from the users file.
    static std::shared_ptr<KLUsersDataSource> initWithUserfile();

    // --- Userfile ---
    // The users file of the protected folder root, with the setting "New
    // File Extension" appended when `useNewFile`. A missing or undecodable
    // file gives an empty list.
    KLUserRecords parseUserfile(bool useNewFile);
    // The reader's rules over decoded text.
    static KLUserRecords parseUsers(std::string_view text);
    // The file text of a list: "user:hash\n" per record.
    static std::string userfileText(const KLUserRecords& users);
    // Writes the list atomically in ASCII. False, keeping the old file, when
    // a name or hash is not ASCII, when the file could not be written, or
    // when the file on disk was there but could not be read (its contents
    // would otherwise be replaced by a list that never held them).
    bool writeUserfile();
    // Whether the users file was there but could not be read or decoded.
    bool couldNotReadFile() const { return unreadableFile_; }
    // The hash of a new password; none when libcrypt made none.
    std::optional<std::string> encryptPassword(const std::string& password, KLPasswordHash::Kind kind) const
    {
        return passwordHash_.make(password, kind);
    }
    // How encryptPassword() makes hashes (libcrypt unless replaced).
    void setPasswordHash(const KLPasswordHash& passwordHash) { passwordHash_ = passwordHash; }
    // Whether another program changed, made, removed or spoilt the file
    // since it was last read or written here.
    bool fileChangedOnDisk() const;
    // Whether DES crypt will ignore part of this password (the hash is made
    // all the same; the pane may warn).
    static bool passwordIsTruncated(const std::string& password);
    // Whether `name` may not be used for a new user: empty, a name of the
    // pseudo-user, or an existing user in any letter case.
    bool containsItem(const std::string& name) const;
    // Exact membership of a user name, for readers that filter names.
    bool hasUser(const std::string& name) const;
    // The users' names, for membership tests in tight loops.
    const KLNameSet& nameSet() const;
    KLUserRecords& records() { return records_; }
    const KLUserRecords& records() const { return records_; }
    void setRecords(KLUserRecords records);
    // Call after changing the records other than through this class.
    void recordsDidChange();
    KLFSItem* activeDirectory() const;

    // --- Table ---
    int numberOfRows() const;
    // Null for a row outside the table.
    KLPlist objectAtRow(int row, const std::string& column) const;
    int numberOfRows(KLListView& view) override;
    KLPlist objectValue(KLListView& view, const std::string& column, int row) override;
    std::string summaryTextForRow(int row) override;
    // The check box of a row was clicked; every value is read as its state.
    void setObjectValue(KLListView& view, const KLPlist& value, const std::string& column, int row) override;
    bool shouldEdit(KLListView& view, const std::string& column, int row) override;
    void willDisplayCell(KLListView& view, KLCell& cell, const std::string& column, int row) override;
    // Refuses the pseudo-row. Unless `replace` (the pane deletes a record
    // only to put its edited copy in its place), the pane hears of the
    // deleted user so that groups lose it; then the users file is written.
    bool deleteRow(KLListView& view, int row, bool replace);

    // --- DragAndDrop ---
    bool writeRows(KLListView& view, const std::vector<int>& rows, KLPasteboard& pasteboard) override;

private:
    std::string nameOfRow(int row) const;
    // Built on first use after a change, like nameSet().
    const KLNameIndex& foldedNames() const;
    void forgetNames();

    // Carries another program's edits of the file since it was last read or
    // written here into the list before it is written.
    // False, reported, when the file on disk cannot be read.
    bool mergeChangesOnDisk(const std::string& path);

    KLUserRecords records_;
    KLPasswordHash passwordHash_;
    bool unreadableFile_ = false;
    std::string readError_;
    KLDiskCopy disk_; // the file as last read or written here
    mutable std::optional<KLNameSet> exactNames_;
    mutable std::size_t exactNamesCount_ = 0; // the records it was built from
    mutable std::optional<KLNameIndex> foldedNames_;
};
