// The groups file reader over arbitrary bytes, against a few known users;
// what it keeps must survive a write and a second read unchanged.
#include "KLGroupsDataSource.h"
#include "KLTextFile.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::optional<std::string> text = KLTextFile::decode({reinterpret_cast<const char*>(data), size});
    if (!text)
        return 0;
    auto isUser = [](std::string_view name) { return name == "alice" || name == "bob" || name == "b"; };
    std::string written = KLGroupsDataSource::groupfileText(*KLGroupsDataSource::parseGroups(*text, isUser));
    if (KLGroupsDataSource::groupfileText(*KLGroupsDataSource::parseGroups(written, isUser)) != written)
        std::abort();
    return 0;
}
