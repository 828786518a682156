#pragma once

#include "KLPlist.h"

#include <cstdint>
#include <string>
#include <vector>

// What a folder's access file says, as the reader leaves it in a folder item.
struct KLAccessState
{
    std::int32_t status = 0;
    bool disabled = true;
    KLPlist::Dictionary auth;
    std::vector<std::string> userText;
};

// Carries the change made in this process to a folder's access state over
// to the file as another program left it meanwhile: between `base` (the file
// as last read or written here) and `ours` (the state now), a new mode, a
// new address mode, names or addresses added to or taken from a list, and a
// new text of the unmanaged lines are applied to `theirs` (the file now);
// everything else of theirs stays.
class KLAccessMerge
{
public:
    static KLAccessState merged(const KLAccessState& base, const KLAccessState& ours, KLAccessState theirs);
};
