#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

// Names counted by their exact text or by their case-folded text, so that
// "is this a user (group)?" and "is this name taken in any letter case?" are
// hash look-ups instead of walks over long lists.
class KLNameIndex
{
public:
    enum class Matching { Exact, IgnoringCase };

    explicit KLNameIndex(Matching matching) : matching_(matching) {}

    void reserve(std::size_t count) { counts_.reserve(count); }
    void add(std::string_view name);
    void remove(std::string_view name);
    bool contains(std::string_view name) const;
    // Names added and not removed, duplicates included.
    std::size_t size() const { return size_; }

    // Unicode default case folding (ASCII without ICU).
    static std::string folded(std::string_view name);
    static bool equalIgnoringCase(std::string_view a, std::string_view b);

private:
    std::string key(std::string_view name) const;

    Matching matching_;
    std::unordered_map<std::string, int> counts_;
    std::size_t size_ = 0;
};
