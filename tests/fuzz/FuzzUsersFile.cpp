// The users file reader over arbitrary bytes; what it keeps must survive a
// write and a second read unchanged, and every hash it keeps has a kind.
#include "KLTextFile.h"
#include "KLUsersDataSource.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::optional<std::string> text = KLTextFile::decode({reinterpret_cast<const char*>(data), size});
    if (!text)
        return 0;
    KLUserRecords users = KLUsersDataSource::parseUsers(*text);
    for (const KLUserRecord& user : users)
        (void)KLPasswordHash::kindOf(user.hash);
    std::string written = KLUsersDataSource::userfileText(users);
    if (KLUsersDataSource::userfileText(KLUsersDataSource::parseUsers(written)) != written)
        std::abort();
    return 0;
}
