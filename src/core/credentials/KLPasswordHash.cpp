#include "KLPasswordHash.h"

#include "KLLog.h"
#include "KLNameIndex.h"
#include "KLUserDefaults.h"

#include <crypt.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

namespace {

constexpr const char* kSaltCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789./";
constexpr std::size_t kDESHashLength = 13;
constexpr const char* kBcryptPrefix = "$2b$";

// One of kSaltCharacters, without a search through them (the users table
// asks for every row).
// One look-up per character: the users table asks for every user's kind.
constexpr std::array<bool, 256> kIsSaltCharacter = [] {
    std::array<bool, 256> table{};
    for (int c = 0; c < 256; ++c)
        table[static_cast<std::size_t>(c)] =
            (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '/';
    return table;
}();

bool isSaltCharacter(char c)
{
    return kIsSaltCharacter[static_cast<unsigned char>(c)];
}

struct Prefix
{
    std::string_view text;
    KLPasswordHash::Kind kind;
};
// "$2y$" is what htpasswd writes, "$2b$" what libcrypt makes; "$1$" is the
// system's own MD5 crypt, which the server hands to crypt() as well.
constexpr Prefix kPrefixes[] = {
    {"$2a$", KLPasswordHash::Kind::Bcrypt}, {"$2b$", KLPasswordHash::Kind::Bcrypt},
    {"$2y$", KLPasswordHash::Kind::Bcrypt}, {"$apr1$", KLPasswordHash::Kind::MD5},
    {"$1$", KLPasswordHash::Kind::MD5},     {"{SHA}", KLPasswordHash::Kind::SHA1},
};

} // namespace

KLPasswordHash::Library KLPasswordHash::systemLibrary()
{
    return {
        [](const char* prefix, unsigned long count, const char* rbytes, int nrbytes, char* output, int size) {
            return ::crypt_gensalt_rn(prefix, count, rbytes, nrbytes, output, size);
        },
        [](const char* phrase, const char* setting, crypt_data* data) { return ::crypt_r(phrase, setting, data); },
        [](void* buffer, std::size_t length, unsigned flags) { return ::getrandom(buffer, length, flags); },
    };
}

KLPasswordHash::KLPasswordHash() : library_(systemLibrary())
{
}

KLPasswordHash::KLPasswordHash(Library library) : library_(library)
{
}

std::optional<std::string> KLPasswordHash::make(const std::string& password, Kind kind) const
{
    std::optional<std::string> setting = kind == Kind::Bcrypt ? bcryptSalt() : std::optional(desSalt());
    return setting ? crypt(password, setting->c_str()) : std::nullopt;
}

std::string KLPasswordHash::desSalt()
{
    // Re-seeded on every call: two passwords in the same second share a salt.
    ::srandom(static_cast<unsigned>(std::time(nullptr)));
    return std::string{kSaltCharacters[::random() % 64], kSaltCharacters[::random() % 64]};
}

std::optional<std::string> KLPasswordHash::bcryptSalt() const
{
    std::array<char, kBcryptRandomBytes> random{};
    ssize_t got = library_.random(random.data(), random.size(), 0);
    if (got != static_cast<ssize_t>(random.size())) {
        KLLog(std::string("Fendrel: no random bytes for a bcrypt salt: ") + std::strerror(errno));
        return std::nullopt;
    }
    std::array<char, CRYPT_GENSALT_OUTPUT_SIZE> salt{};
    const char* made = library_.gensalt(kBcryptPrefix, kBcryptCost, random.data(), static_cast<int>(random.size()),
                                        salt.data(), static_cast<int>(salt.size()));
    ::explicit_bzero(random.data(), random.size());
    if (!made || made[0] == '*') {
        KLLog(std::string("Fendrel: libcrypt made no bcrypt salt: ") + std::strerror(errno));
        return std::nullopt;
    }
    return std::string(made);
}

std::optional<std::string> KLPasswordHash::crypt(const std::string& password, const char* setting) const
{
    auto data = std::make_unique<crypt_data>();
    const char* hash = library_.crypt(password.c_str(), setting, data.get());
    // libcrypt reports failure with a null or a hash starting with "*".
    std::optional<std::string> result;
    if (hash && hash[0] != '*' && hash[0] != '\0')
        result = hash;
    else
        KLLog(std::string("Fendrel: libcrypt made no hash for the setting \"") + setting + "\"");
    ::explicit_bzero(data.get(), sizeof(crypt_data));
    return result;
}

KLPasswordHash::Kind KLPasswordHash::kindOf(std::string_view hash)
{
    if (hash.ends_with('\r'))
        hash.remove_suffix(1);
    if (hash.starts_with('$') || hash.starts_with('{')) {
        for (const Prefix& prefix : kPrefixes)
            if (hash.starts_with(prefix.text))
                return prefix.kind;
    }
    bool des = hash.size() == kDESHashLength && std::all_of(hash.begin(), hash.end(), isSaltCharacter);
    return des ? Kind::DES : Kind::Other;
}

const char* KLPasswordHash::nameOf(Kind kind)
{
    switch (kind) {
    case Kind::DES:
        return "DES";
    case Kind::Bcrypt:
        return "bcrypt";
    case Kind::MD5:
        return "MD5";
    case Kind::SHA1:
        return "SHA-1";
    default:
        return "other";
    }
}

std::optional<KLPasswordHash::Kind> KLPasswordHash::choice(std::string_view name)
{
    for (Kind kind : {Kind::DES, Kind::Bcrypt})
        if (KLNameIndex::equalIgnoringCase(name, nameOf(kind)))
            return kind;
    return std::nullopt;
}

KLPasswordHash::Kind KLPasswordHash::storedChoice()
{
    std::optional<std::string> stored = KLUserDefaults::standardUserDefaults().stringForKey(kSettingKey);
    return choice(stored.value_or("")).value_or(Kind::DES);
}
