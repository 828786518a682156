#include "KLConfParser.h"

#include "KLFileExtensions.h"
#include "KLLog.h"
#include "KLRunLoop.h"
#include "KLStringExtensions.h"
#include "KLTextFile.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

#include <array>
#include <cstring>
#include <system_error>
#include <thread>
#include <utility>

namespace {

char asciiLower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string foldCase(std::string_view s)
{
    if (isASCII(s)) {
        std::string out(s);
        for (char& c : out)
            c = asciiLower(c);
        return out;
    }
    icu::UnicodeString u = icu::UnicodeString::fromUTF8(icu::StringPiece(s.data(), static_cast<int32_t>(s.size())));
    u.foldCase();
    std::string out;
    u.toUTF8String(out);
    return out;
}

// The scanner's skip set: ASCII white space and line ends, NEL, and the
// Unicode space, line and paragraph separators.
std::size_t skipWhitespaceAndNewlines(std::string_view text, std::size_t pos)
{
    while (pos < text.size()) {
        auto c = static_cast<unsigned char>(text[pos]);
        if (c < 0x80) {
            if (c != ' ' && (c < '\t' || c > '\r'))
                return pos;
            ++pos;
            continue;
        }
        int32_t i = static_cast<int32_t>(pos);
        UChar32 cp;
        U8_NEXT(reinterpret_cast<const uint8_t*>(text.data()), i, static_cast<int32_t>(text.size()), cp);
        if (cp < 0)
            return pos;
        int8_t type = u_charType(cp);
        if (cp != 0x85 && type != U_SPACE_SEPARATOR && type != U_LINE_SEPARATOR && type != U_PARAGRAPH_SEPARATOR)
            return pos;
        pos = static_cast<std::size_t>(i);
    }
    return pos;
}

// The characters the comment removal looks at.
constexpr std::array<bool, 256> kSpecial = [] {
    std::array<bool, 256> table{};
    for (unsigned char c : std::string_view("\\'\"`#-;/*("))
        table[c] = true;
    return table;
}();

bool isSpecial(char c)
{
    return kSpecial[static_cast<unsigned char>(c)];
}

} // namespace

std::shared_ptr<KLConfParser> KLConfParser::initWithFile(const std::string& path)
{
    if (!fileExists(path))
        return nullptr;
    auto parser = initWithString(KLTextFile::read(path).value_or(std::string()));
    parser->path_ = path;
    return parser;
}

std::shared_ptr<KLConfParser> KLConfParser::initWithString(std::string conf)
{
    return std::shared_ptr<KLConfParser>(new KLConfParser(std::move(conf)));
}

KLConfParser::KLConfParser(std::string conf) : conf_(std::move(conf)) {}

void KLConfParser::setTokens(std::vector<std::string> tokens)
{
    if (isParsing())
        return;
    tokens_ = std::move(tokens);
    foldedTokens_.clear();
    foldedASCII_.clear();
    for (const std::string& token : tokens_) {
        foldedTokens_.push_back(foldCase(token));
        foldedASCII_.push_back(isASCII(foldedTokens_.back()));
    }
}

void KLConfParser::setConf(std::string conf)
{
    if (!isParsing())
        conf_ = std::move(conf);
}

void KLConfParser::setPath(std::optional<std::string> path)
{
    if (!isParsing())
        path_ = std::move(path);
}

void KLConfParser::setDelegate(std::weak_ptr<KLConfParserDelegate> delegate)
{
    if (!isParsing())
        delegate_ = std::move(delegate);
}

void KLConfParser::parse()
{
    if (isParsing() || delegate_.expired() || tokens_.empty() || conf_.empty())
        return;
    isParsing_.store(true, std::memory_order_release);
    try {
        std::thread([self = shared_from_this()] { self->scan(); }).detach();
    } catch (const std::system_error& error) {
        // Out of threads (many included files at once): this file goes
        // unscanned, and the parser stays usable.
        isParsing_.store(false, std::memory_order_release);
        KLLog("KLConfParser: cannot start a scan of " + path_.value_or("(text)") + ": " + error.what());
    }
}

// The keyword as it was when the line was found: once the scan is over the
// keywords and path may change before the main thread delivers the hits.
struct KLConfParser::Hit
{
    std::string token;
    std::string line;
    std::int32_t lineNumber;
};

void KLConfParser::scan()
{
    // Hits go to the main thread in batches, in order: one wake-up of the
    // main thread per hit would cost more than the scan itself.
    constexpr std::size_t kBatch = 256;
    std::vector<Hit> hits;
    std::string_view text = conf_;
    lineNumber_ = 1;
    lineBuffer_.clear();
    std::size_t pos = 0;
    for (;;) {
        pos = skipWhitespaceAndNewlines(text, pos);
        if (pos >= text.size())
            break;
        std::size_t end = text.find('\n', pos);
        if (end == std::string_view::npos)
            end = text.size();
        std::string_view line = text.substr(pos, end - pos);
        if (stripCommentsInto(line, lineBuffer_))
            line = lineBuffer_;
        if (!line.empty()) {
            for (std::size_t t = 0; t < tokens_.size(); ++t) {
                if (lineBeginsWith(line, t))
                    hits.push_back({tokens_[t], std::string(line), lineNumber_});
            }
            if (hits.size() >= kBatch)
                deliver(hits);
        }
        pos = end + 1;
        ++lineNumber_;
    }
    deliver(hits);
    isParsing_.store(false, std::memory_order_release);
    // Wakes a main thread that waits for the end of the scan.
    KLRunLoop::main().post([] {});
}

