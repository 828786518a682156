#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// What the filter field above a list of names lets through: the rows whose
// name contains the text, in letter case as "Case Sensitive Compare" says.
// Rows are the list's own numbers, in order, so a view can map its shown rows
// to the rows its data source knows. Typing more only narrows the rows found
// before instead of looking at every name again.
class KLNameFilter
{
public:
    using NameAt = std::function<std::string(int row)>;

    // The filter for `text` over rows 0..count-1; an empty text lets every row through.
    void setText(const std::string& text, int count, const NameAt& nameAt);
    // Looks at every row again: the list changed under the filter.
    void refresh(int count, const NameAt& nameAt);
    const std::string& text() const { return text_; }
    bool isActive() const { return !text_.empty(); }
    bool matches(std::string_view name) const;
    // In a list of groups with their members: a member stays when its name
    // or its group's matches, a group when its name or a member's does.
    bool showsMember(std::string_view group, std::string_view member) const;
    bool showsGroup(std::string_view group, const std::vector<std::string>& members) const;

    // Rows shown out of `count` rows of the list.
    int count(int count) const;
    // The list row of shown row `shown` (-1 out of range).
    int rowAt(int shown) const;
    // The shown row of list row `row`, -1 when filtered out.
    int shownRow(int row) const;

private:
    std::string text_;
    std::string folded_;
    bool caseSensitive_ = false;
    std::vector<int> rows_;
};
