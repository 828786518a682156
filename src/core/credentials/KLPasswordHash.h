#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

struct crypt_data;

// The password hashes of the users file: making a new one of the kind the
// person chose (traditional DES, or bcrypt, which counts the whole password),
// and telling the kind of any hash a line holds, so that the lists can show
// which accounts still use weak ones.
class KLPasswordHash
{
public:
    enum class Kind { DES, Bcrypt, MD5, SHA1, Other };

    static constexpr const char* kSettingKey = "Password Hash";
    static constexpr unsigned long kBcryptCost = 10;
    // What bcrypt's salt is made of (128 bits).
    static constexpr std::size_t kBcryptRandomBytes = 16;

    // The calls a hash is made through: libcrypt and the kernel's random
    // source. Tests hand in calls that fail.
    struct Library
    {
        using Gensalt = char* (*)(const char* prefix, unsigned long count, const char* rbytes, int nrbytes,
                                  char* output, int outputSize);
        using Crypt = char* (*)(const char* phrase, const char* setting, crypt_data* data);
        using Random = ssize_t (*)(void* buffer, std::size_t length, unsigned flags);

        Gensalt gensalt;
        Crypt crypt;
        Random random;
    };
    static Library systemLibrary();

    KLPasswordHash();
    explicit KLPasswordHash(Library library);

    // The hash of `password` (its UTF-8 bytes): bcrypt, or traditional DES
    // for any other kind. None, with the reason logged, when the library made no salt
    // or no hash: a user is never stored with an empty or made-up hash.
    std::optional<std::string> make(const std::string& password, Kind kind) const;

    // The kind of a stored hash; a line end's carriage return is not part of it.
    static Kind kindOf(std::string_view hash);
    // "DES", "bcrypt", "MD5", "SHA-1", "other".
    static const char* nameOf(Kind kind);
    // The kinds a person may choose, by the names the setting stores ("DES",
    // "bcrypt"), in any letter case; none for any other name.
    static std::optional<Kind> choice(std::string_view name);
    // The kind the setting chooses: DES when it is unset or names no choice.
    static Kind storedChoice();

private:
    std::optional<std::string> crypt(const std::string& password, const char* setting) const;
    static std::string desSalt();
    std::optional<std::string> bcryptSalt() const;

    Library library_;
};
