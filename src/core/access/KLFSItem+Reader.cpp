// The access file as the system reads it. The reader never rejects a file:
// managed directives fill the access state, lines the writer regenerates are
// dropped, and everything else is kept for writing back after the block.

#include "KLFSItem.h"

#include "KLAddressLookup.h"
#include "KLPaneContext.h"
#include "KLRegex.h"
#include "KLStringExtensions.h"

#include <optional>
#include <string_view>

namespace {

// A loose pattern searched anywhere in a line. Its leading "\s*" changes
// neither whether such a search matches nor what the groups capture (no
// pattern starts with white space), but tried from every position of a long
// blank run it makes the search quadratic: a line of a few thousand blanks
// would hold the reader for seconds.
std::string searchedAnywhere(const std::string& text)
{
    std::string pattern = regexWithLooseSpaces(text);
    constexpr std::string_view kLead = "\\s*";
    if (pattern.starts_with(kLead))
        pattern.erase(0, kLead.size());
    return pattern;
}

// Every pattern is searched anywhere in a line unless anchored.
struct Patterns
{
    KLRegex blank{"^\\s*$"};
    KLRegex comment{searchedAnywhere("#(.*)")};
    // Lines the writer regenerates; any line naming one of these words, or
    // holding a second "#" (the writer's "##" headings), is dropped.
    KLRegex managed{searchedAnywhere("(#|AuthType|AuthName|AuthUserFile|Order|AuthGroupFile)"), true};
    KLRegex validUser{searchedAnywhere("Require valid-user"), true};
    KLRegex requireUser{searchedAnywhere("Require user (.*)"), true};
    KLRegex requireGroup{searchedAnywhere("Require group (.*)"), true};
    KLRegex address{searchedAnywhere("(Allow from|Deny from) (.*)"), true};
    KLRegex satisfy{searchedAnywhere("Satisfy (.*)"), true};
    KLRegex any{"any", true};
    KLRegex discoverable{"[a-z0-9]"};
};

const Patterns& patterns()
{
    static const Patterns p;
    return p;
}

std::vector<std::string> splitAtSpaces(std::string_view text)
{
    std::vector<std::string> pieces;
    std::size_t start = 0;
    for (;;) {
        std::size_t space = text.find(' ', start);
        pieces.push_back(stringByRemovingSurroundingWhitespace(text.substr(start, space - start)));
        if (space == std::string_view::npos)
            return pieces;
        start = space + 1;
    }
}

// Printable ASCII and tabs: the usual line. For such a line the patterns
// below can be decided, or ruled out, without running them: white space is
// only " " and "\t", "." matches every character, and case folding is ASCII
// folding. Any other line goes through the patterns alone.
bool isPlain(std::string_view line)
{
    for (char c : line) {
        if ((c < 0x20 || c > 0x7e) && c != '\t')
            return false;
    }
    return true;
}

char lowered(char c)
{
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
}

// Whether a plain line holds the lower-case word, ignoring case.
bool containsWord(std::string_view line, std::string_view word)
{
    if (word.size() > line.size())
        return false;
    for (std::size_t at = 0; at + word.size() <= line.size(); ++at) {
        std::size_t i = 0;
        while (i < word.size() && lowered(line[at + i]) == word[i])
            ++i;
        if (i == word.size())
            return true;
    }
    return false;
}

// The managed-word pattern, decided by hand for a plain line.
bool namesManagedWord(std::string_view line)
{
    if (line.find('#') != std::string_view::npos)
        return true;
    for (std::string_view word : {"authtype", "authname", "authuserfile", "order", "authgroupfile"}) {
        if (containsWord(line, word))
            return true;
    }
    return false;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lowered(a[i]) != lowered(b[i]))
            return false;
    }
    return true;
}

// The names of group 1 that the pane knows, in order.
template <class Known>
KLPlist knownNames(const std::string& list, Known known)
{
    KLPlist::Array kept;
    for (std::string& piece : splitAtSpaces(list)) {
        if (known(piece))
            kept.emplace_back(std::move(piece));
    }
    return KLPlist(std::move(kept));
}

} // namespace

