#include "KLAddressDataSource.h"

#include "KLFSItem.h"
#include "KLPaneContext.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>

namespace {

std::string lowercase(const std::string& text)
{
    std::string out;
    icu::UnicodeString::fromUTF8(text).toLower(icu::Locale::getRoot()).toUTF8String(out);
    return out;
}

bool listContains(const KLPlist::Array& list, const std::string& address)
{
    return std::any_of(list.begin(), list.end(), [&](const KLPlist& value) {
        const std::string* s = value.string();
        return s && *s == address;
    });
}

} // namespace

KLAddressDataSource::KLAddressDataSource(std::shared_ptr<KLPlist::Array> addresses)
    : KLXDataSource(std::move(addresses))
{
}

KLFSItem* KLAddressDataSource::activeDirectory() const
{
    KLPaneContext* pane = KLPaneContext::shared();
    return pane ? pane->selectedItem() : nullptr;
}

KLPlist KLAddressDataSource::objectAtRow(int row, const std::string& column) const
{
    if (column == kAddressColumn)
        return KLXDataSource::objectAtRow(row, column);
    KLPaneContext* pane = KLPaneContext::shared();
    KLFSItem* folder = activeDirectory();
    if (!pane || !folder || row < 0 || row >= numberOfRows())
        return false;
    const KLPlist::Array* list = folder->addressArray();
    return list && listContains(*list, pane->addressAtIndex(static_cast<std::size_t>(row)));
}

void KLAddressDataSource::setObject(const KLPlist& value, int row, const std::string& column)
{
    KLPaneContext* pane = KLPaneContext::shared();
    if (!pane || row < 0 || row >= numberOfRows())
        return;
    if (column == kAddressColumn) {
        pane->replaceAddressAtIndex(static_cast<std::size_t>(row), lowercase(value.description()));
        return;
    }
    KLFSItem* folder = activeDirectory();
    if (!folder)
        return;
    bool on = value.boolReading().value_or(false);
    std::string address = pane->addressAtIndex(static_cast<std::size_t>(row));
    KLPlist::Array* list = folder->addressArray();
    bool listed = list && listContains(*list, address);
    if (!listed && on) {
        if (!list) {
            // No list for the folder's mode yet: start one.
            KLPlist& entry = folder->authDict()[folder->isAllowSet() ? KLFSItem::kAllowFrom : KLFSItem::kDenyFrom];
            entry = KLPlist::Array{};
            list = entry.array();
        }
        list->push_back(address);
    } else if (listed && !on) {
        std::erase_if(*list, [&](const KLPlist& v) {
            const std::string* s = v.string();
            return s && *s == address;
        });
    } else {
        return;
    }
    folder->writeAccessFile();
}

void KLAddressDataSource::willDisplayCell(KLListView&, KLCell& cell, const std::string& column, int)
{
    if (column != kActiveColumn)
        return;
    KLFSItem* folder = activeDirectory();
    cell.enabled = folder && folder->isAddressProtected();
}