void KLConfParser::deliver(std::vector<Hit>& hits)
{
    if (hits.empty())
        return;
    undelivered_.fetch_add(1, std::memory_order_acq_rel);
    KLRunLoop::main().post([self = shared_from_this(), delegate = delegate_, path = path_, hits = std::move(hits)] {
        for (const Hit& hit : hits) {
            // Looked up per hit: a delegate may go away in the middle.
            if (auto receiver = delegate.lock())
                receiver->parsedToken(*self, hit.token, hit.line, hit.lineNumber, path);
        }
        self->undelivered_.fetch_sub(1, std::memory_order_acq_rel);
    });
    hits.clear();
}

bool KLConfParser::lineBeginsWith(std::string_view line, std::size_t tokenIndex) const
{
    // Only a hit at the very start of the line counts, so the first
    // occurrence of the keyword counts exactly when the line begins with it.
    // An empty keyword is never found.
    if (caseSensitive_) {
        const std::string& token = tokens_[tokenIndex];
        return !token.empty() && line.starts_with(token);
    }
    const std::string& folded = foldedTokens_[tokenIndex];
    if (folded.empty())
        return false;
    if (foldedASCII_[tokenIndex]) {
        if (line.size() < folded.size())
            return false;
        std::size_t i = 0;
        for (; i < folded.size(); ++i) {
            if (static_cast<unsigned char>(line[i]) >= 0x80)
                break; // a character that may fold to ASCII: the full test below
            if (asciiLower(line[i]) != folded[i])
                return false;
        }
        if (i == folded.size())
            return true;
    }
    return foldCase(line).starts_with(folded);
}

std::string KLConfParser::stripComments(std::string_view line)
{
    std::string out;
    return stripCommentsInto(line, out) ? out : std::string(line);
}

bool KLConfParser::stripCommentsInto(std::string_view line, std::string& out)
{
    const std::uint32_t comments = commentType_;
    const std::uint32_t quotes = quoteType_;
    bool escaped = false;
    char quote = 0;
    char previous = 0;
    std::size_t start = 0;
    long length = 0;
    bool done = false;
    // Kept segments as (start, length); a length below one keeps nothing.
    kept_.clear();
    if (currentCommentMarker_)
        kept_.emplace_back(0, 0);

    for (std::size_t i = 0; i < line.size() && !done; ++i) {
        const char c = line[i];
        if (!currentCommentMarker_ && !isSpecial(c)) {
            // A run of ordinary characters decides nothing: passed over at once.
            std::size_t end = i + 1;
            while (end < line.size() && !isSpecial(line[end]))
                ++end;
            length += static_cast<long>(end - i);
            previous = line[end - 1];
            i = end - 1;
            continue;
        }
        if (currentCommentMarker_) {
            if (previous == '*' && ((c == '/' && currentCommentMarker_ == '/') ||
                                    (c == ')' && currentCommentMarker_ == '('))) {
                currentCommentMarker_ = 0;
                start = i + 1;
                length = -1;
            }
        } else if (c == '\\') {
            // Only another backslash clears it: after a single backslash no
            // comment is recognised for the rest of the line.
            escaped = !escaped;
        } else if ((c == '\'' && (quotes & KLConfQuoteSingle)) || (c == '"' && (quotes & KLConfQuoteDouble)) ||
                   (c == '`' && (quotes & KLConfQuoteBacktick))) {
            if (!quote)
                quote = c;
            else if (c == quote && !escaped)
                quote = 0;
        } else if (!quote && !escaped) {
            bool lineComment = false;
            if (c == '#')
                lineComment = comments & KLConfCommentHash;
            else if ((c == '-' && previous == '-') || c == ';')
                lineComment = comments & KLConfCommentDashOrSemicolon;
            else if (c == '/' && previous == '/')
                lineComment = comments & KLConfCommentDoubleSlash;
            else if (c == '*' && ((previous == '/' && (comments & KLConfCommentSlashStar)) ||
                                  (previous == '(' && (comments & KLConfCommentParenStar)))) {
                currentCommentMarker_ = previous;
                kept_.emplace_back(start, length - 1);
            }
            if (lineComment) {
                // The first character of a two-character marker is kept.
                kept_.emplace_back(start, length);
                done = true;
            }
        }
        previous = c;
        ++length;
    }

    if (kept_.empty())
        return false;
    out.clear();
    for (const auto& [from, count] : kept_) {
        if (count > 0)
            out.append(line.substr(from, static_cast<std::size_t>(count)));
    }
    return true;
}
