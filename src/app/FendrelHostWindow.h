#pragma once

#include "FendrelPane.h"

#include <QMainWindow>

// The settings host: a window titled "Fendrel" that makes the pane once,
// tells it when it is shown (didSelect) and, before it closes, asks it
// (shouldUnselect): now closes, cancel stays, later waits for the pane's
// reply, which closes the window or keeps it. didUnselect follows a close.
class FendrelHostWindow : public QMainWindow
{
    Q_OBJECT
public:
    static constexpr const char* kTitle = "Fendrel";

    explicit FendrelHostWindow(FendrelPane::ApacheFactory apacheFactory = {}, QWidget* parent = nullptr);

    FendrelPane* pane() const { return pane_; }
    bool isSelected() const { return selected_; }

signals:
    // The pane was left and the window closed.
    void unselected();

protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void unselect();

    FendrelPane* pane_;
    bool selected_ = false;
    bool waitingForReply_ = false;
    bool leaving_ = false;
};
