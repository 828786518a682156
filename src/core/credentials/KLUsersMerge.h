#pragma once

#include "KLUserRecord.h"

// Carries the changes made in this process to a users list over to the file
// as another program left it meanwhile: the users added, deleted or given a
// new password between `base` (the file as last read or written here) and
// `ours` (the list now) are applied to `theirs` (the file now), whose other
// lines, order and edits stay. A user added or changed here wins over the
// other program's version of the same name.
class KLUsersMerge
{
public:
    static KLUserRecords merged(const KLUserRecords& base, const KLUserRecords& ours, KLUserRecords theirs);
};
