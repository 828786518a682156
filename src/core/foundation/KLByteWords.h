#pragma once

#include <cstdint>
#include <cstring>

// Eight bytes of text taken as one word, so that whole files are scanned a
// word at a time: the readers, the text checks and the line counts share
// these few exact tests.
namespace KLByteWords {

constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;
constexpr std::uint64_t kLowBits = 0x7f7f7f7f7f7f7f7fULL;

inline std::uint64_t load(const char* at)
{
    std::uint64_t word = 0;
    std::memcpy(&word, at, sizeof word);
    return word;
}

// The high bit of each byte of `word` that is zero, and of no other byte
// (unlike the usual quick test, exact in every byte).
inline std::uint64_t zeroBytes(std::uint64_t word)
{
    return ~(((word & kLowBits) + kLowBits) | word | kLowBits);
}

} // namespace KLByteWords
