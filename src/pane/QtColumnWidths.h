#pragma once

#include <QObject>

#include <functional>
#include <vector>

class QAbstractItemModel;
class QAbstractItemView;

// The widths a view's columns that fit their contents were measured at.
// Qt measures such columns anew on every layout pass; their widths only
// change with what the rows show, so one measure serves until the model
// signals a change, the view's font or style changes, it scrolls (Qt
// measures the rows around those shown), or the view forgets them (rows
// hidden or expanded, a redraw its data source asks for).
class QtColumnWidths : public QObject
{
public:
    QtColumnWidths(QAbstractItemView& view, QAbstractItemModel& model);

    // The column's width, measured by `measure` when not known.
    int width(int column, const std::function<int()>& measure);
    void forget() { widths_.clear(); }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // -1 where not measured.
    std::vector<int> widths_;
};
