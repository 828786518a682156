#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class KLConfParser;

// Receives the lines a scan found, one call per (line, keyword) hit, on the
// main thread and in the order the hits were found.
class KLConfParserDelegate
{
public:
    virtual ~KLConfParserDelegate() = default;
    virtual void parsedToken(KLConfParser& parser, const std::string& token, const std::string& line,
                             std::int32_t lineNumber, const std::optional<std::string>& file) = 0;
};

// Scans a line-oriented configuration text on a background thread: strips
// the comments of each line and reports every line that begins with one of
// the keywords. The comment syntaxes, quote characters and case sensitivity
// are settable; the meaning of a hit belongs to the delegate.
//
// Parsers live in shared pointers: a running scan keeps its parser alive.
// The delegate is held weakly, so a delegate that has gone away simply
// receives nothing (a strong reference would tie the controller that owns
// the parsers into a cycle with them).
class KLConfParser : public std::enable_shared_from_this<KLConfParser>
{
public:
    enum CommentType : std::uint32_t {
        KLConfCommentHash = 1,
        KLConfCommentDashOrSemicolon = 2, // "--" and ";" share one bit
        KLConfCommentDoubleSlash = 4,
        KLConfCommentSlashStar = 0x1000,
        KLConfCommentParenStar = 0x2000,
    };
    enum QuoteType : std::uint32_t {
        KLConfQuoteSingle = 1,
        KLConfQuoteDouble = 2,
        KLConfQuoteBacktick = 4,
    };

    // Nothing when no file exists at the path; an unreadable file gives an
    // empty text. The encoding is detected from the file.
    static std::shared_ptr<KLConfParser> initWithFile(const std::string& path);
    static std::shared_ptr<KLConfParser> initWithString(std::string conf);

    std::uint32_t commentType() const { return commentType_; }
    void setCommentType(std::uint32_t type) { commentType_ = type; }
    std::uint32_t quoteType() const { return quoteType_; }
    void setQuoteType(std::uint32_t type) { quoteType_ = type; }
    bool caseSensitive() const { return caseSensitive_; }
    void setCaseSensitive(bool sensitive) { caseSensitive_ = sensitive; }
    bool beginMatchOnly() const { return true; }

    // These four are ignored while a scan runs.
    const std::vector<std::string>& tokens() const { return tokens_; }
    void setTokens(std::vector<std::string> tokens);
    const std::string& conf() const { return conf_; }
    void setConf(std::string conf);
    const std::optional<std::string>& path() const { return path_; }
    void setPath(std::optional<std::string> path);
    std::weak_ptr<KLConfParserDelegate> delegate() const { return delegate_; }
    void setDelegate(std::weak_ptr<KLConfParserDelegate> delegate);

    // Starts a scan on a detached thread unless one runs already, or there
    // is no delegate, no keyword or no text. Returns at once; the scan has
    // ended when isParsing() turns false (hits may still be on their way).
    void parse();
    bool isParsing() const { return isParsing_.load(std::memory_order_acquire); }
    // Hits found but not yet handed to the delegate on the main thread. A
    // scan has fully ended when neither this nor isParsing() holds.
    bool hasUndeliveredHits() const { return undelivered_.load(std::memory_order_acquire) > 0; }

    // The comment removal of one line, as a scan applies it. A block comment
    // still open at the end of the line stays open for the next line, and
    // for the next scan.
    std::string stripComments(std::string_view line);
    char currentCommentMarker() const { return currentCommentMarker_; }

private:
    explicit KLConfParser(std::string conf);
    struct Hit;
    void scan();
    // The comment removal into out; false (out untouched) when no comment
    // touched the line, which then stays as it is.
    bool stripCommentsInto(std::string_view line, std::string& out);
    void deliver(std::vector<Hit>& hits);
    // The keyword the line begins with, per the case rule.
    bool lineBeginsWith(std::string_view line, std::size_t tokenIndex) const;

    std::weak_ptr<KLConfParserDelegate> delegate_;
    std::optional<std::string> path_;
    std::string conf_;
    std::vector<std::string> tokens_;
    std::vector<std::string> foldedTokens_; // case-folded, for insensitive matching
    std::vector<bool> foldedASCII_;         // per folded keyword: ASCII only
    std::atomic<std::uint32_t> commentType_{KLConfCommentHash};
    std::atomic<std::uint32_t> quoteType_{KLConfQuoteSingle | KLConfQuoteDouble};
    std::atomic<bool> caseSensitive_{false};
    std::atomic<bool> isParsing_{false};
    std::atomic<int> undelivered_{0}; // batches posted and not yet run
    char currentCommentMarker_ = 0; // "/" or "(" while a block comment is open
    std::int32_t lineNumber_ = 0;
    std::string lineBuffer_;
    std::vector<std::pair<std::size_t, long>> kept_; // segments kept by stripCommentsInto
};
