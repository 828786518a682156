#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// A set of names for membership tests in tight loops (the groups reader asks
// it once per member of every group): open addressing over one flat array of
// 16-byte slots with short names stored in the slot, so that a look-up mostly
// touches one cache line. Longer names are kept in one shared buffer. With
// 100,000 names the table outgrows the processor's near caches, so the bulk
// operations look a few names ahead and fetch their slots early.
class KLNameSet
{
public:
    // Room for `expected` names before the table grows.
    explicit KLNameSet(std::size_t expected);
    explicit KLNameSet(const std::vector<std::string>& names);

    // Adds names 0..count-1.
    void addAll(std::size_t count, const std::function<std::string_view(std::size_t)>& nameAt);
    bool contains(std::string_view name) const;
    // Removes the names that are not in the set, keeping the others' order.
    void keepContained(std::vector<std::string_view>& names) const;

private:
    static constexpr std::size_t kInline = 11;
    static constexpr std::uint8_t kLong = 0xFF;
    // How many names ahead the bulk operations fetch.
    static constexpr std::size_t kLookAhead = 16;
    struct Slot
    {
        std::uint32_t hash = 0;
        // 0 for an empty slot, kLong for a name in the long names buffer
        // (its offset and length in `text`), else the length plus one.
        std::uint8_t length = 0;
        char text[kInline] = {};
    };
    static_assert(sizeof(Slot) == 16);

    static std::uint32_t hashOf(std::string_view name);
    bool find(std::uint32_t hash, std::string_view name) const;
    bool matches(const Slot& slot, std::uint32_t hash, std::string_view name) const;
    // Places a name known to be absent.
    void place(std::uint32_t hash, std::string_view name);
    std::size_t freeSlot(std::uint32_t hash) const;
    void grow(std::size_t names);
    void prefetch(std::uint32_t hash) const;

    std::size_t mask_ = 0;
    std::size_t size_ = 0;
    std::vector<Slot> slots_;
    std::string longNames_;
};
