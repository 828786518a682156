#include "KLRegex.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <stdexcept>

struct KLRegex::Impl
{
    std::unique_ptr<icu::RegexPattern> pattern;
};

struct KLRegex::Matcher
{
    icu::UnicodeString text;
    std::unique_ptr<icu::RegexMatcher> matcher;
};

namespace {

// Converting UTF-16 offsets back to UTF-8 offsets: walk the text once.
std::size_t utf8Offset(const icu::UnicodeString& text, int32_t utf16Offset)
{
    std::string prefix;
    text.tempSubString(0, utf16Offset).toUTF8String(prefix);
    return prefix.size();
}

KLRegex::Match makeMatch(icu::RegexMatcher& m, const icu::UnicodeString& text)
{
    UErrorCode status = U_ZERO_ERROR;
    KLRegex::Match match;
    int32_t groups = m.groupCount();
    for (int32_t g = 0; g <= groups; ++g) {
        int32_t start = m.start(g, status);
        if (U_FAILURE(status) || start < 0) {
            match.groups.emplace_back(std::nullopt);
            status = U_ZERO_ERROR;
            continue;
        }
        std::string s;
        m.group(g, status).toUTF8String(s);
        match.groups.emplace_back(std::move(s));
    }
    status = U_ZERO_ERROR;
    match.start = utf8Offset(text, m.start(status));
    match.end = utf8Offset(text, m.end(status));
    return match;
}

} // namespace

const std::string& KLRegex::Match::operator[](std::size_t i) const
{
    static const std::string empty;
    if (i < groups.size() && groups[i])
        return *groups[i];
    return empty;
}

KLRegex::KLRegex(std::string_view pattern, bool caseInsensitive) : pattern_(pattern)
{
    auto impl = std::make_shared<Impl>();
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError{};
    impl->pattern.reset(icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(pattern),
                                                   caseInsensitive ? UREGEX_CASE_INSENSITIVE : 0, parseError, status));
    if (U_FAILURE(status) || !impl->pattern)
        throw std::invalid_argument("bad regular expression: " + pattern_);
    shared_ = std::move(impl);
}

KLRegex::~KLRegex() = default;

KLRegex::KLRegex(const KLRegex& other) : shared_(other.shared_), pattern_(other.pattern_)
{
}

KLRegex& KLRegex::operator=(const KLRegex& other)
{
    if (this != &other) {
        shared_ = other.shared_;
        pattern_ = other.pattern_;
        matcher_.reset();
    }
    return *this;
}

KLRegex::KLRegex(KLRegex&&) noexcept = default;
KLRegex& KLRegex::operator=(KLRegex&&) noexcept = default;

KLRegex::Matcher& KLRegex::matcherFor(std::string_view text) const
{
    if (!matcher_) {
        matcher_ = std::make_unique<Matcher>();
        UErrorCode status = U_ZERO_ERROR;
        matcher_->matcher.reset(shared_->pattern->matcher(status));
        if (U_FAILURE(status))
            throw std::runtime_error("cannot make a matcher for " + pattern_);
    }
    matcher_->text = icu::UnicodeString::fromUTF8(text);
    matcher_->matcher->reset(matcher_->text);
    return *matcher_;
}

bool KLRegex::matches(std::string_view text) const
{
    UErrorCode status = U_ZERO_ERROR;
    Matcher& m = matcherFor(text);
    return m.matcher->find(status) && U_SUCCESS(status);
}

std::optional<KLRegex::Match> KLRegex::firstMatch(std::string_view text) const
{
    UErrorCode status = U_ZERO_ERROR;
    Matcher& m = matcherFor(text);
    if (!m.matcher->find(status) || U_FAILURE(status))
        return std::nullopt;
    return makeMatch(*m.matcher, m.text);
}

std::vector<KLRegex::Match> KLRegex::allMatches(std::string_view text) const
{
    std::vector<Match> result;
    UErrorCode status = U_ZERO_ERROR;
    Matcher& m = matcherFor(text);
    while (m.matcher->find(status) && U_SUCCESS(status))
        result.push_back(makeMatch(*m.matcher, m.text));
    return result;
}

std::string KLRegex::replaceAll(std::string_view text, std::string_view replacement) const
{
    UErrorCode status = U_ZERO_ERROR;
    Matcher& m = matcherFor(text);
    icu::UnicodeString replaced = m.matcher->replaceAll(icu::UnicodeString::fromUTF8(replacement), status);
    if (U_FAILURE(status))
        return std::string(text);
    std::string out;
    replaced.toUTF8String(out);
    return out;
}

std::size_t KLRegex::groupCount() const
{
    return static_cast<std::size_t>(matcherFor({}).matcher->groupCount());
}
