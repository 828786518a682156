#pragma once

#include "KLTabView.h"

#include <QPointer>
#include <QString>

#include <map>
#include <string>

#include <QTabWidget>
#include <QWidget>

// A QTabWidget whose pages are known by identifier: the page's dynamic
// property "identifier". Every page the widget holds when the adapter is
// made is remembered, so a removed page can be inserted again later with
// its label and icon.
class QtTabView : public KLTabView
{
public:
    static constexpr const char* kIdentifierProperty = "identifier";

    explicit QtTabView(QTabWidget* tabs);

    int numberOfItems() const override;
    int indexOfItemWithIdentifier(const std::string& identifier) const override;
    void insertItem(const std::string& identifier, int index) override;
    void removeItem(const std::string& identifier) override;
    void selectItem(const std::string& identifier) override;
    std::string selectedIdentifier() const override;

    // Makes a page known that is not (yet) in the widget.
    void registerPage(QWidget* page, const QString& label);

private:
    struct Page
    {
        QPointer<QWidget> widget;
        QString label;
    };
    QPointer<QTabWidget> tabs_;
    std::map<std::string, Page> pages_;
};
