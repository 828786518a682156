// The access file as the system reads it. The reader never rejects a file:
// managed directives fill the access state, lines the writer regenerates are
// dropped, and everything else is kept for writing back after the block.

#include "KLFSItem.h"

#include "KLAddressLookup.h"
#include "KLByteWords.h"
#include "KLPaneContext.h"
#include "KLRegex.h"
#include "KLStringExtensions.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
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
};

const Patterns& patterns()
{
    static const Patterns p;
    return p;
}

// What one line says. Views point into the text or into the storage the
// pattern reading keeps for the line.
struct LineReading
{
    enum class Kind { Skipped, ValidUser, RequireUser, RequireGroup, Address, Satisfy, Unmanaged };
    Kind kind = Kind::Unmanaged;
    bool commented = false;
    std::string_view line;      // after the comment mark
    std::string_view directive; // "Allow from" or "Deny from" as written
    std::string_view list;      // the names or addresses after the directive
    bool satisfiesAny = false;
};

using KLByteWords::kHighBits;
using KLByteWords::kOnes;

// Printable ASCII and tabs: the usual line. For such a line the patterns
// above are decided by hand: white space is only " " and "\t", "." matches
// every character, and case folding is ASCII folding. Any other line goes
// through the patterns.
bool isPlain(std::string_view line)
{
    std::size_t i = 0;
    // Eight bytes at a time while none is below 0x20 or above 0x7e (exact
    // tests for the presence of such a byte in a word); tabs take the slow road.
    for (; i + 8 <= line.size(); i += 8) {
        std::uint64_t eight = KLByteWords::load(line.data() + i);
        bool control = ((eight - kOnes * 0x20) & ~eight & kHighBits) != 0;
        bool high = ((((eight & ~kHighBits) + kOnes) | eight) & kHighBits) != 0;
        if (control || high)
            break;
    }
    for (; i < line.size(); ++i) {
        char c = line[i];
        if ((c < 0x20 || c > 0x7e) && c != '\t')
            return false;
    }
    return true;
}

char lowered(char c)
{
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
}

// Only plain lines are searched in the copy, so only ASCII letters matter.
void lowerASCII(std::string_view text, std::string& out)
{
    out.assign(text);
    std::size_t i = 0;
    for (; i + 8 <= out.size(); i += 8) {
        std::uint64_t eight = KLByteWords::load(out.data() + i);
        if (eight & kHighBits) {
            for (std::size_t k = i; k < i + 8; ++k)
                out[k] = lowered(out[k]);
            continue;
        }
        // Eight ASCII bytes: 0x20 added to those from 'A' to 'Z'.
        std::uint64_t fromA = eight + kOnes * (0x80 - 'A');
        std::uint64_t pastZ = eight + kOnes * (0x80 - 'Z' - 1);
        eight |= (fromA & ~pastZ & kHighBits) >> 2;
        std::memcpy(out.data() + i, &eight, 8);
    }
    for (; i < out.size(); ++i)
        out[i] = lowered(out[i]);
}

std::size_t skipBlanks(std::string_view text, std::size_t at)
{
    std::size_t next = text.find_first_not_of(" \t", at);
    return next == std::string_view::npos ? text.size() : next;
}

struct Phrase
{
    std::size_t start;
    std::size_t wordsEnd;
    std::size_t end; // after the blanks that follow, when asked for
};

// The leftmost match of "word1\s+word2..." (with "\s+" after the last word
// when blanksAfter) in a lower-cased plain line. Blank runs are taken whole,
// as the greedy pattern takes them before a word or a final "(.*)".
std::optional<Phrase> findPhrase(std::string_view lower, std::initializer_list<std::string_view> words,
                                 bool blanksAfter)
{
    std::string_view first = *words.begin();
    for (std::size_t at = lower.find(first); at != std::string_view::npos; at = lower.find(first, at + 1)) {
        std::size_t end = at + first.size();
        bool found = true;
        for (auto word = words.begin() + 1; found && word != words.end(); ++word) {
            std::size_t next = skipBlanks(lower, end);
            found = next > end && lower.substr(next).starts_with(*word);
            end = next + word->size();
        }
        if (!found)
            continue;
        std::size_t wordsEnd = end;
        if (blanksAfter) {
            end = skipBlanks(lower, end);
            if (end == wordsEnd)
                continue;
        }
        return Phrase{at, wordsEnd, end};
    }
    return std::nullopt;
}

// Where the blank run at "at" ends; npos when none starts there.
std::size_t afterBlanks(std::string_view lower, std::size_t at)
{
    std::size_t next = skipBlanks(lower, at);
    return next > at ? next : std::string_view::npos;
}

