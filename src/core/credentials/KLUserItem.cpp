#include "KLUserItem.h"

#include "KLCollectionExtensions.h"

KLUserItem::KLUserItem(std::optional<std::string> value, KLUserItem* parent, std::optional<Children> children)
    : value_(value ? std::move(*value) : std::string()), parent_(parent),
      group_(children ? std::make_unique<Group>(Group{std::move(*children), nullptr}) : nullptr),
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

KLUserItem::Children* KLUserItem::members() const
{
    if (group_->unread) {
        // Taken out first: the reader adds through children().
        MemberReader read = std::move(group_->unread);
        group_->unread = nullptr;
        read(const_cast<KLUserItem&>(*this));
    }
    return &group_->members;
}

void KLUserItem::setUnreadMembers(MemberReader read)
{
    if (group_)
        group_->unread = std::move(read);
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
