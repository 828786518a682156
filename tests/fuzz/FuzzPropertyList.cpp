// The settings file and property list reader over arbitrary bytes (XML or
// binary). Whatever it accepts must write out as XML that reads back.
#include "KLPlist.h"

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::optional<KLPlist> plist = KLPlist::fromBytes({reinterpret_cast<const char*>(data), size});
    if (plist && !KLPlist::fromXML(plist->toXML()))
        std::abort();
    return 0;
}
