#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// A fixed set of names for membership tests in tight loops (the groups
// reader asks it once per member of every group): open addressing over one
// flat array with short names stored in the slot, so that a look-up mostly
// touches one cache line. Longer names are borrowed: the vector must outlive
// the set and stay unchanged.
class KLNameSet
{
public:
    explicit KLNameSet(const std::vector<std::string>& names);
    bool contains(std::string_view name) const;

private:
    static constexpr std::size_t kInline = 15;
    struct Slot
    {
        std::uint64_t hash = 0;
        const std::string* name = nullptr;
        std::uint8_t length = 0;
        char text[kInline] = {};

        bool matches(std::uint64_t h, std::string_view n) const
        {
            if (hash != h)
                return false;
            if (n.size() <= kInline)
                return length == n.size() && std::string_view(text, length) == n;
            return *name == n;
        }
    };
    std::size_t mask_ = 0;
    std::vector<Slot> slots_;
};
