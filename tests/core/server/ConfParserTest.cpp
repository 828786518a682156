#include "KLConfParser.h"
#include "KLPlainRunLoop.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using Parser = KLConfParser;

struct Hit {
    std::string token, line;
    std::int32_t number;
    std::optional<std::string> file = std::nullopt;
    bool operator==(const Hit&) const = default;
};
using Hits = std::vector<Hit>;

// Counts its hits in a counter that outlives it.
class Recorder : public KLConfParserDelegate {
public:
    void parsedToken(KLConfParser&, const std::string& token, const std::string& line, std::int32_t number,
                     const std::optional<std::string>& file) override {
        hits.push_back({token, line, number, file});
        ++*calls;
    }
    Hits hits;
    std::shared_ptr<int> calls = std::make_shared<int>(0);
};

class ConfParserTest : public ::testing::Test {
protected:
    // Waits for the scan's end without running the main loop, so its hits are still queued.
    static bool scannedButUndelivered(const KLConfParser& p)
    {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (p.isParsing() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return !p.isParsing() && p.hasUndeliveredHits();
    }
    void SetUp() override { KLRunLoop::setMain(loop); }
    void TearDown() override { KLRunLoop::setMain(nullptr); }

    std::shared_ptr<KLConfParser> parser(const std::string& conf, std::vector<std::string> tokens = {"Include"})
    {
        auto p = KLConfParser::initWithString(conf);
        p->setTokens(std::move(tokens));
        p->setDelegate(recorder);
        return p;
    }
    Hits scan(const std::shared_ptr<KLConfParser>& p)
    {
        recorder->hits.clear();
        p->parse();
        EXPECT_TRUE(loop->runUntil([&] { return !p->isParsing() && !p->hasUndeliveredHits(); }, 30));
        return recorder->hits;
    }

    std::shared_ptr<KLPlainRunLoop> loop = std::make_shared<KLPlainRunLoop>();
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
};

TEST_F(ConfParserTest, StrippingCommentsHonoursQuotesEscapesAndMarkerKinds)
{
    constexpr std::uint32_t all = Parser::KLConfCommentHash | Parser::KLConfCommentDashOrSemicolon |
                                  Parser::KLConfCommentDoubleSlash;
    constexpr std::uint32_t both = Parser::KLConfQuoteSingle | Parser::KLConfQuoteDouble;
    constexpr std::uint32_t slash = Parser::KLConfCommentHash | Parser::KLConfCommentSlashStar;
    constexpr std::uint32_t paren = Parser::KLConfCommentHash | Parser::KLConfCommentParenStar;
    const struct {
        std::uint32_t comments, quotes;
        std::string line, expected;
    } cases[] = {
        // Line comments keep the first character of two-character markers.
        {1, 3, "a # b", "a "}, {1, 3, "#whole", ""}, {1, 3, "a ; b // c -- d", "a ; b // c -- d"},
        {2, 3, "a ; b", "a "}, {2, 3, "x -- y", "x -"}, {2, 3, "a-b - c", "a-b - c"},
        {4, 3, "a // b", "a /"}, {4, 3, "a / b", "a / b"}, {all, 3, "a // b # c", "a /"}, {0, 3, "a # b", "a # b"},
        // A marker inside quotes stays; the other quote character does not close the open one.
        {1, both, R"(DocumentRoot "/srv/a#b" # c)", R"(DocumentRoot "/srv/a#b" )"},
        {1, both, "Alias '/x#' # c", "Alias '/x#' "},
        {1, both, R"(a "it's # here" # c)", R"(a "it's # here" )"},
        {1, both, R"(a "open # to the end)", R"(a "open # to the end)"},
        // Backticks only when asked for.
        {1, both | Parser::KLConfQuoteBacktick, "`#` # c", "`#` "}, {1, both, "`#` # c", "`"}, {1, 0, R"("#")", "\""},
        // A single backslash stays in force to the end of the line, a second one clears it; an escaped
        // quote does not close, and the flag outlives the quote.
        {1, both, R"(a \n # b)", R"(a \n # b)"}, {1, both, R"(a \\ # b)", R"(a \\ )"},
        {1, both, R"("a\"#b" # c)", R"("a\"#b" # c)"},
        // Block comments on one line.
        {slash, 3, "x /* a */ y", "x "}, {slash, 3, "/* a */ b", ""}, {slash, 3, "/* a */ b # c", " b "},
        {paren, 3, "(* a *) b # c", " b "}, {paren, 3, "x /* a */ y", "x /* a */ y"},
        {slash, 3, "x (* a *) y", "x (* a *) y"}, {slash, 3, R"(x "/*" y)", R"(x "/*" y)"},
    };
    for (const auto& c : cases) {
        auto p = KLConfParser::initWithString("x");
        p->setCommentType(c.comments);
        p->setQuoteType(c.quotes);
        EXPECT_EQ(p->stripComments(c.line), c.expected) << c.line << " with comments " << c.comments;
    }
}

TEST_F(ConfParserTest, BlockCommentCarriesOverLinesAndScans)
{
    auto p = KLConfParser::initWithString("x");
    p->setCommentType(Parser::KLConfCommentHash | Parser::KLConfCommentSlashStar);
    // Line by line: the text and the open marker after it. Text after a close is kept only up to a later
    // line comment; one reopened right after a close ("*/*") keeps nothing between them and stays open.
    const struct {
        std::string line, kept;
        char marker;
    } steps[] = {
        {"a /* b", "a ", '/'}, {"Include hidden # not a comment here", "", '/'}, {"c */ d", "", 0},
        {"e # f", "e ", 0}, {"a /* x */* y", "a ", '/'}, {"*/ z # q", " z ", 0},
    };
    for (const auto& s : steps) {
        EXPECT_EQ(p->stripComments(s.line), s.kept) << s.line;
        EXPECT_EQ(p->currentCommentMarker(), s.marker) << s.line;
    }
    // Through scans: the marker survives the end of a scan.
    auto scanned = parser("Include a /* open\n", {"Include"});
    scanned->setCommentType(Parser::KLConfCommentHash | Parser::KLConfCommentSlashStar);
    EXPECT_EQ(scan(scanned), (Hits{{"Include", "Include a ", 1}}));
    scanned->setConf("Include b\n\n*/\nInclude c\n");
    EXPECT_EQ(scan(scanned), (Hits{{"Include", "Include c", 3}}));
}

TEST_F(ConfParserTest, HitsAreLinesWithContentBeginningWithTheKeyword)
{
    auto sensitive = parser("include a.conf\nInclude b.conf\n");
    sensitive->setCaseSensitive(true);
    const struct {
        std::shared_ptr<KLConfParser> parser;
        Hits hits;
    } cases[] = {
        {parser("   Include a.conf\n", {"include"}), {{"include", "Include a.conf", 1}}},
        {parser("Foo Include a.conf\n"), {}},
        {parser("include a.conf\n"), {{"Include", "include a.conf", 1}}},
        {sensitive, {{"Include", "Include b.conf", 2}}},
        // A plain prefix: one callback per matching keyword, in keyword order.
        {parser("IncludeOptional x\n", {"IncludeOptional", "ErrorLog", "Include"}),
         {{"IncludeOptional", "IncludeOptional x", 1}, {"Include", "IncludeOptional x", 1}}},
        {parser("Include x\n", {""}), {}}, // an empty keyword is never found
        // Case folding beyond ASCII; the Kelvin sign folds to an ASCII "k".
        {parser("\xC3\xA9" "crire x\n", {"\xC3\x89" "CRIRE"}), {{"\xC3\x89" "CRIRE", "\xC3\xA9" "crire x", 1}}},
        {parser("\xE2\x84\xAA" "eepAlive On\nKeepAliveTimeout 5\n", {"keepalive"}),
         {{"keepalive", "\xE2\x84\xAA" "eepAlive On", 1}, {"keepalive", "KeepAliveTimeout 5", 2}}},
        {parser("Kee\xC3\xA9\n", {"keep"}), {}},
        // Comments and blank lines are not counted; no-break and em space lead; a line separator is no line end.
        {parser("# Include a.conf\n\n   \t\nInclude b.conf\r\n\r\n\xC2\xA0\xE2\x80\x83Include c.conf\n"
                "Include d\xE2\x80\xA8Include e\n"),
         {{"Include", "Include b.conf\r", 2}, {"Include", "Include c.conf", 3},
          {"Include", "Include d\xE2\x80\xA8Include e", 4}}},
        {parser("\n\nInclude z"), {{"Include", "Include z", 1}}}, // a last line without a line feed
        {parser(""), {}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(scan(c.parser), c.hits) << c.parser->conf();
}

TEST_F(ConfParserTest, FilesAreReadWithTheirEncodingAndHitsArriveInOrderWithTheFile)
{
    using namespace std::string_literals; // UTF-16 with a byte order mark
    TempDir dir;
    EXPECT_EQ(KLConfParser::initWithFile(dir.file("missing.conf")), nullptr);
    const std::string path = dir.write("two.conf", "\xFF\xFEI\0n\0c\0l\0u\0d\0e\0 \0" "1\0\n\0E\0r\0r\0o\0r\0L\0o\0g\0 \0" "2\0\n\0"s);
    auto p = KLConfParser::initWithFile(path);
    ASSERT_TRUE(p);
    p->setTokens({"ErrorLog", "Include"});
    p->setDelegate(recorder);
    EXPECT_EQ(scan(p), (Hits{{"Include", "Include 1", 1, path}, {"ErrorLog", "ErrorLog 2", 2, path}}));
}

TEST_F(ConfParserTest, ParseNeedsDelegateAndKeywords)
{
    auto noTokens = parser("Include x", {}), noDelegate = KLConfParser::initWithString("Include x");
    noDelegate->setTokens({"Include"});
    noTokens->parse();
    noDelegate->parse();
    EXPECT_FALSE(noTokens->isParsing() || noDelegate->isParsing());
}

TEST_F(ConfParserTest, QueuedHitsKeepTheirScansSettingsAndDieWithTheirDelegate)
{
    auto p = parser("Include a\nInclude b\n");
    p->parse();
    ASSERT_TRUE(scannedButUndelivered(*p));
    p->setTokens({"Other"}); // idle again: the settings change before the hits reach the delegate
    p->setPath("/elsewhere");
    loop->runPending();
    EXPECT_EQ(recorder->hits, (Hits{{"Include", "Include a", 1}, {"Include", "Include b", 2}}));

    auto gone = std::make_shared<Recorder>();
    std::shared_ptr<int> calls = gone->calls;
    std::weak_ptr<Recorder> watch = gone;
    p->setDelegate(gone);
    p->setTokens({"Include"});
    p->parse();
    ASSERT_TRUE(scannedButUndelivered(*p));
    gone.reset();
    EXPECT_TRUE(watch.expired()) << "the queued hits keep the delegate alive";
    loop->runPending();
    EXPECT_EQ(std::pair(*calls, p->hasUndeliveredHits()), std::pair(0, false));
}

} // namespace
