#include "KLTextFile.h"
#include "TempDir.h"

#include <gtest/gtest.h>

TEST(TextFileTest, DecodesByteOrderMarksAndGuessesAndUnreadableFilesGiveNothing)
{
    const std::string text = "Require user j\xC3\xBCrgen\n";
    std::string le = "\xFF\xFE", be = "\xFE\xFF";
    for (char32_t c : std::u32string(U"Require user j\u00FCrgen\n")) {
        le += {static_cast<char>(c & 0xFF), static_cast<char>(c >> 8)};
        be += {static_cast<char>(c >> 8), static_cast<char>(c & 0xFF)};
    }
    for (const std::string& encoded : {text, "\xEF\xBB\xBF" + text, le, be})
        EXPECT_EQ(KLTextFile::decode(encoded), text);
    // Short Latin-1 lines without NUL bytes are never taken for UTF-16.
    EXPECT_EQ(KLTextFile::decode("jos\xE9:abcdefghijklm\nzo\xEB:nopqrstuvwxyz\nalice:h1\n"),
              "jos\xC3\xA9:abcdefghijklm\nzo\xC3\xAB:nopqrstuvwxyz\nalice:h1\n");
    // A surrogate, an overlong form and a code point past U+10FFFF are not
    // passed through: what comes back is valid UTF-8, or nothing.
    const std::string fourBytes = "user \xF0\x9F\x98\x80:abc\n";
    EXPECT_EQ(KLTextFile::decode(fourBytes), fourBytes);
    for (const std::string bad : {"Require user caf\xED\xA0\x80s and more\n", "Require user caf\xE0\x80\xAFs\n",
                                  "Require user caf\xF4\x90\x80\x80s\n"}) {
        std::optional<std::string> decoded = KLTextFile::decode(bad);
        if (!decoded)
            continue;
        EXPECT_NE(*decoded, bad);
        EXPECT_EQ(KLTextFile::decode(*decoded), decoded) << "not valid UTF-8: " << *decoded;
    }
    EXPECT_FALSE(KLTextFile::read("/nonexistent/fendrel/file"));
    TempDir dir;
    EXPECT_EQ(KLTextFile::read(dir.write("empty", "")), "");
    // A folder opens but cannot be read: nothing, not an empty text.
    EXPECT_FALSE(KLTextFile::readBytes(dir.mkdir("folder")));
}
