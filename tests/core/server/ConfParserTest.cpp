#include "KLConfParser.h"
#include "KLPlainRunLoop.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <thread>

namespace {

using Parser = KLConfParser;

struct Hit {
    std::string token;
    std::string line;
    std::int32_t number;
    std::optional<std::string> file;
    bool operator==(const Hit&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Hit& hit) {
    return out << hit.token << " @" << hit.number << " [" << hit.line << "] " << hit.file.value_or("(null)");
}

class Recorder : public KLConfParserDelegate {
public:
    void parsedToken(KLConfParser&, const std::string& token, const std::string& line, std::int32_t number,
                     const std::optional<std::string>& file) override {
        hits.push_back({token, line, number, file});
    }
    std::vector<Hit> hits;
};

// Counts its calls in a counter that outlives it.
class CountingRecorder : public KLConfParserDelegate {
public:
    explicit CountingRecorder(std::shared_ptr<int> calls) : calls(std::move(calls)) {}
    void parsedToken(KLConfParser&, const std::string&, const std::string&, std::int32_t,
                     const std::optional<std::string>&) override {
        ++*calls;
    }
    std::shared_ptr<int> calls;
};

class ConfParserTest : public ::testing::Test {
protected:
    // Waits for the scan's end without running the main loop, so its hits
    // are still queued.
    static bool scannedButUndelivered(const KLConfParser& p) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (p.isParsing() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return !p.isParsing() && p.hasUndeliveredHits();
    }

    void SetUp() override { KLRunLoop::setMain(loop); }
    void TearDown() override { KLRunLoop::setMain(nullptr); }

    std::shared_ptr<KLConfParser> parser(const std::string& conf, std::vector<std::string> tokens = {"Include"}) {
        auto p = KLConfParser::initWithString(conf);
        p->setTokens(std::move(tokens));
        p->setDelegate(recorder);
        return p;
    }
    // Scans and delivers every hit.
    std::vector<Hit> scan(const std::shared_ptr<KLConfParser>& p) {
        recorder->hits.clear();
        p->parse();
        EXPECT_TRUE(loop->runUntil([&] { return !p->isParsing() && !p->hasUndeliveredHits(); }, 30));
        return recorder->hits;
    }

