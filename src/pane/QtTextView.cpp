#include "QtTextView.h"

#include <QPlainTextEdit>
#include <QSignalBlocker>
#include <QTextBrowser>
#include <QTextCursor>

#include <algorithm>

QtTextView::QtTextView(QPlainTextEdit* edit) : QtControl(edit), edit_(edit)
{
}

QtTextView::QtTextView(QTextBrowser* browser) : QtControl(browser), browser_(browser)
{
}

void QtTextView::setString(const std::string& text)
{
    if (edit_) {
        QSignalBlocker blocker(edit_);
        edit_->setPlainText(toQt(text));
        edit_->moveCursor(QTextCursor::Start);
    } else if (browser_) {
        browser_->setHtml(toQt(text));
    }
}

std::string QtTextView::string() const
{
    if (edit_)
        return fromQt(edit_->toPlainText());
    if (browser_)
        return fromQt(browser_->toHtml());
    return {};
}

void QtTextView::setEditable(bool editable)
{
    if (edit_)
        edit_->setReadOnly(!editable);
}

bool QtTextView::isEditable() const
{
    return edit_ && !edit_->isReadOnly();
}

void QtTextView::setVisibleLines(int lines)
{
    QWidget* w = widget();
    if (!w)
        return;
    int frame = 2 * (w->property("frameWidth").toInt() + 4);
    w->setFixedHeight(lines * w->fontMetrics().lineSpacing() + frame);
}

void QtTextView::setSelectedRange(std::size_t location, std::size_t length)
{
    if (!edit_)
        return;
    QTextCursor cursor = edit_->textCursor();
    int end = static_cast<int>(edit_->document()->characterCount()) - 1;
    int start = static_cast<int>(std::min<std::size_t>(location, static_cast<std::size_t>(end)));
    int stop = static_cast<int>(std::min<std::size_t>(location + length, static_cast<std::size_t>(end)));
    cursor.setPosition(start);
    cursor.setPosition(stop, QTextCursor::KeepAnchor);
    edit_->setTextCursor(cursor);
}
