#include "KLUserItem.h"

#include "KLCollectionExtensions.h"

KLUserItem::KLUserItem(std::optional<std::string> value, KLUserItem* parent, std::optional<Children> children)
    : value_(value ? std::move(*value) : std::string()), parent_(parent),
      children_(children ? std::make_unique<Children>(std::move(*children)) : nullptr), hasValue_(value.has_value()),
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
    if (children_)
        text += " [" + std::to_string(children_->size()) + " children]";
    return text;
}
