#pragma once

#include <QWidget>

class QTextBrowser;

// The help window: the pane's help page in a browser that opens outside
// links in the user's browser. Closing only hides it.
class KLHelpWindow : public QWidget
{
    Q_OBJECT
public:
    explicit KLHelpWindow(QWidget* parent = nullptr);

    QTextBrowser* browser() const { return browser_; }

private:
    QTextBrowser* browser_;
};
