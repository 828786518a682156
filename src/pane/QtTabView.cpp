#include "QtTabView.h"

#include "QtStrings.h"

#include <QTabWidget>
#include <QVariant>

#include <algorithm>

QtTabView::QtTabView(QTabWidget* tabs) : tabs_(tabs)
{
    for (int i = 0; i < tabs->count(); ++i) {
        QWidget* page = tabs->widget(i);
        pages_[fromQt(page->property(kIdentifierProperty).toString())] = {page, tabs->tabText(i)};
    }
}

void QtTabView::registerPage(QWidget* page, const QString& label)
{
    pages_[fromQt(page->property(kIdentifierProperty).toString())] = {page, label};
}

int QtTabView::numberOfItems() const
{
    return tabs_ ? tabs_->count() : 0;
}

int QtTabView::indexOfItemWithIdentifier(const std::string& identifier) const
{
    if (!tabs_)
        return -1;
    for (int i = 0; i < tabs_->count(); ++i)
        if (fromQt(tabs_->widget(i)->property(kIdentifierProperty).toString()) == identifier)
            return i;
    return -1;
}

void QtTabView::insertItem(const std::string& identifier, int index)
{
    auto it = pages_.find(identifier);
    if (!tabs_ || it == pages_.end() || !it->second.widget || indexOfItemWithIdentifier(identifier) >= 0)
        return;
    index = std::clamp(index, 0, tabs_->count());
    tabs_->insertTab(index, it->second.widget, it->second.label);
}

void QtTabView::removeItem(const std::string& identifier)
{
    int index = indexOfItemWithIdentifier(identifier);
    if (index >= 0)
        tabs_->removeTab(index);
}

void QtTabView::selectItem(const std::string& identifier)
{
    int index = indexOfItemWithIdentifier(identifier);
    if (index >= 0)
        tabs_->setCurrentIndex(index);
}

std::string QtTabView::selectedIdentifier() const
{
    if (!tabs_ || !tabs_->currentWidget())
        return {};
    return fromQt(tabs_->currentWidget()->property(kIdentifierProperty).toString());
}
