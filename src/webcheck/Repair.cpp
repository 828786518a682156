#include "Repair.h"

#include <string_view>

namespace {

constexpr std::string_view kBlockStart = "<Directory";
constexpr std::string_view kBlockEnd = "</Directory>";
constexpr std::string_view kKeyword = "AllowOverride";
constexpr std::string_view kNone = "None";
constexpr std::string_view kAll = "AllowOverride All";

// The blanks of the repair's patterns within one line (a line never holds
// a line feed; a vertical tab is no blank there).
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\f' || c == '\r'; }

// The end of a run of blanks starting at `at`.
std::size_t afterBlanks(std::string_view line, std::size_t at)
{
    while (at < line.size() && isBlank(line[at]))
        ++at;
    return at;
}

// True when "<Directory", one or more blanks and a text that `argument`
// accepts (given the rest of the line) occur anywhere in the line.
template <class Accept>
bool opensBlock(std::string_view line, Accept argument)
{
    for (std::size_t at = line.find(kBlockStart); at != std::string_view::npos; at = line.find(kBlockStart, at + 1)) {
        std::size_t blanks = at + kBlockStart.size();
        std::size_t rest = afterBlanks(line, blanks);
        if (rest > blanks && argument(line.substr(rest)))
            return true;
    }
    return false;
}

bool opensRootBlock(std::string_view line)
{
    return opensBlock(line, [](std::string_view rest) { return rest.starts_with('/'); });
}

bool opensNamedBlock(std::string_view line, const RepairRules& rules)
{
    std::string shared = "\"" + rules.sharedDirectory + "\"";
    if (opensBlock(line, [&](std::string_view rest) { return rest.starts_with(shared); }))
        return true;
    std::string prefix = "\"" + rules.personalPrefix;
    std::string suffix = rules.personalSuffix + "\"";
    return opensBlock(line, [&](std::string_view rest) {
        if (!rest.starts_with(prefix))
            return false;
        // NAME: at least one character, none of them ends a line.
        std::string_view name = rest.substr(prefix.size());
        std::size_t end = name.find(suffix, 1);
        return end != std::string_view::npos && name.substr(0, end).find_first_of("\r\v\f") == std::string_view::npos;
    });
}

// The line with every "AllowOverride<blanks>None" made "AllowOverride All";
// nothing when the line holds none.
bool allowAll(std::string& line)
{
    std::string out;
    std::size_t copied = 0;
    for (std::size_t at = line.find(kKeyword); at != std::string::npos;) {
        std::size_t blanks = at + kKeyword.size();
        std::size_t none = afterBlanks(line, blanks);
        if (none > blanks && std::string_view(line).substr(none).starts_with(kNone)) {
            out.append(line, copied, at - copied);
            out += kAll;
            copied = none + kNone.size();
            at = line.find(kKeyword, copied);
        } else {
            at = line.find(kKeyword, at + 1);
        }
    }
    if (copied == 0)
        return false;
    out.append(line, copied);
    line = out;
    return true;
}

} // namespace

std::string repairOf(const std::string& text, const RepairRules& rules)
{
    std::string repaired;
    repaired.reserve(text.size() + 64);
    bool inside = false; // one flag for all blocks and the whole text
    std::size_t pos = 0;
    for (;;) {
        std::size_t end = text.find('\n', pos);
        std::string line = text.substr(pos, end == std::string::npos ? std::string::npos : end - pos);
        // The repair tries its three rules in turn, and they share the line
        // they replace and the line that ends a block: in effect the root
        // block's start comes first, then the replacement, then the end,
        // then the other two starts.
        if (opensRootBlock(line))
            inside = true;
        else if (inside && allowAll(line)) {
            // replaced
        } else if (line.find(kBlockEnd) != std::string::npos)
            inside = false;
        else if (opensNamedBlock(line, rules))
            inside = true;
        repaired += line;
        repaired += '\n';
        if (end == std::string::npos)
            break;
        pos = end + 1;
    }
    return repaired;
}