// The three "Require" patterns over one pass of the line's "require"s:
// whether "require\s+valid-user" is there, and where the lists of the
// leftmost "require\s+user\s+" and "require\s+group\s+" start.
struct Requires
{
    bool validUser = false;
    std::size_t users = std::string_view::npos;
    std::size_t groups = std::string_view::npos;
};

Requires findRequires(std::string_view lower)
{
    constexpr std::string_view kRequire = "require";
    Requires found;
    for (std::size_t at = lower.find(kRequire); at != std::string_view::npos; at = lower.find(kRequire, at + 1)) {
        std::size_t word = afterBlanks(lower, at + kRequire.size());
        if (word == std::string_view::npos)
            continue;
        std::string_view rest = lower.substr(word);
        if (rest.starts_with("valid-user")) {
            found.validUser = true; // decides the line, wherever it stands
            return found;
        }
        if (found.users == std::string_view::npos && rest.starts_with("user"))
            found.users = afterBlanks(lower, word + 4);
        else if (found.groups == std::string_view::npos && rest.starts_with("group"))
            found.groups = afterBlanks(lower, word + 5);
    }
    return found;
}

bool namesManagedWord(std::string_view line, std::string_view lower)
{
    if (line.find('#') != std::string_view::npos || lower.find("order") != std::string_view::npos)
        return true;
    for (std::size_t at = lower.find("auth"); at != std::string_view::npos; at = lower.find("auth", at + 1)) {
        std::string_view rest = lower.substr(at + 4);
        for (std::string_view word : {"type", "name", "userfile", "groupfile"}) {
            if (rest.starts_with(word))
                return true;
        }
    }
    return false;
}

// A plain line, with lower its lower-cased copy.
LineReading readPlain(std::string_view line, std::string_view lower)
{
    using Kind = LineReading::Kind;
    LineReading r;
    if (line.find_first_not_of(" \t") == std::string_view::npos) {
        r.kind = Kind::Skipped;
        return r;
    }
    if (std::size_t hash = line.find('#'); hash != std::string_view::npos) {
        line.remove_prefix(hash + 1);
        lower.remove_prefix(hash + 1);
        r.commented = true;
    }
    r.line = line;
    if (namesManagedWord(line, lower)) {
        r.kind = Kind::Skipped;
    } else if (Requires require = findRequires(lower); require.validUser) {
        r.kind = Kind::ValidUser;
    } else if (require.users != std::string_view::npos) {
        r.kind = Kind::RequireUser;
        r.list = line.substr(require.users);
    } else if (require.groups != std::string_view::npos) {
        r.kind = Kind::RequireGroup;
        r.list = line.substr(require.groups);
    } else if (auto allow = findPhrase(lower, {"allow", "from"}, true),
               deny = findPhrase(lower, {"deny", "from"}, true);
               allow || deny) {
        const Phrase& first = !deny || (allow && allow->start < deny->start) ? *allow : *deny;
        r.kind = Kind::Address;
        r.directive = line.substr(first.start, first.wordsEnd - first.start);
        r.list = line.substr(first.end);
    } else if (auto satisfy = findPhrase(lower, {"satisfy"}, true)) {
        r.kind = Kind::Satisfy;
        r.satisfiesAny = lower.find("any", satisfy->end) != std::string_view::npos;
    }
    return r;
}

// Any other line, through the patterns; what the reading points at lives in
// line and match until the next line.
LineReading readPatterned(std::string& line, std::optional<KLRegex::Match>& m)
{
    using Kind = LineReading::Kind;
    const Patterns& p = patterns();
    LineReading r;
    if (p.blank.matches(line)) {
        r.kind = Kind::Skipped;
        return r;
    }
    if (line.find('#') != std::string::npos) {
        if (auto comment = p.comment.firstMatch(line)) {
            line = (*comment)[1];
            r.commented = true;
        }
    }
    r.line = line;
    if (p.managed.matches(line)) {
        r.kind = Kind::Skipped;
    } else if (p.validUser.matches(line)) {
        r.kind = Kind::ValidUser;
    } else if ((m = p.requireUser.firstMatch(line))) {
        r.kind = Kind::RequireUser;
        r.list = (*m)[1];
    } else if ((m = p.requireGroup.firstMatch(line))) {
        r.kind = Kind::RequireGroup;
        r.list = (*m)[1];
    } else if ((m = p.address.firstMatch(line))) {
        r.kind = Kind::Address;
        r.directive = (*m)[1];
        r.list = (*m)[2];
    } else if ((m = p.satisfy.firstMatch(line))) {
        r.kind = Kind::Satisfy;
        r.satisfiesAny = p.any.matches((*m)[1]);
    }
    return r;
}

