#pragma once

#include <QDialog>

#include <functional>

class QLabel;
class QLineEdit;
class QPushButton;

// The sheet that adds a user or sets a new password: name, password, the
// password again, a warning about the password under them and a message line. It never closes by itself: OK and
// Cancel (or Escape) go to the controller, which validates and ends it.
class KLUserSheet : public QDialog
{
    Q_OBJECT
public:
    explicit KLUserSheet(QWidget* parent = nullptr);

    void setActions(std::function<void()> ok, std::function<void()> cancel);

    QLineEdit* userField() const { return userField_; }
    QLineEdit* passField() const { return passField_; }
    QLineEdit* confirmField() const { return confirmField_; }
    QLabel* errorField() const { return errorField_; }
    QLabel* passwordWarningField() const { return passwordWarningField_; }
    QPushButton* okButton() const { return okButton_; }
    QPushButton* cancelButton() const { return cancelButton_; }

    void reject() override;

private:
    QLineEdit* userField_;
    QLineEdit* passField_;
    QLineEdit* confirmField_;
    QLabel* errorField_;
    QLabel* passwordWarningField_;
    QPushButton* okButton_;
    QPushButton* cancelButton_;
    std::function<void()> ok_;
    std::function<void()> cancel_;
};
