#include "KLUserItem.h"

#include "KLCollectionExtensions.h"

KLUserItem::KLUserItem(std::optional<std::string> value, KLUserItem* parent, std::optional<Children> children)
    : value_(std::move(value)), parent_(parent), children_(std::move(children)), hasChildren_(children_.has_value())
{
}

std::shared_ptr<KLUserItem> KLUserItem::itemWithValue(std::optional<std::string> value, KLUserItem* parent,
                                                      std::optional<Children> children)
{
    return std::make_shared<KLUserItem>(std::move(value), parent, std::move(children));
}

const std::string& KLUserItem::value() const
{
    static const std::string none;
    return value_ ? *value_ : none;
}

void KLUserItem::setValue(std::string value)
{
    value_ = std::move(value);
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
    std::string text = value_ ? *value_ : "(root)";
    if (children_)
        text += " [" + std::to_string(children_->size()) + " children]";
    return text;
}
