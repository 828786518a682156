#pragma once

#include "KLPlist.h"

#include <string>

// Membership tests over the pane's address list for the access file reader.
// Outside a batch a test scans the list, which is fine for the few addresses
// of one file. Inside a batch (a folder listing that reads many access files
// in a row) the list is hashed once and kept in step with the reader's own
// appends; a list that changed size or storage is hashed again. Main thread
// only; nothing else replaces entries of the list during a batch.
class KLAddressLookup
{
public:
    // Batches nest; the index lives until the outermost one ends.
    class Batch
    {
    public:
        Batch();
        ~Batch();
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;
    };

    static bool contains(const KLPlist::Array& addresses, const std::string& address);
    // Appends to the list (and to the index while a batch is open).
    static void append(KLPlist::Array& addresses, const std::string& address);
};
