#pragma once

#include "KLTextView.h"
#include "QtControl.h"

#include <QPlainTextEdit>
#include <QTextBrowser>

// A multi-line text as a KLTextView: plain text in a QPlainTextEdit, or an
// HTML page in a QTextBrowser (help, credits). Setting the text is not an
// edit: it does not emit textChanged.
class QtTextView : public QtControl<KLTextView>
{
public:
    explicit QtTextView(QPlainTextEdit* edit);
    explicit QtTextView(QTextBrowser* browser);

    void setString(const std::string& text) override;
    std::string string() const override;
    void setEditable(bool editable) override;
    bool isEditable() const override;
    void setVisibleLines(int lines) override;
    // Characters as the text's UTF-16 units; past the end is clamped.
    void setSelectedRange(std::size_t location, std::size_t length) override;

private:
    QPointer<QPlainTextEdit> edit_;
    QPointer<QTextBrowser> browser_;
};
