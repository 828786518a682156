#include "KLPasswordHash.h"
#include "KLUsersDataSource.h"

#include <gtest/gtest.h>

#include <crypt.h>

#include <cstring>

namespace {

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
}

} // namespace
