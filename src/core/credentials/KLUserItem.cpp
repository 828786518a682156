#include "KLUserItem.h"

#include "KLCollectionExtensions.h"

KLUserItem::KLUserItem(std::optional<std::string> value, KLUserItem* parent, std::optional<Children> children)
    : value_(value ? std::move(*value) : std::string()), parent_(parent),
      group_(children ? std::make_unique<Group>(Group{std::move(*children), nullptr, std::nullopt}) : nullptr),
      hasValue_(value.has_value()),
      hasChildren_(children.has_value())
{
}

KLUserItem::KLUserItem(std::string_view member, KLUserItem* group)
    : value_(member), parent_(group), hasValue_(true), hasChildren_(false)
{
}

std::shared_ptr<KLUserItem> KLUserItem::itemWithValue(std::optional<std::string> value, KLUserItem* parent,
                                                      std::optional<Children> children)
{
    return std::make_shared<KLUserItem>(std::move(value), parent, std::move(children));
}

const std::vector<std::string_view>& KLUserItem::unreadNames() const
{
    if (!group_->unreadNames) {
        group_->unreadNames.emplace();
        group_->unread(*group_->unreadNames);
    }
    return *group_->unreadNames;
}

KLUserItem::Children* KLUserItem::members() const
{
    if (group_->unread) {
        unreadNames();
        std::vector<std::string_view> names = std::move(*group_->unreadNames);
        group_->unreadNames.reset();
        // The names point into text the reader keeps: it goes only once the
        // nodes hold copies.
        MemberNames read = std::move(group_->unread);
        group_->unread = nullptr;
        const_cast<KLUserItem*>(this)->addMembers(names);
    }
    return &group_->members;
}

void KLUserItem::setUnreadMembers(MemberNames read)
{
    if (group_)
        group_->unread = std::move(read);
}

void KLUserItem::memberNames(std::vector<std::string_view>& names) const
{
    if (!group_)
        return;
    if (group_->unread) {
        const std::vector<std::string_view>& unread = unreadNames();
        names.insert(names.end(), unread.begin(), unread.end());
        return;
    }
    for (const std::shared_ptr<KLUserItem>& member : group_->members)
        names.push_back(member->value_);
}

void KLUserItem::addMembers(const std::vector<std::string_view>& names)
{
    // A group of a thousand is two allocations rather than a thousand: each
    // child points into the block and keeps it alive.
    Children* children = this->children();
    if (!children)
        return;
    auto block = std::make_shared<std::vector<KLUserItem>>();
    block->reserve(names.size());
    children->reserve(children->size() + names.size());
    for (std::string_view name : names) {
        block->emplace_back(name, this);
        children->emplace_back(block, &block->back());
    }
}

const std::string& KLUserItem::value() const
{
    return value_;
}

void KLUserItem::setValue(std::string value)
{
    value_ = std::move(value);
    hasValue_ = true;
}

int KLUserItem::compareTo(const KLUserItem& other) const
{
    return compareUsernames(value(), other.value());
}

int KLUserItem::compareTo(const KLUserItem& other, bool caseSensitive) const
{
    return compareUsernames(value(), other.value(), caseSensitive);
}

std::string KLUserItem::description() const
{
    std::string text = hasValue_ ? value_ : "(root)";
    if (const Children* list = children())
        text += " [" + std::to_string(list->size()) + " children]";
    return text;
}
