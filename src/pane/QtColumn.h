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
    // Text cells: whether the column may be edited in place at all; the
    // source then decides row by row.
    bool editable = false;
    // Pop-up titles, by index, when the source's cells name none.
    std::vector<QString> menu = {};

    // Roles beside Qt's own.
    static constexpr int kAlternateImageRole = Qt::UserRole + 1; // QIcon shown while pressed
    static constexpr int kPopUpIndexRole = Qt::UserRole + 2;     // int, -1 for none
    static constexpr int kSummaryRole = Qt::UserRole + 3;        // text shown while dragged
    // bool: the cell takes clicks. A disabled cell still lets its row be
    // selected, so items stay enabled for Qt and only look disabled.
    static constexpr int kEnabledRole = Qt::UserRole + 4;
    static constexpr int kTransparentRole = Qt::UserRole + 5; // bool: the cell draws nothing
    static constexpr int kMenuRole = Qt::UserRole + 6;        // QStringList: pop-up titles
};

using QtColumns = std::vector<QtColumn>;
