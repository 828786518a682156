#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// An ICU regular expression, compiled once and used for any number of
// searches. Patterns search anywhere in the text unless anchored. Texts and
// results are UTF-8. One KLRegex object searches on one thread at a time (it
// keeps its matcher between searches); copies share the compiled pattern and
// may search on other threads.
class KLRegex
{
public:
    // Throws std::invalid_argument for a pattern ICU cannot compile.
    explicit KLRegex(std::string_view pattern, bool caseInsensitive = false);
    ~KLRegex();
    KLRegex(const KLRegex& other);
    KLRegex& operator=(const KLRegex& other);
    KLRegex(KLRegex&&) noexcept;
    KLRegex& operator=(KLRegex&&) noexcept;

    const std::string& pattern() const { return pattern_; }

    struct Match
    {
        // Group 0 is the whole match; a group that took no part is nullopt.
        std::vector<std::optional<std::string>> groups;
        std::size_t start = 0; // byte offsets into the searched text
        std::size_t end = 0;
        const std::string& operator[](std::size_t i) const;
    };

    bool matches(std::string_view text) const; // found anywhere
    std::optional<Match> firstMatch(std::string_view text) const;
    std::vector<Match> allMatches(std::string_view text) const;
    // Replaces every match; "$1" in the template stands for a group.
    std::string replaceAll(std::string_view text, std::string_view replacement) const;
    std::size_t groupCount() const;

private:
    struct Impl;
    struct Matcher;
    // The matcher for text, made once per KLRegex object and reset per search.
    Matcher& matcherFor(std::string_view text) const;

    std::shared_ptr<const Impl> shared_;
    std::string pattern_;
    mutable std::unique_ptr<Matcher> matcher_;
};
