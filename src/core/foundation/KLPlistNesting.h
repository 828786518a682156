#pragma once

#include <string_view>

// A cheap, non-recursive look at how deeply the arrays and dictionaries of a
// property list document are nested, taken before the document reaches
// anything that recurses once per level (libplist's reader and its free, our
// own conversion). A reply or settings file nested thousands of levels deep
// would otherwise overflow the stack instead of being refused.
class KLPlistNesting
{
public:
    // Deeper documents are treated as unreadable; real ones use a handful of levels.
    static constexpr int kMaxDepth = 256;

    // Whether the document (XML or binary, as libplist tells them apart)
    // nests no deeper than the limit. Text the look cannot follow is left
    // to the parser to refuse, except where following it badly could hide
    // nesting: then it is refused here.
    static bool isWithin(std::string_view bytes, int limit = kMaxDepth);
    static bool xmlIsWithin(std::string_view text, int limit = kMaxDepth);
    static bool binaryIsWithin(std::string_view bytes, int limit = kMaxDepth);
};
