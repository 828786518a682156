#include "KLUserSheet.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr const char* kTitle = "User";
constexpr const char* kNameLabel = "Name:";
constexpr const char* kPasswordLabel = "Password:";
constexpr const char* kConfirmLabel = "Confirm:";
constexpr const char* kOKTitle = "OK";
constexpr const char* kCancelTitle = "Cancel";
constexpr int kFieldWidth = 220;
} // namespace

KLUserSheet::KLUserSheet(QWidget* parent) : QDialog(parent)
{
    setObjectName("userAddPanel");
    setWindowTitle(kTitle);
    setModal(false);

    userField_ = new QLineEdit;
    userField_->setObjectName("userField");
    userField_->setMinimumWidth(kFieldWidth);
    passField_ = new QLineEdit;
    passField_->setObjectName("passField");
    passField_->setEchoMode(QLineEdit::Password);
    confirmField_ = new QLineEdit;
    confirmField_->setObjectName("confirmField");
    confirmField_->setEchoMode(QLineEdit::Password);
    errorField_ = new QLabel;
    errorField_->setObjectName("errorField");
    errorField_->setWordWrap(true);
    errorField_->setTextFormat(Qt::PlainText);
    errorField_->setMinimumHeight(2 * errorField_->fontMetrics().lineSpacing());
    errorField_->setAlignment(Qt::AlignLeft | Qt::AlignTop);

    passwordWarningField_ = new QLabel;
    passwordWarningField_->setObjectName("passwordWarningField");
    passwordWarningField_->setWordWrap(true);
    passwordWarningField_->setTextFormat(Qt::PlainText);
    passwordWarningField_->setMaximumWidth(kFieldWidth);

    auto* form = new QFormLayout;
    form->addRow(kNameLabel, userField_);
    form->addRow(kPasswordLabel, passField_);
    form->addRow(kConfirmLabel, confirmField_);
    form->addRow(QString(), passwordWarningField_);

    auto* buttons = new QDialogButtonBox;
    okButton_ = buttons->addButton(kOKTitle, QDialogButtonBox::AcceptRole);
    okButton_->setObjectName("userOKButton");
    okButton_->setDefault(true);
    cancelButton_ = buttons->addButton(kCancelTitle, QDialogButtonBox::RejectRole);
    cancelButton_->setObjectName("userCancelButton");
    connect(okButton_, &QPushButton::clicked, this, [this] {
        if (ok_)
            ok_();
    });
    connect(cancelButton_, &QPushButton::clicked, this, &KLUserSheet::reject);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(errorField_);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

void KLUserSheet::setActions(std::function<void()> ok, std::function<void()> cancel)
{
    ok_ = std::move(ok);
    cancel_ = std::move(cancel);
}

void KLUserSheet::reject()
{
    if (cancel_)
        cancel_();
    else
        QDialog::reject();
}
