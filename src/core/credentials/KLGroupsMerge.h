#pragma once

#include "KLUserItem.h"

// Carries the changes made in this process to the groups over to the file as
// another program left it meanwhile: groups added or deleted, and members
// added to or removed from a group, between `base` (the file as last read or
// written here) and `ours` (the groups now) are applied to `theirs` (the
// file now), whose other groups, members and order stay. A rename shows as
// the old group deleted and the new one added with its members.
class KLGroupsMerge
{
public:
    static void mergeInto(const KLUserItem& base, const KLUserItem& ours, KLUserItem& theirs);
};
