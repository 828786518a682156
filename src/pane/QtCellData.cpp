#include "QtCellData.h"

#include "QtImages.h"
#include "QtStrings.h"

#include <QColor>
#include <QIcon>

namespace {
QIcon cellImage(const KLCell& cell)
{
    if (!cell.iconFile.empty())
        return QtImages::forFile(cell.iconFile);
    if (!cell.imageName.empty())
        return QtImages::named(cell.imageName);
    return {};
}

QStringList menuTitles(const QtColumn& column, const KLCell& cell)
{
    QStringList titles;
    if (!cell.menuItems.empty()) {
        for (const std::string& item : cell.menuItems)
            titles << toQt(item);
    } else {
        for (const QString& item : column.menu)
            titles << item;
    }
    return titles;
}

int popUpIndex(const KLPlist& value, const KLCell& cell)
{
    if (cell.selectedIndex >= 0)
        return cell.selectedIndex;
    return static_cast<int>(value.integerReading().value_or(-1));
}
} // namespace

QVariant QtCellData::data(const QtColumn& column, const KLPlist& value, const KLCell& cell, int role)
{
    using Kind = QtColumn::Kind;
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        if (column.kind == Kind::Text)
            return toQt(value.description());
        if (column.kind == Kind::PopUp) {
            int index = popUpIndex(value, cell);
            if (role == Qt::EditRole)
                return index;
            return menuTitles(column, cell).value(index);
        }
        return {};
    case Qt::CheckStateRole:
        if (column.kind != Kind::Check || cell.transparent)
            return {};
        return value.boolReading().value_or(false) ? Qt::Checked : Qt::Unchecked;
    case Qt::DecorationRole: {
        QIcon icon = cellImage(cell);
        return icon.isNull() ? QVariant() : QVariant(icon);
    }
    case Qt::ToolTipRole:
        return cell.toolTip.empty() ? QVariant() : QVariant(toQt(cell.toolTip));
    case Qt::ForegroundRole: {
        QColor color(toQt(cell.textColor));
        return cell.textColor.empty() || !color.isValid() ? QVariant() : QVariant(color);
    }
    case QtColumn::kAlternateImageRole: {
        QIcon icon = cell.alternateImageName.empty() ? QIcon() : QtImages::named(cell.alternateImageName);
        return icon.isNull() ? QVariant() : QVariant(icon);
    }
    case QtColumn::kEnabledRole:
        return cell.enabled;
    case QtColumn::kTransparentRole:
        return cell.transparent;
    case QtColumn::kMenuRole:
        return column.kind == Kind::PopUp ? QVariant(menuTitles(column, cell)) : QVariant();
    case QtColumn::kPopUpIndexRole:
        return column.kind == Kind::PopUp ? QVariant(popUpIndex(value, cell)) : QVariant();
    default:
        return {};
    }
}

Qt::ItemFlags QtCellData::flags(const QtColumn& column, const KLCell& cell, bool editable)
{
    Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled;
    if (column.kind == QtColumn::Kind::Check && cell.enabled && !cell.transparent)
        flags |= Qt::ItemIsUserCheckable;
    if (column.kind == QtColumn::Kind::Text && editable && cell.enabled)
        flags |= Qt::ItemIsEditable;
    return flags;
}

std::optional<KLPlist> QtCellData::valueForEdit(const QtColumn& column, const QVariant& value, int role)
{
    using Kind = QtColumn::Kind;
    if (column.kind == Kind::Check && role == Qt::CheckStateRole)
        return KLPlist(value.toInt() == Qt::Checked);
    if (column.kind == Kind::Text && role == Qt::EditRole)
        return KLPlist(fromQt(value.toString()));
    if (column.kind == Kind::PopUp && role == Qt::EditRole)
        return KLPlist(value.toInt());
    return std::nullopt;
}
