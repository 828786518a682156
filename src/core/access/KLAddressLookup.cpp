#include "KLAddressLookup.h"

#include <unordered_set>

namespace {

struct Index
{
    int depth = 0;
    const KLPlist::Array* list = nullptr;
    const KLPlist* storage = nullptr;
    std::size_t size = 0;
    std::unordered_set<std::string> members;
};

Index& batchIndex()
{
    static Index index;
    return index;
}

bool sameList(const Index& index, const KLPlist::Array& addresses)
{
    return index.list == &addresses && index.storage == addresses.data() && index.size == addresses.size();
}

void rebuild(Index& index, const KLPlist::Array& addresses)
{
    index.members.clear();
    index.members.reserve(addresses.size());
    for (const KLPlist& a : addresses) {
        if (const std::string* s = a.string())
            index.members.insert(*s);
    }
    index.list = &addresses;
    index.storage = addresses.data();
    index.size = addresses.size();
}

} // namespace

KLAddressLookup::Batch::Batch()
{
    ++batchIndex().depth;
}

KLAddressLookup::Batch::~Batch()
{
    Index& index = batchIndex();
    if (--index.depth == 0) {
        index.members.clear();
        index.list = nullptr;
        index.storage = nullptr;
        index.size = 0;
    }
}

bool KLAddressLookup::contains(const KLPlist::Array& addresses, const std::string& address)
{
    Index& index = batchIndex();
    if (index.depth == 0) {
        for (const KLPlist& a : addresses) {
            const std::string* s = a.string();
            if (s && *s == address)
                return true;
        }
        return false;
    }
    if (!sameList(index, addresses))
        rebuild(index, addresses);
    return index.members.count(address) > 0;
}

void KLAddressLookup::append(KLPlist::Array& addresses, const std::string& address)
{
    Index& index = batchIndex();
    bool inStep = index.depth > 0 && sameList(index, addresses);
    addresses.emplace_back(address);
    if (inStep) {
        index.members.insert(address);
        index.storage = addresses.data();
        index.size = addresses.size();
    }
}
