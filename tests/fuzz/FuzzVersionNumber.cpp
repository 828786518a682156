// Version numbers from arbitrary text, split at the first NUL into two that
// are compared both ways: the answers must be opposite.
#include "KLVersionNumber.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string input(reinterpret_cast<const char*>(data), size);
    std::size_t split = input.find('\0');
    std::string first = input.substr(0, split);
    std::string second = split == std::string::npos ? first : input.substr(split + 1);
    auto a = KLVersionNumber::versionWithString(first);
    auto b = KLVersionNumber::versionWithString(second);
    if (!a || !b)
        return 0;
    a->description();
    int forward = a->compare(*b);
    a->resetCursor();
    b->resetCursor();
    if (b->compare(*a) != -forward)
        std::abort();
    return 0;
}