void KLFSItem::parseAccessString()
{
    const Patterns& p = patterns();
    KLPaneContext* pane = KLPaneContext::shared();
    std::optional<bool> discover; // asked once, on the first unknown address
    auto shouldDiscover = [&] {
        if (!discover)
            discover = pane->shouldDiscoverAddresses();
        return *discover;
    };

    userText_.clear();
    auth_.clear();
    authStatus_ = kRequireAllBit;
    isDisabled_ = true;

    std::string_view text = accessText_;
    std::size_t lineStart = 0;
    while (lineStart <= text.size()) {
        std::size_t lineEnd = text.find('\n', lineStart);
        if (lineEnd == std::string_view::npos)
            lineEnd = text.size();
        std::string line(text.substr(lineStart, lineEnd - lineStart));
        lineStart = lineEnd + 1;

        const bool plain = isPlain(line);
        if (plain ? line.find_first_not_of(" \t") == std::string::npos : p.blank.matches(line))
            continue;
        bool commented = false;
        if (std::size_t hash = line.find('#'); hash != std::string::npos) {
            if (plain) {
                line.erase(0, hash + 1);
                commented = true;
            } else if (auto m = p.comment.firstMatch(line)) {
                line = (*m)[1];
                commented = true;
            }
        }
        if (plain ? namesManagedWord(line) : p.managed.matches(line))
            continue;

        const bool mayRequire = !plain || containsWord(line, "require");
        const bool mayAddress = !plain || containsWord(line, "allow") || containsWord(line, "deny");
        const bool maySatisfy = !plain || containsWord(line, "satisfy");
        std::optional<KLRegex::Match> m;
        bool passwordDirective = false;
        bool addressDirective = false;
        if (mayRequire && p.validUser.matches(line)) {
            auth_[kRequireUser] = KLPlist::stringArray({kValidUser});
            passwordDirective = true;
        } else if (mayRequire && (m = p.requireUser.firstMatch(line))) {
            auth_[kRequireUser] = knownNames((*m)[1], [&](const std::string& n) { return pane && pane->hasUser(n); });
            passwordDirective = true;
        } else if (mayRequire && (m = p.requireGroup.firstMatch(line))) {
            auth_[kRequireGroup] = knownNames((*m)[1], [&](const std::string& n) { return pane && pane->hasGroup(n); });
            passwordDirective = true;
        } else if (mayAddress && (m = p.address.firstMatch(line))) {
            const std::string& directive = (*m)[1];
            KLPlist::Array kept;
            for (std::string& piece : splitAtSpaces((*m)[2])) {
                if (pane && KLAddressLookup::contains(pane->addresses(), piece)) {
                    kept.emplace_back(std::move(piece));
                } else if (piece == "all" && equalsIgnoringCase(directive, kDenyFrom)) {
                    auth_[kAllowOrDeny] = true;
                } else if (pane && piece != "all" && piece != kPlaceholder && p.discoverable.matches(piece) &&
                           shouldDiscover()) {
                    KLAddressLookup::append(pane->addresses(), piece);
                    kept.emplace_back(std::move(piece));
                }
            }
            auth_[directive] = KLPlist(std::move(kept));
            addressDirective = true;
        } else if (maySatisfy && (m = p.satisfy.firstMatch(line))) {
            // Also when commented: the writer comments the Satisfy line while
            // only one kind of protection is on, and the choice must survive.
            if (p.any.matches((*m)[1]))
                authStatus_ &= ~kRequireAllBit;
            continue;
        } else {
            userText_.push_back(commented ? "#" + line : line);
            continue;
        }

        if (!commented) {
            authStatus_ |= passwordDirective ? kPasswordBit : 0;
            authStatus_ |= addressDirective ? kAddressBit : 0;
            isDisabled_ = false;
        }
    }
}
