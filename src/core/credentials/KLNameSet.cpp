#include "KLNameSet.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

// At most half full, so that probe runs stay short.
std::size_t capacityFor(std::size_t names)
{
    return std::bit_ceil(std::max<std::size_t>(names * 2, 16));
}

template <typename Word>
std::uint64_t load(const char* p)
{
    Word word = 0;
    std::memcpy(&word, p, sizeof word);
    return word;
}

// The last bytes after the whole words, by fixed-size loads that may overlap
// (a memcpy of a variable length would be a call per name).
std::uint64_t tail(const char* p, std::size_t n)
{
    if (n >= 4)
        return load<std::uint32_t>(p) | load<std::uint32_t>(p + n - 4) << 32;
    if (n > 0)
        return static_cast<unsigned char>(p[0]) | static_cast<std::uint64_t>(static_cast<unsigned char>(p[n / 2])) << 8 |
               static_cast<std::uint64_t>(static_cast<unsigned char>(p[n - 1])) << 16;
    return 0;
}

std::uint64_t mix(std::uint64_t h)
{
    h ^= h >> 32;
    h *= 0xd6e8feb86659fd93ULL;
    h ^= h >> 32;
    return h;
}

// Whether two short runs of bytes are equal, by fixed-size loads that may
// overlap rather than a call to memcmp per look-up.
bool sameShortBytes(const char* a, const char* b, std::size_t n)
{
    if (n >= 8)
        return load<std::uint64_t>(a) == load<std::uint64_t>(b) &&
               load<std::uint64_t>(a + n - 8) == load<std::uint64_t>(b + n - 8);
    if (n >= 4)
        return load<std::uint32_t>(a) == load<std::uint32_t>(b) &&
               load<std::uint32_t>(a + n - 4) == load<std::uint32_t>(b + n - 4);
    for (std::size_t i = 0; i < n; ++i) {
        if (a[i] != b[i])
            return false;
    }
    return true;
}

} // namespace

KLNameSet::KLNameSet(std::size_t expected) : mask_(capacityFor(expected) - 1), slots_(mask_ + 1)
{
}

KLNameSet::KLNameSet(const std::vector<std::string>& names) : KLNameSet(names.size())
{
    addAll(names.size(), [&names](std::size_t i) { return std::string_view(names[i]); });
}

std::uint32_t KLNameSet::hashOf(std::string_view name)
{
    // Eight bytes at a time: names are short and asked for a million times.
    std::uint64_t h = name.size() * 0x9e3779b97f4a7c15ULL;
    std::size_t i = 0;
    for (; i + 8 <= name.size(); i += 8)
        h = mix(h ^ load<std::uint64_t>(name.data() + i));
    return static_cast<std::uint32_t>(mix(h ^ tail(name.data() + i, name.size() - i)));
}

bool KLNameSet::matches(const Slot& slot, std::uint32_t hash, std::string_view name) const
{
    if (slot.hash != hash)
        return false;
    if (slot.length != kLong)
        return slot.length == name.size() + 1 && sameShortBytes(slot.text, name.data(), name.size());
    std::uint32_t at = 0;
    std::uint32_t length = 0;
    std::memcpy(&at, slot.text, 4);
    std::memcpy(&length, slot.text + 4, 4);
    return std::string_view(longNames_).substr(at, length) == name;
}

void KLNameSet::addAll(std::size_t count, const std::function<std::string_view(std::size_t)>& nameAt)
{
    if ((size_ + count) * 2 > slots_.size())
        grow(size_ + count);
    std::uint32_t ahead[kLookAhead];
    // Slot i % kLookAhead holds name i's hash from its fetch until its turn.
    for (std::size_t i = 0; i < count + kLookAhead; ++i) {
        std::uint32_t& hash = ahead[i % kLookAhead];
        if (i >= kLookAhead) {
            std::string_view name = nameAt(i - kLookAhead);
            if (!find(hash, name)) {
                place(hash, name);
                ++size_;
            }
        }
        if (i < count) {
            hash = hashOf(nameAt(i));
            prefetch(hash);
        }
    }
}

void KLNameSet::keepContained(std::vector<std::string_view>& names) const
{
    std::uint32_t ahead[kLookAhead];
    std::size_t kept = 0;
    for (std::size_t i = 0; i < names.size() + kLookAhead; ++i) {
        std::uint32_t& hash = ahead[i % kLookAhead];
        if (i >= kLookAhead && find(hash, names[i - kLookAhead]))
            names[kept++] = names[i - kLookAhead];
        if (i < names.size()) {
            hash = hashOf(names[i]);
            prefetch(hash);
        }
    }
    names.resize(kept);
}

void KLNameSet::prefetch(std::uint32_t hash) const
{
    __builtin_prefetch(&slots_[hash & mask_]);
}

bool KLNameSet::contains(std::string_view name) const
{
    return find(hashOf(name), name);
}

bool KLNameSet::find(std::uint32_t hash, std::string_view name) const
{
    for (std::size_t i = hash & mask_;; i = (i + 1) & mask_) {
        const Slot& slot = slots_[i];
        if (!slot.length)
            return false;
        if (matches(slot, hash, name))
            return true;
    }
}

void KLNameSet::place(std::uint32_t hash, std::string_view name)
{
    Slot& slot = slots_[freeSlot(hash)];
    slot.hash = hash;
    if (name.size() <= kInline) {
        slot.length = static_cast<std::uint8_t>(name.size() + 1);
        name.copy(slot.text, name.size());
        return;
    }
    slot.length = kLong;
    auto at = static_cast<std::uint32_t>(longNames_.size());
    auto length = static_cast<std::uint32_t>(name.size());
    std::memcpy(slot.text, &at, 4);
    std::memcpy(slot.text + 4, &length, 4);
    longNames_ += name;
}

std::size_t KLNameSet::freeSlot(std::uint32_t hash) const
{
    std::size_t i = hash & mask_;
    while (slots_[i].length)
        i = (i + 1) & mask_;
    return i;
}

void KLNameSet::grow(std::size_t names)
{
    std::vector<Slot> old(capacityFor(names), Slot{});
    old.swap(slots_);
    mask_ = slots_.size() - 1;
    for (const Slot& slot : old) {
        if (slot.length)
            slots_[freeSlot(slot.hash)] = slot;
    }
}
