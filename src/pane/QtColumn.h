#pragma once

#include <QString>
#include <Qt>

#include <string>
#include <vector>

// One column of a table or outline: the identifier its data source knows it
// by, its header title and how its cells look and act. Roles the models
// answer beside Qt's own are listed here too.
struct QtColumn
{
    enum class Kind {
        Text,   // a string, editable where the source allows it
        Check,  // a check box (boolean value)
        PopUp,  // a pop-up menu (integer value: the chosen index)
        Button, // a push button showing the cell's image
    };

    std::string identifier;
    QString title;
    Kind kind = Kind::Text;
    // Pop-up titles, by index.
    std::vector<QString> menu = {};

    // Roles beside Qt's own.
    static constexpr int kAlternateImageRole = Qt::UserRole + 1; // QIcon shown while pressed
    static constexpr int kPopUpIndexRole = Qt::UserRole + 2;     // int, -1 for none
    static constexpr int kSummaryRole = Qt::UserRole + 3;        // text shown while dragged
    // bool: the cell takes clicks. A disabled cell still lets its row be
    // selected, so items stay enabled for Qt and only look disabled.
    static constexpr int kEnabledRole = Qt::UserRole + 4;
};

using QtColumns = std::vector<QtColumn>;