    std::shared_ptr<KLPlainRunLoop> loop = std::make_shared<KLPlainRunLoop>();
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
};

struct StripCase {
    std::uint32_t comments;
    std::uint32_t quotes;
    std::string line;
    std::string expected;
};

std::string stripOne(const StripCase& c) {
    auto p = KLConfParser::initWithString("x");
    p->setCommentType(c.comments);
    p->setQuoteType(c.quotes);
    return p->stripComments(c.line);
}

constexpr std::uint32_t kAllLineComments = Parser::KLConfCommentHash | Parser::KLConfCommentDashOrSemicolon |
                                           Parser::KLConfCommentDoubleSlash;
constexpr std::uint32_t kBothQuotes = Parser::KLConfQuoteSingle | Parser::KLConfQuoteDouble;

TEST_F(ConfParserTest, LineCommentsKeepTheFirstCharacterOfTwoCharacterMarkers) {
    const StripCase cases[] = {
        {1, 3, "a # b", "a "},
        {1, 3, "#whole", ""},
        {1, 3, "a ; b // c -- d", "a ; b // c -- d"},
        {2, 3, "a ; b", "a "},
        {2, 3, "x -- y", "x -"},
        {2, 3, "a-b - c", "a-b - c"},
        {4, 3, "a // b", "a /"},
        {4, 3, "a / b", "a / b"},
        {kAllLineComments, 3, "a // b # c", "a /"},
        {0, 3, "a # b", "a # b"},
    };
    for (const StripCase& c : cases)
        EXPECT_EQ(stripOne(c), c.expected) << c.line << " with comments " << c.comments;
}

TEST_F(ConfParserTest, QuotesAndEscapesHideCommentMarkers) {
    const StripCase cases[] = {
        // A "#" inside a quoted path stays with the rest of the line.
        {1, kBothQuotes, R"(DocumentRoot "/srv/a#b" # c)", R"(DocumentRoot "/srv/a#b" )"},
        {1, kBothQuotes, "Alias '/x#' # c", "Alias '/x#' "},
        // The other quote character does not close the open one.
        {1, kBothQuotes, R"(a "it's # here" # c)", R"(a "it's # here" )"},
        {1, kBothQuotes, R"(a "open # to the end)", R"(a "open # to the end)"},
        // Backticks only when asked for.
        {1, kBothQuotes | Parser::KLConfQuoteBacktick, "`#` # c", "`#` "},
        {1, kBothQuotes, "`#` # c", "`"},
        {1, 0, R"("#")", "\""},
        // A single backslash stays in force to the end of the line ...
        {1, kBothQuotes, R"(a \n # b)", R"(a \n # b)"},
        // ... a second one clears it.
        {1, kBothQuotes, R"(a \\ # b)", R"(a \\ )"},
        // An escaped quote does not close, and the flag outlives the quote.
        {1, kBothQuotes, R"("a\"#b" # c)", R"("a\"#b" # c)"},
    };
    for (const StripCase& c : cases)
        EXPECT_EQ(stripOne(c), c.expected) << c.line;
}

TEST_F(ConfParserTest, BlockCommentsOnOneLine) {
    const std::uint32_t slash = Parser::KLConfCommentHash | Parser::KLConfCommentSlashStar;
    const std::uint32_t paren = Parser::KLConfCommentHash | Parser::KLConfCommentParenStar;
    const StripCase cases[] = {
        {slash, 3, "x /* a */ y", "x "},
        {slash, 3, "/* a */ b", ""},
        {slash, 3, "/* a */ b # c", " b "},
        {paren, 3, "(* a *) b # c", " b "},
        {paren, 3, "x /* a */ y", "x /* a */ y"},
        {slash, 3, "x (* a *) y", "x (* a *) y"},
        {slash, 3, R"(x "/*" y)", R"(x "/*" y)"},
    };
    for (const StripCase& c : cases)
        EXPECT_EQ(stripOne(c), c.expected) << c.line;
}

TEST_F(ConfParserTest, BlockCommentCarriesOverLinesAndScans) {
    auto p = KLConfParser::initWithString("x");
    p->setCommentType(Parser::KLConfCommentHash | Parser::KLConfCommentSlashStar);
    EXPECT_EQ(p->stripComments("a /* b"), "a ");
    EXPECT_EQ(p->currentCommentMarker(), '/');
    EXPECT_EQ(p->stripComments("Include hidden # not a comment here"), "");
    // Text after the close is kept only up to a later line comment.
    EXPECT_EQ(p->stripComments("c */ d"), "");
    EXPECT_EQ(p->currentCommentMarker(), 0);
    EXPECT_EQ(p->stripComments("e # f"), "e ");

    // A comment reopened right after a close ("*/*") keeps nothing of the
    // empty stretch between them and stays open.
    EXPECT_EQ(p->stripComments("a /* x */* y"), "a ");
    EXPECT_EQ(p->currentCommentMarker(), '/');
    EXPECT_EQ(p->stripComments("*/ z # q"), " z ");

    // Through scans: the marker survives the end of a scan.
    auto scanned = parser("Include a /* open\n", {"Include"});
    scanned->setCommentType(Parser::KLConfCommentHash | Parser::KLConfCommentSlashStar);
    EXPECT_EQ(scan(scanned), (std::vector<Hit>{{"Include", "Include a ", 1, std::nullopt}}));
    scanned->setConf("Include b\n\n*/\nInclude c\n");
    EXPECT_EQ(scan(scanned), (std::vector<Hit>{{"Include", "Include c", 3, std::nullopt}}));
}

TEST_F(ConfParserTest, HitsAreLinesBeginningWithTheKeyword) {
    EXPECT_EQ(scan(parser("   Include a.conf\n", {"include"})),
              (std::vector<Hit>{{"include", "Include a.conf", 1, std::nullopt}}));
    EXPECT_TRUE(scan(parser("Foo Include a.conf\n")).empty());
    EXPECT_TRUE(scan(parser("include a.conf\n")).size() == 1);

    auto sensitive = parser("include a.conf\nInclude b.conf\n");
    sensitive->setCaseSensitive(true);
    EXPECT_EQ(scan(sensitive), (std::vector<Hit>{{"Include", "Include b.conf", 2, std::nullopt}}));

    // A plain prefix: one callback per matching keyword, in keyword order.
    EXPECT_EQ(scan(parser("IncludeOptional x\n", {"IncludeOptional", "ErrorLog", "Include"})),
              (std::vector<Hit>{{"IncludeOptional", "IncludeOptional x", 1, std::nullopt},
                                {"Include", "IncludeOptional x", 1, std::nullopt}}));
    // An empty keyword is never found.
    EXPECT_TRUE(scan(parser("Include x\n", {""})).empty());
    // Case folding beyond ASCII.
    EXPECT_EQ(scan(parser("\xC3\xA9" "crire x\n", {"\xC3\x89" "CRIRE"})).size(), 1u);
    // The Kelvin sign folds to an ASCII "k".
    EXPECT_EQ(scan(parser("\xE2\x84\xAA" "eepAlive On\nKeepAliveTimeout 5\n", {"keepalive"})).size(), 2u);
    EXPECT_TRUE(scan(parser("Kee\xC3\xA9\n", {"keep"})).empty());
}

TEST_F(ConfParserTest, OnlyLinesWithContentAreCounted) {
    const std::string conf = "# Include a.conf\n"
                             "\n"
                             "   \t\n"
                             "Include b.conf\r\n"
                             "\r\n"
                             "\xC2\xA0\xE2\x80\x83Include c.conf\n" // no-break and em space lead
                             "Include d\xE2\x80\xA8Include e\n";    // a line separator is no line end
    EXPECT_EQ(scan(parser(conf)), (std::vector<Hit>{{"Include", "Include b.conf\r", 2, std::nullopt},
                                                    {"Include", "Include c.conf", 3, std::nullopt},
                                                    {"Include", "Include d\xE2\x80\xA8Include e", 4, std::nullopt}}));
    // A last line without a line feed is scanned too.
    EXPECT_EQ(scan(parser("\n\nInclude z")), (std::vector<Hit>{{"Include", "Include z", 1, std::nullopt}}));
}

TEST_F(ConfParserTest, HitsArriveInOrderWithTheFile) {
    TempDir dir;
    std::string conf;
    for (int i = 1; i <= 2000; ++i)
        conf += (i % 2 ? "Include " : "ErrorLog ") + std::to_string(i) + "\n";
    const std::string path = dir.write("big.conf", conf);
    auto p = KLConfParser::initWithFile(path);
    ASSERT_TRUE(p);
    p->setTokens({"ErrorLog", "Include"});
    p->setDelegate(recorder);
    std::vector<Hit> hits = scan(p);
    ASSERT_EQ(hits.size(), 2000u);
    for (int i = 1; i <= 2000; ++i) {
        const Hit& hit = hits[static_cast<std::size_t>(i - 1)];
        EXPECT_EQ(hit.number, i);
        EXPECT_EQ(hit.token, i % 2 ? "Include" : "ErrorLog");
        EXPECT_EQ(hit.file, path);
    }
}

TEST_F(ConfParserTest, FilesAreReadWithTheirEncoding) {
    TempDir dir;
    EXPECT_EQ(KLConfParser::initWithFile(dir.file("missing.conf")), nullptr);

    // UTF-16 with a byte order mark.
    std::string utf16 = "\xFF\xFE";
    for (char c : std::string("Include \"/x\"\n"))
        utf16 += std::string{c, '\0'};
    auto p = KLConfParser::initWithFile(dir.write("utf16.conf", utf16));
    ASSERT_TRUE(p);
    EXPECT_EQ(p->conf(), "Include \"/x\"\n");
}

TEST_F(ConfParserTest, ParseNeedsDelegateKeywordsAndText) {
    EXPECT_TRUE(scan(parser("")).empty());
    auto noTokens = parser("Include x", {});
    noTokens->parse();
    EXPECT_FALSE(noTokens->isParsing());
    auto noDelegate = KLConfParser::initWithString("Include x");
    noDelegate->setTokens({"Include"});
    noDelegate->parse();
    EXPECT_FALSE(noDelegate->isParsing());
}

TEST_F(ConfParserTest, ObjectSettersAndSecondScansAreRefusedWhileParsing) {
    std::string conf;
    for (int i = 0; i < 300000; ++i)
        conf += "Include /etc/some/long/enough/path/to/scan/" + std::to_string(i) + ".conf # note\n";
    auto p = parser(conf);
    auto other = std::make_shared<Recorder>();
    p->parse();
    ASSERT_TRUE(p->isParsing());
    p->parse();
    p->setConf("Include replaced");
    p->setTokens({"ErrorLog"});
    p->setPath("/elsewhere");
    p->setDelegate(other);
    // The plain settings are always taken.
    p->setCaseSensitive(true);
    EXPECT_TRUE(p->caseSensitive());
    p->setCaseSensitive(false);
    EXPECT_EQ(p->conf(), conf);
    EXPECT_EQ(p->tokens(), std::vector<std::string>{"Include"});
    EXPECT_EQ(p->path(), std::nullopt);
    EXPECT_EQ(p->delegate().lock(), recorder);
    ASSERT_TRUE(loop->runUntil([&] { return !p->isParsing(); }, 60));
    loop->runPending();
    EXPECT_EQ(recorder->hits.size(), 300000u);
    EXPECT_TRUE(other->hits.empty());

    // Idle again: setters work and a new scan runs.
    p->setConf("Include again\n");
    EXPECT_EQ(scan(p).size(), 1u);
}

TEST_F(ConfParserTest, HitsForADelegateThatWentAwayAreDropped) {
    auto p = parser("Include a\nInclude b\n");
    auto calls = std::make_shared<int>(0);
    auto counting = std::make_shared<CountingRecorder>(calls);
    p->setDelegate(counting);
    std::weak_ptr<CountingRecorder> gone = counting;
    p->parse();
    ASSERT_TRUE(scannedButUndelivered(*p));
    counting.reset();
    EXPECT_TRUE(gone.expired()) << "the queued hits keep the delegate alive";
    loop->runPending();
    EXPECT_EQ(*calls, 0);
    EXPECT_FALSE(p->hasUndeliveredHits());
}

TEST_F(ConfParserTest, HitsKeepTheKeywordAndPathOfTheirScan) {
    auto p = parser("Include a\nInclude b\n");
    recorder->hits.clear();
    p->parse();
    ASSERT_TRUE(scannedButUndelivered(*p));
    // Idle again: the settings change before the hits reach the delegate.
    p->setTokens({"Other"});
    p->setPath("/elsewhere");
    loop->runPending();
    EXPECT_EQ(recorder->hits,
              (std::vector<Hit>{{"Include", "Include a", 1, std::nullopt}, {"Include", "Include b", 2, std::nullopt}}));
}

TEST_F(ConfParserTest, GarbageNeverBreaksTheScan) {
    std::mt19937 random(7);
    const std::string alphabet = std::string("#;-/*()'\"`\\ \t\r\nInclude\xC3\xA9\xFF\x80") + '\0';
    std::string conf;
    for (int i = 0; i < 200000; ++i)
        conf += alphabet[random() % alphabet.size()];
    auto p = parser(conf, {"Include", "#", "*"});
    p->setCommentType(0xFFFFFFFF);
    p->setQuoteType(0xFFFFFFFF);
    std::vector<Hit> hits = scan(p);
    std::int32_t last = 0;
    for (const Hit& hit : hits) {
        EXPECT_GE(hit.number, last);
        last = hit.number;
        EXPECT_FALSE(hit.line.empty());
        EXPECT_LE(hit.line.size(), conf.size());
    }
}

} // namespace
