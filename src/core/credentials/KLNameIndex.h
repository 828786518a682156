#pragma once

#include <string>
#include <string_view>
#include <unordered_map>

// Names counted by their exact text and by their case-folded text, so that
// "is this a user (group)?" and "is this name taken in any letter case?" are
// hash look-ups instead of walks over long lists.
class KLNameIndex
{
public:
    void clear();
    void reserve(std::size_t count);
    void add(std::string_view name);
    void remove(std::string_view name);
    bool contains(std::string_view name) const;
    bool containsIgnoringCase(std::string_view name) const;
    std::size_t size() const { return size_; }

    // Unicode default case folding (ASCII without ICU).
    static std::string folded(std::string_view name);
    static bool equalIgnoringCase(std::string_view a, std::string_view b);

private:
    static void adjust(std::unordered_map<std::string, int>& map, std::string key, int delta);

    std::unordered_map<std::string, int> exact_;
    std::unordered_map<std::string, int> folded_;
    std::size_t size_ = 0;
};
