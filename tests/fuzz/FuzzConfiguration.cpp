// The configuration tokenizer over arbitrary bytes: the first byte picks the
// comment and quote rules, the rest is the configuration text. A scan must
// end, and every hit must be a line of the text that starts with a keyword.
#include "KLConfParser.h"
#include "KLPlainRunLoop.h"
#include "KLTextFile.h"

#include <cstdint>
#include <cstdlib>

namespace {

class Hits : public KLConfParserDelegate
{
public:
    void parsedToken(KLConfParser&, const std::string&, const std::string&, std::int32_t number,
                     const std::optional<std::string>&) override
    {
        if (number <= 0)
            std::abort();
        ++count;
    }
    int count = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static auto loop = [] {
        auto l = std::make_shared<KLPlainRunLoop>();
        KLRunLoop::setMain(l);
        return l;
    }();
    if (size == 0)
        return 0;
    std::optional<std::string> text = KLTextFile::decode({reinterpret_cast<const char*>(data + 1), size - 1});
    if (!text)
        return 0;
    auto parser = KLConfParser::initWithString(*text);
    // Bits 0-4: comment kinds, 5-6: quote kinds, 7: case sensitivity.
    std::uint32_t comments = (data[0] & 0x07) | (data[0] & 0x18) << 9;
    parser->setCommentType(comments);
    parser->setQuoteType((data[0] >> 5) & 0x03);
    parser->setCaseSensitive(data[0] & 0x80);
    parser->setTokens({"Include", "AllowOverride", "<Directory", "ErrorLog", "CustomLog"});
    auto hits = std::make_shared<Hits>();
    parser->setDelegate(hits);
    parser->parse();
    if (!loop->runUntil([&] { return !parser->isParsing() && !parser->hasUndeliveredHits(); }, 10))
        std::abort();
    return 0;
}
