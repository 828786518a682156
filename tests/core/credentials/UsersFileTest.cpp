#include "FakePaneContext.h"
#include "KLPasswordHash.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <crypt.h>

#include <cstring>

namespace {

using Names = std::vector<std::string>;

// Each record as "name:hash".
Names usersOf(const KLPlist::Array& list)
{
    Names out;
    for (const KLPlist& record : list)
        out.push_back(record["user"].description() + ":" + record["basic password"].description());
    return out;
}

KLPlist record(const char* name, const char* hash) { return KLPlist::Dictionary{{"user", name}, {"basic password", hash}}; }

class UsersFileTest : public ::testing::Test
{
protected:
    UsersFileTest() { pane.root = dir.path(); }
    std::string file() const { return readFile(dir.file(".htusers")); }
    std::shared_ptr<KLUsersDataSource> read(const std::string& contents)
    {
        dir.write(".htusers", contents);
        return KLUsersDataSource::initWithUserfile();
    }
    TempDir dir;
    FakePaneContext pane;
};

TEST_F(UsersFileTest, FilesAreReadInEveryEncodingAndNeverOverwrittenByWhatCannotBeWritten)
{
    EXPECT_TRUE(KLUsersDataSource::initWithUserfile()->dataArray().empty()) << "no file";
    std::string big, utf16 = "\xFF\xFE", garbage;
    for (int count = 0; big.size() < 5 * 1024 * 1024; ++count)
        big += "user" + std::to_string(count) + ":abJnggxhB/yWI\n";
    for (char c : std::string("bob:h2\n"))
        utf16 += {c, '\0'};
    for (std::uint32_t x = 12345; garbage.size() < 200000;)
        garbage += static_cast<char>((x = x * 1103515245 + 12345) >> 16);
    const std::string latin1 = "jos\xE9:abcdefghijklm\nzo\xEB:nopqrstuvwxyz\nalice:h1\n";
    // A UTF-8 byte order mark before bytes that are not UTF-8: nothing is read.
    const std::string undecodable = "\xEF\xBB\xBF" "alice:h1\n\xFF\xFE\xFD";
    // text, the records read (if checked), the file after a write (if written)
    const std::tuple<std::string, std::optional<Names>, std::optional<std::string>> cases[] = {
        // The reserved name is dropped in any case; CR before LF stays in the hash.
        {"alice:abJnggxhB/yWI\nFendReLed:xyz\n", Names{"alice:abJnggxhB/yWI"}, "alice:abJnggxhB/yWI\n"},
        {"alice:h1\r\nbob:h2\r\n", Names{"alice:h1\r", "bob:h2\r"}, "alice:h1\r\nbob:h2\r\n"},
        {"", Names{}, ""},
        {big, std::nullopt, big},
        {"\xEF\xBB\xBF" "alice:h1\n", Names{"alice:h1"}, std::nullopt},
        {utf16, Names{"bob:h2"}, std::nullopt},
        // Latin-1 names cannot be written in ASCII.
        {latin1, Names{"jos\xC3\xA9:abcdefghijklm", "zo\xC3\xAB:nopqrstuvwxyz", "alice:h1"}, latin1},
        {garbage, std::nullopt, garbage},
        {undecodable, Names{}, undecodable}};
    for (const auto& [text, users, written] : cases) {
        SCOPED_TRACE(text.substr(0, 40));
        auto source = read(text);
        if (users)
            EXPECT_EQ(usersOf(source->dataArray()), *users);
        if (!written)
            continue;
        if (text == undecodable)
            source->dataArray().push_back(record("bob", "h2"));
        EXPECT_EQ(source->writeUserfile(), *written != latin1 && *written != garbage && *written != undecodable);
        EXPECT_EQ(file(), *written);
    }
}

TEST_F(UsersFileTest, ScannerRulesAreKept)
{
    const std::pair<const char*, Names> cases[] = {
        // Leading white space (Unicode's too, not malformed UTF-8) and blank lines are skipped;
        // white space before the colon stays in the name; the hash runs to the line end.
        {"\n\n  \talice :h 1 \n\n\xC2\xA0 \n\xE2\x80\xA8" "bob:h2\n\xFF:h3", {"alice :h 1 ", "bob:h2", "\xFF:h3"}},
        // An empty hash takes the whole next line, which makes no record.
        {"alice:\ncarol:h3\n", {"alice:carol:h3"}},
        // A name and a colon at the very end take the previous hash, or none.
        {"alice:h1\nbob:", {"alice:h1", "bob:h1"}},
        {"bob:", {"bob:"}},
        // A line without a colon runs into the next line's name.
        {"alice:h1\nbob\ncarol:h3\n", {"alice:h1", "bob\ncarol:h3"}},
        {" \n\r\n\t", {}},
        // Lines starting with a colon are skipped without hanging.
        {":h0\nalice:h1\n  :h2\nbob:h3", {"alice:h1", "bob:h3"}},
        {":", {}},
        {"::::\n:\n", {}},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(usersOf(KLUsersDataSource::parseUsers(text)), expected) << ::testing::PrintToString(text);
    // A new-file extension is appended to the name as it stands.
    KLUserDefaults::standardUserDefaults().setObject("-new", "New File Extension");
    dir.write(".htusers", "alice:h1\n");
    dir.write(".htusers-new", "bob:h2\n");
    KLUsersDataSource users;
    EXPECT_EQ(usersOf(users.parseUserfile(true)), Names{"bob:h2"});
    EXPECT_EQ(usersOf(users.parseUserfile(false)), Names{"alice:h1"});
}

TEST_F(UsersFileTest, RefusedWritesAndLookUps)
{
    auto users = read("alice:h1\n");
    users->dataArray().push_back(record("b\xC3\xB6" "b", "h2"));
    EXPECT_FALSE(users->writeUserfile());
    EXPECT_EQ(file(), "alice:h1\n");
    users = read("Alice:h1\nbob:h2\n");
    // containsItem folds case and takes the "any valid user" spellings; hasUser is exact.
    const std::tuple<const char*, bool, bool> lookups[] = {
        {"", true, false},    {"VALID-user", true, false}, {"any valid user", true, false}, {"alice", true, false},
        {"BOB", true, false}, {" bob", false, false},      {"carol", false, false},         {"Alice", true, true}};
    for (auto [name, contained, user] : lookups) {
        EXPECT_EQ(users->containsItem(name), contained) << name;
        EXPECT_EQ(users->hasUser(name), user) << name;
    }
    // The pane appends to the shared array directly; look-ups follow.
    users->dataArray().push_back(record("carol", "h3"));
    EXPECT_TRUE(users->containsItem("CAROL") && users->hasUser("carol"));
    // Same length, other names: the write that follows every change refreshes.
    users->dataArray().back() = record("dave", "h4");
    ASSERT_TRUE(users->writeUserfile());
    EXPECT_FALSE(users->hasUser("carol"));
    EXPECT_TRUE(users->hasUser("dave"));
}

TEST(EncryptPasswordTest, SaltsTruncationFailuresAndKindsOfStoredHashes)
{
    using Library = KLPasswordHash::Library;
    const Library system = KLPasswordHash::systemLibrary();
    Library::Random noBytes = [](void*, std::size_t, unsigned) -> ssize_t { return -1; };
    Library::Random fewBytes = [](void*, std::size_t length, unsigned) { return static_cast<ssize_t>(length - 1); };
    Library::Gensalt noSalt = [](const char*, unsigned long, const char*, int, char*, int) -> char* { return nullptr; };
    Library::Crypt noHash = [](const char*, const char*, crypt_data*) -> char* { return nullptr; };
    Library::Crypt failed = [](const char*, const char*, crypt_data* data) { return std::strcpy(data->output, "*0"); };
    const auto bcrypt = KLPasswordHash::Kind::Bcrypt, des = KLPasswordHash::Kind::DES;
    const std::pair<Library, KLPasswordHash::Kind> cases[] = {
        {{system.gensalt, system.crypt, noBytes}, bcrypt}, {{system.gensalt, system.crypt, fewBytes}, bcrypt},
        {{noSalt, system.crypt, system.random}, bcrypt},   {{system.gensalt, noHash, system.random}, bcrypt},
        {{system.gensalt, failed, system.random}, bcrypt}, {{system.gensalt, noHash, system.random}, des},
        {{system.gensalt, failed, system.random}, des}};
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(KLPasswordHash(cases[i].first).make("secret", cases[i].second), std::nullopt) << "case " << i;
    // bcrypt's salt is made of the kernel's random bytes: all zero bytes give the all-zero salt.
    Library zeros = system;
    zeros.random = [](void* buffer, std::size_t length, unsigned) {
        std::memset(buffer, 0, length);
        return static_cast<ssize_t>(length);
    };
    std::string hash = KLPasswordHash(zeros).make("pw", bcrypt).value();
    EXPECT_EQ(std::pair(hash.size(), hash.substr(0, 29)), std::pair(std::size_t{60}, "$2b$10$" + std::string(22, '.')));
    // Bytes count, not characters: four two-byte letters already fill DES's eight.
    for (auto [password, truncated] : {std::pair("abcdefghi", true), std::pair("abcdefgh", false),
                                       std::pair("\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9", true)})
        EXPECT_EQ(KLUsersDataSource::passwordIsTruncated(password), truncated) << password;
    // Edge cases; the plain kinds are checked by the command line's user list.
    const std::pair<const char*, const char*> kinds[] = {
        {"abJnggxhB/yWI\r", "DES"}, {"abJnggxhB/yW", "other"}, {"abJnggxhB-yWI", "other"}, {"$2b$10$x", "bcrypt"},
        {"$apr1$salt$hash", "MD5"}, {"$1$salt$hash", "MD5"}, {"{SSHA}abc", "other"}, {"$6$salt$hash", "other"},
        {"", "other"}};
    for (const auto& [hash, kind] : kinds)
        EXPECT_STREQ(KLPasswordHash::nameOf(KLPasswordHash::kindOf(hash)), kind) << hash;
    EXPECT_EQ(KLPasswordHash::choice("des"), KLPasswordHash::Kind::DES);
}

} // namespace
