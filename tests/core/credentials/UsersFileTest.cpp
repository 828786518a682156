#include "FakePaneContext.h"
#include "KLPasswordHash.h"
#include "KLUserDefaults.h"
#include "KLUsersDataSource.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <crypt.h>
#include <sys/stat.h>

#include <cstring>
#include <memory>

namespace {

struct User
{
    std::string name;
    std::string hash;
    bool operator==(const User&) const = default;
};

std::vector<User> usersOf(const KLPlist::Array& list)
{
    std::vector<User> out;
    for (const KLPlist& record : list)
        out.push_back({record["user"].description(), record["basic password"].description()});
    return out;
}

std::vector<User> parse(std::string_view text)
{
    return usersOf(KLUsersDataSource::parseUsers(text));
}

void PrintTo(const User& user, std::ostream* os)
{
    *os << '{' << ::testing::PrintToString(user.name) << ", " << ::testing::PrintToString(user.hash) << '}';
}

class UsersFileTest : public ::testing::Test
{
protected:
    UsersFileTest() { pane.root = dir.path(); }

    std::string usersPath() const { return dir.file(".htusers"); }
    std::shared_ptr<KLUsersDataSource> read(const std::string& contents)
    {
        dir.write(".htusers", contents);
        return KLUsersDataSource::initWithUserfile();
    }

