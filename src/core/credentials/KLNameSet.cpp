#include "KLNameSet.h"

#include <bit>
#include <functional>

KLNameSet::KLNameSet(const std::vector<std::string>& names)
{
    // At most half full, so that probe runs stay short.
    std::size_t capacity = std::bit_ceil(std::max<std::size_t>(names.size() * 2, 16));
    mask_ = capacity - 1;
    slots_.resize(capacity);
    for (const std::string& name : names) {
        std::uint64_t hash = std::hash<std::string_view>{}(name);
        for (std::size_t i = hash & mask_;; i = (i + 1) & mask_) {
            Slot& slot = slots_[i];
            if (!slot.name) {
                slot.hash = hash;
                slot.name = &name;
                if (name.size() <= kInline) {
                    slot.length = static_cast<std::uint8_t>(name.size());
                    name.copy(slot.text, name.size());
                }
                break;
            }
            if (slot.matches(hash, name))
                break;
        }
    }
}

bool KLNameSet::contains(std::string_view name) const
{
    std::uint64_t hash = std::hash<std::string_view>{}(name);
    for (std::size_t i = hash & mask_;; i = (i + 1) & mask_) {
        const Slot& slot = slots_[i];
        if (!slot.name)
            return false;
        if (slot.matches(hash, name))
            return true;
    }
}