// Calls visit with each space-separated piece of list, trimmed.
template <class Visit>
void forEachPiece(std::string_view list, Visit visit)
{
    constexpr std::string_view kWhitespace = " \t\r\n";
    std::string piece;
    std::size_t start = 0;
    for (;;) {
        std::size_t space = list.find(' ', start);
        std::string_view raw = list.substr(start, space - start);
        std::size_t first = raw.find_first_not_of(kWhitespace);
        if (first == std::string_view::npos)
            piece.clear();
        else
            piece.assign(raw.substr(first, raw.find_last_not_of(kWhitespace) - first + 1));
        visit(piece);
        if (space == std::string_view::npos)
            return;
        start = space + 1;
    }
}

// Room for the pieces of a list, up to a bound (a long list of unknown
// names must not take memory for all of them).
KLPlist::Array arrayForPieces(std::string_view list)
{
    KLPlist::Array array;
    array.reserve(std::min<std::size_t>(std::count(list.begin(), list.end(), ' ') + 1, 64));
    return array;
}

// The names of the list that the pane knows, in order.
template <class Known>
KLPlist knownNames(std::string_view list, Known known)
{
    KLPlist::Array kept = arrayForPieces(list);
    forEachPiece(list, [&](const std::string& piece) {
        if (known(piece))
            kept.emplace_back(piece);
    });
    return KLPlist(std::move(kept));
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

// What "[a-z0-9]" finds; UTF-8 keeps ASCII bytes to ASCII characters.
bool isDiscoverable(std::string_view piece)
{
    return piece.find_first_of("abcdefghijklmnopqrstuvwxyz0123456789") != std::string_view::npos;
}

} // namespace

void KLFSItem::parseAccessString()
{
    using Kind = LineReading::Kind;
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

    const std::string_view text = accessText_;
    // Kept from one file to the next: a folder listing reads thousands.
    thread_local std::string lowerText;
    lowerASCII(text, lowerText);
    std::string patternedLine;
    std::optional<KLRegex::Match> match;
    std::size_t lineStart = 0;
    while (lineStart <= text.size()) {
        std::size_t lineEnd = text.find('\n', lineStart);
        if (lineEnd == std::string_view::npos)
            lineEnd = text.size();
        std::string_view line = text.substr(lineStart, lineEnd - lineStart);
        std::string_view lower = std::string_view(lowerText).substr(lineStart, lineEnd - lineStart);
        lineStart = lineEnd + 1;

        LineReading r;
        if (isPlain(line)) {
            r = readPlain(line, lower);
        } else {
            patternedLine.assign(line);
            r = readPatterned(patternedLine, match);
        }

        switch (r.kind) {
        case Kind::Skipped:
            continue;
        case Kind::Unmanaged:
            userText_.push_back(r.commented ? "#" + std::string(r.line) : std::string(r.line));
            continue;
        case Kind::Satisfy:
            // Also when commented: the writer comments the Satisfy line while
            // only one kind of protection is on, and the choice must survive.
            if (r.satisfiesAny)
                authStatus_ &= ~kRequireAllBit;
            continue;
        case Kind::ValidUser:
            auth_[kRequireUser] = KLPlist::stringArray({kValidUser});
            break;
        case Kind::RequireUser:
            auth_[kRequireUser] = knownNames(r.list, [&](const std::string& n) { return pane && pane->hasUser(n); });
            break;
        case Kind::RequireGroup:
            auth_[kRequireGroup] = knownNames(r.list, [&](const std::string& n) { return pane && pane->hasGroup(n); });
            break;
        case Kind::Address: {
            KLPlist::Array kept = arrayForPieces(r.list);
            forEachPiece(r.list, [&](const std::string& piece) {
                if (pane && KLAddressLookup::contains(pane->addresses(), piece)) {
                    kept.emplace_back(piece);
                } else if (piece == "all" && equalsIgnoringCase(r.directive, kDenyFrom)) {
                    auth_[kAllowOrDeny] = true;
                } else if (pane && piece != "all" && piece != kPlaceholder && isDiscoverable(piece) &&
                           shouldDiscover()) {
                    KLAddressLookup::append(pane->addresses(), piece);
                    kept.emplace_back(piece);
                }
            });
            auth_[std::string(r.directive)] = KLPlist(std::move(kept));
            break;
        }
        }

        if (!r.commented) {
            authStatus_ |= r.kind == Kind::Address ? kAddressBit : kPasswordBit;
            isDisabled_ = false;
        }
    }
}