    TempDir dir;
    FakePaneContext pane;
};

TEST_F(UsersFileTest, ReservedNameIsDroppedInAnyCaseAndWritingKeepsTheRest)
{
    auto users = read("alice:abJnggxhB/yWI\nFendReLed:xyz\n");
    EXPECT_EQ(usersOf(users->dataArray()), (std::vector<User>{{"alice", "abJnggxhB/yWI"}}));
    ASSERT_TRUE(users->writeUserfile());
    EXPECT_EQ(readFile(usersPath()), "alice:abJnggxhB/yWI\n");
}

TEST_F(UsersFileTest, ScannerRulesAreKept)
{
    // CR before LF stays in the hash, and a write puts it back.
    auto crlf = read("alice:h1\r\nbob:h2\r\n");
    EXPECT_EQ(usersOf(crlf->dataArray()), (std::vector<User>{{"alice", "h1\r"}, {"bob", "h2\r"}}));
    ASSERT_TRUE(crlf->writeUserfile());
    EXPECT_EQ(readFile(usersPath()), "alice:h1\r\nbob:h2\r\n");

    const std::pair<const char*, std::vector<User>> cases[] = {
        // Leading white space and blank lines are skipped; white space before
        // the colon stays in the name; the hash runs to the line end.
        {"\n\n  \talice :h 1 \n\n", {{"alice ", "h 1 "}}},
        // An empty hash takes the whole next line, which makes no record.
        {"alice:\ncarol:h3\n", {{"alice", "carol:h3"}}},
        // A name and a colon at the very end take the previous hash, or none.
        {"alice:h1\nbob:", {{"alice", "h1"}, {"bob", "h1"}}},
        {"bob:", {{"bob", ""}}},
        // A line without a colon runs into the next line's name.
        {"alice:h1\nbob\ncarol:h3\n", {{"alice", "h1"}, {"bob\ncarol", "h3"}}},
        {"", {}},
        {" \n\r\n\t", {}},
        // Lines starting with a colon are skipped without hanging.
        {":h0\nalice:h1\n  :h2\nbob:h3", {{"alice", "h1"}, {"bob", "h3"}}},
        {":", {}},
        {"::::\n:\n", {}},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(parse(text), expected) << ::testing::PrintToString(text);
}

TEST_F(UsersFileTest, EncodingsAreDetected)
{
    EXPECT_EQ(usersOf(read("\xEF\xBB\xBF" "alice:h1\n")->dataArray()), (std::vector<User>{{"alice", "h1"}}));
    // UTF-16 with a byte order mark.
    std::string utf16 = "\xFF\xFE";
    for (char c : std::string("bob:h2\n"))
        utf16 += {c, '\0'};
    EXPECT_EQ(usersOf(read(utf16)->dataArray()), (std::vector<User>{{"bob", "h2"}}));
    // Latin-1 names arrive as text; such a list cannot be written in ASCII,
    // so the file stays as it was.
    std::string latin1 = "jos\xE9:abcdefghijklm\nzo\xEB:nopqrstuvwxyz\nalice:h1\n";
    auto users = read(latin1);
    EXPECT_EQ(usersOf(users->dataArray()),
              (std::vector<User>{{"jos\xC3\xA9", "abcdefghijklm"}, {"zo\xC3\xAB", "nopqrstuvwxyz"}, {"alice", "h1"}}));
    EXPECT_FALSE(users->writeUserfile());
    EXPECT_EQ(readFile(usersPath()), latin1);
}

TEST_F(UsersFileTest, MissingEmptyAndGarbageFiles)
{
    EXPECT_TRUE(KLUsersDataSource::initWithUserfile()->dataArray().empty());
    auto empty = KLUsersDataSource::initWithUserfile();
    ASSERT_TRUE(empty->writeUserfile());
    EXPECT_EQ(readFile(usersPath()), "");

    std::string garbage;
    std::uint32_t x = 12345;
    for (int i = 0; i < 200000; ++i) {
        x = x * 1103515245 + 12345;
        garbage += static_cast<char>(x >> 16);
    }
    auto users = read(garbage);
    // Whatever was read, the garbage is not replaced by a partial list.
    users->writeUserfile();
    EXPECT_EQ(readFile(usersPath()), garbage);

    // A UTF-8 byte order mark in front of bytes that are not UTF-8 cannot be
    // decoded: the list is empty and the file is never overwritten by it.
    std::string undecodable = "\xEF\xBB\xBF" "alice:h1\n\xFF\xFE\xFD";
    auto unreadable = read(undecodable);
    EXPECT_TRUE(unreadable->dataArray().empty());
    unreadable->dataArray().push_back(KLPlist::Dictionary{{"user", "bob"}, {"basic password", "h2"}});
    EXPECT_FALSE(unreadable->writeUserfile());
    EXPECT_EQ(readFile(usersPath()), undecodable);
}

TEST_F(UsersFileTest, FiveMegabytesAreReadAndWrittenBack)
{
    std::string text;
    int count = 0;
    while (text.size() < 5 * 1024 * 1024)
        text += "user" + std::to_string(count++) + ":abJnggxhB/yWI\n";
    auto users = read(text);
    ASSERT_EQ(users->dataArray().size(), static_cast<std::size_t>(count));
    EXPECT_TRUE(users->hasUser("user" + std::to_string(count - 1)));
    ASSERT_TRUE(users->writeUserfile());
    EXPECT_EQ(readFile(usersPath()), text);
}

TEST_F(UsersFileTest, FailedWritesKeepTheOldFile)
{
    auto users = read("alice:h1\n");
    users->dataArray().push_back(KLPlist::Dictionary{{"user", "b\xC3\xB6" "b"}, {"basic password", "h2"}});
    EXPECT_FALSE(users->writeUserfile());
    EXPECT_EQ(readFile(usersPath()), "alice:h1\n");

    // A folder the process may not write into.
    if (::geteuid() != 0) {
        users->dataArray().pop_back();
        users->dataArray().push_back(KLPlist::Dictionary{{"user", "bob"}, {"basic password", "h2"}});
        ::chmod(dir.path().c_str(), 0555);
        EXPECT_FALSE(users->writeUserfile());
        ::chmod(dir.path().c_str(), 0755);
        EXPECT_EQ(readFile(usersPath()), "alice:h1\n");
        EXPECT_TRUE(users->writeUserfile());
        EXPECT_EQ(readFile(usersPath()), "alice:h1\nbob:h2\n");
    }
}

TEST_F(UsersFileTest, NewFileExtensionIsAppendedAsItStands)
{
    KLUserDefaults::standardUserDefaults().setObject("-new", "New File Extension");
    dir.write(".htusers", "alice:h1\n");
    dir.write(".htusers-new", "bob:h2\n");
    KLUsersDataSource users;
    EXPECT_EQ(usersOf(users.parseUserfile(true)), (std::vector<User>{{"bob", "h2"}}));
    EXPECT_EQ(usersOf(users.parseUserfile(false)), (std::vector<User>{{"alice", "h1"}}));
}

TEST(EncryptPasswordTest, TraditionalDESWithTheDocumentedSalt)
{
    const std::string saltCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789./";
    std::string first;
    std::string second;
    // Retry across a second boundary: two calls in one second share a salt.
    for (int attempt = 0; attempt < 3; ++attempt) {
        auto before = std::time(nullptr);
        first = KLPasswordHash().make("secret", KLPasswordHash::Kind::DES).value();
        second = KLPasswordHash().make("other", KLPasswordHash::Kind::DES).value();
        if (std::time(nullptr) == before)
            break;
    }
    ASSERT_EQ(first.size(), 13u);
    ASSERT_EQ(second.size(), 13u);
    EXPECT_EQ(first.substr(0, 2), second.substr(0, 2));
    EXPECT_NE(saltCharacters.find(first[0]), std::string::npos);
    EXPECT_NE(saltCharacters.find(first[1]), std::string::npos);
    crypt_data data{};
    EXPECT_EQ(std::string(::crypt_r("secret", first.c_str(), &data)), first);
    EXPECT_NE(std::string(::crypt_r("secreT", first.c_str(), &data)), first);
}

TEST(EncryptPasswordTest, OnlyTheFirstEightCharactersCount)
{
    std::string hash = KLPasswordHash().make("abcdefgh-and-more", KLPasswordHash::Kind::DES).value();
    crypt_data data{};
    EXPECT_EQ(std::string(::crypt_r("abcdefgh", hash.c_str(), &data)), hash);
    EXPECT_TRUE(KLUsersDataSource::passwordIsTruncated("abcdefgh-and-more"));
    EXPECT_TRUE(KLUsersDataSource::passwordIsTruncated("abcdefghi"));
    EXPECT_FALSE(KLUsersDataSource::passwordIsTruncated("abcdefgh"));
    // Bytes count, not characters: four two-byte letters already fill it.
    EXPECT_TRUE(KLUsersDataSource::passwordIsTruncated("\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9"));
}

TEST(EncryptPasswordTest, BcryptCountsTheWholePasswordWithARandomSalt)
{
    std::string hash = KLPasswordHash().make("correct horse battery", KLPasswordHash::Kind::Bcrypt).value();
    EXPECT_EQ(hash.size(), 60u);
    EXPECT_EQ(hash.substr(0, 7), "$2b$10$");
    crypt_data data{};
    EXPECT_EQ(std::string(::crypt_r("correct horse battery", hash.c_str(), &data)), hash);
    EXPECT_NE(std::string(::crypt_r("correct ", hash.c_str(), &data)), hash);
    EXPECT_NE(KLPasswordHash().make("correct horse battery", KLPasswordHash::Kind::Bcrypt), hash);

    // The salt is made of the kernel's random bytes: all zero bytes give
    // bcrypt's all-zero salt.
    KLPasswordHash::Library zeros = KLPasswordHash::systemLibrary();
    zeros.random = [](void* buffer, std::size_t length, unsigned) {
        std::memset(buffer, 0, length);
        return static_cast<ssize_t>(length);
    };
    EXPECT_EQ(KLPasswordHash(zeros).make("pw", KLPasswordHash::Kind::Bcrypt).value().substr(0, 29),
              "$2b$10$" + std::string(22, '.'));
}

TEST(EncryptPasswordTest, NoHashWhenTheLibraryMakesNone)
{
    using Library = KLPasswordHash::Library;
    const Library system = KLPasswordHash::systemLibrary();
    Library::Random noBytes = [](void*, std::size_t, unsigned) -> ssize_t { return -1; };
    Library::Random fewBytes = [](void*, std::size_t length, unsigned) { return static_cast<ssize_t>(length - 1); };
    Library::Gensalt noSalt = [](const char*, unsigned long, const char*, int, char*, int) -> char* { return nullptr; };
    Library::Crypt noHash = [](const char*, const char*, crypt_data*) -> char* { return nullptr; };
    Library::Crypt failed = [](const char*, const char*, crypt_data* data) { return std::strcpy(data->output, "*0"); };
    const std::pair<Library, KLPasswordHash::Kind> cases[] = {
        {{system.gensalt, system.crypt, noBytes}, KLPasswordHash::Kind::Bcrypt},
        {{system.gensalt, system.crypt, fewBytes}, KLPasswordHash::Kind::Bcrypt},
        {{noSalt, system.crypt, system.random}, KLPasswordHash::Kind::Bcrypt},
        {{system.gensalt, noHash, system.random}, KLPasswordHash::Kind::Bcrypt},
        {{system.gensalt, failed, system.random}, KLPasswordHash::Kind::Bcrypt},
        {{system.gensalt, noHash, system.random}, KLPasswordHash::Kind::DES},
        {{system.gensalt, failed, system.random}, KLPasswordHash::Kind::DES},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(KLPasswordHash(cases[i].first).make("secret", cases[i].second), std::nullopt) << "case " << i;
}

TEST(EncryptPasswordTest, KindsOfStoredHashes)
{
    const std::pair<const char*, const char*> cases[] = {
        {"abJnggxhB/yWI", "DES"}, {"abJnggxhB/yWI\r", "DES"}, {"abJnggxhB/yW", "other"}, {"abJnggxhB-yWI", "other"},
        {"$2y$05$abcdefghijklmnopqrstuv", "bcrypt"}, {"$2b$10$x", "bcrypt"}, {"$apr1$salt$hash", "MD5"},
        {"$1$salt$hash", "MD5"}, {"{SHA}W6ph5Mm5Pz8GgiULbPgzG37mj9g=", "SHA-1"}, {"{SSHA}abc", "other"},
        {"$6$salt$hash", "other"}, {"", "other"}, {"plain text", "other"},
    };
    for (const auto& [hash, kind] : cases)
        EXPECT_STREQ(KLPasswordHash::nameOf(KLPasswordHash::kindOf(hash)), kind) << hash;
    EXPECT_EQ(KLPasswordHash::choice("BCRYPT"), KLPasswordHash::Kind::Bcrypt);
    EXPECT_EQ(KLPasswordHash::choice("des"), KLPasswordHash::Kind::DES);
    EXPECT_EQ(KLPasswordHash::choice("MD5"), std::nullopt);
}

TEST_F(UsersFileTest, ContainsItemAndHasUser)
{
    auto users = read("Alice:h1\nbob:h2\n");
    // containsItem folds case and takes the "any valid user" spellings; hasUser is exact.
    const std::tuple<const char*, bool, bool> cases[] = {
        {"", true, false},    {"VALID-user", true, false}, {"any valid user", true, false}, {"alice", true, false},
        {"BOB", true, false}, {" bob", false, false},      {"carol", false, false},         {"Alice", true, true}};
    for (auto [name, contained, user] : cases) {
        EXPECT_EQ(users->containsItem(name), contained) << name;
        EXPECT_EQ(users->hasUser(name), user) << name;
    }
    // The pane appends to the shared array directly; look-ups follow.
    users->dataArray().push_back(KLPlist::Dictionary{{"user", "carol"}, {"basic password", "h3"}});
    EXPECT_TRUE(users->containsItem("CAROL"));
    EXPECT_TRUE(users->hasUser("carol"));
    // Same length, other names: the write that follows every change refreshes.
    users->dataArray().back() = KLPlist::Dictionary{{"user", "dave"}, {"basic password", "h4"}};
    ASSERT_TRUE(users->writeUserfile());
    EXPECT_FALSE(users->hasUser("carol"));
    EXPECT_TRUE(users->hasUser("dave"));
}

} // namespace
