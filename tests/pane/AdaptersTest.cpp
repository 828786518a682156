#include "PaneTestApp.h"
#include "QtAlerts.h"
#include "QtButton.h"
#include "QtMatrix.h"
#include "QtPopUpButton.h"
#include "QtProgressIndicator.h"
#include "QtTabView.h"
#include "QtTextField.h"
#include "QtTextView.h"
#include "QtWindow.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

TEST(QtAdaptersTest, SettingAControlIsNoUserAction)
{
    QCheckBox box("Sort users");
    QtButton button(&box);
    QSignalSpy clicks(&box, &QCheckBox::clicked);
    button.setState(1);
    EXPECT_EQ(button.state(), 1);
    EXPECT_EQ(clicks.count(), 0);
    box.click();
    EXPECT_EQ(button.state(), 0);
    button.setTitle("Check Now");
    EXPECT_EQ(box.text(), "Check Now");

    QComboBox combo;
    QtPopUpButton popUp(&combo);
    QSignalSpy chosen(&combo, &QComboBox::activated);
    popUp.addItem("Sites", "folder");
    popUp.addItem("Documents");
    popUp.addSeparator();
    popUp.addItem("Custom\u2026");
    popUp.insertItem("mine", "", 2);
    EXPECT_EQ(popUp.numberOfItems(), 5);
    EXPECT_EQ(popUp.itemTitleAtIndex(2), "mine");
    EXPECT_EQ(popUp.itemTitleAtIndex(3), "") << "the separator";
    EXPECT_FALSE(combo.itemIcon(0).isNull());
    popUp.selectItemAtIndex(4);
    EXPECT_EQ(popUp.indexOfSelectedItem(), 4);
    popUp.removeItemAtIndex(2);
    EXPECT_EQ(popUp.itemTitleAtIndex(2), "");
    EXPECT_EQ(chosen.count(), 0);

    QPlainTextEdit edit;
    QtTextView text(&edit);
    QSignalSpy changes(&edit, &QPlainTextEdit::textChanged);
    text.setString("AuthType Basic\n");
    EXPECT_EQ(edit.toPlainText(), "AuthType Basic\n");
    EXPECT_EQ(changes.count(), 0);
    EXPECT_EQ(edit.textCursor().position(), 0);
    text.setEditable(false);
    EXPECT_TRUE(edit.isReadOnly());
}

TEST(QtAdaptersTest, TextFieldsTakeNamedColours)
{
    QWidget parent;
    auto* label = new QLabel(&parent);
    QtTextField field(label);
    field.setStringValue("Apache status: Running");
    EXPECT_EQ(label->text(), "Apache status: Running");
    EXPECT_FALSE(field.isEditable());
    const std::pair<const char*, QColor> colours[] = {
        {"darkGreen", QColor(0x00, 0x64, 0x00)},
        {"#f59900", QColor(0xf5, 0x99, 0x00)},
        {"", parent.palette().color(QPalette::WindowText)},
    };
    for (const auto& [name, colour] : colours) {
        field.setTextColor(name);
        EXPECT_EQ(label->palette().color(QPalette::WindowText), colour) << name;
    }
}

TEST(QtAdaptersTest, RadioRowsAndTabsByIdentifier)
{
    QWidget box;
    QButtonGroup group;
    group.addButton(new QRadioButton("Allow", &box), 0);
    group.addButton(new QRadioButton("Deny", &box), 1);
    QtMatrix matrix(&box, &group);
    matrix.selectCellAtRow(1);
    EXPECT_EQ(matrix.selectedRow(), 1);
    matrix.setEnabled(false);
    EXPECT_FALSE(group.button(1)->isEnabled());

    QTabWidget tabs;
    for (const char* id : {"users", "addresses", "custom"}) {
        auto* page = new QWidget;
        page->setProperty(QtTabView::kIdentifierProperty, id);
        tabs.addTab(page, QString(id).toUpper());
    }
    QtTabView view(&tabs);
    QWidget* custom = tabs.widget(2);
    view.removeItem("custom");
    EXPECT_EQ(view.numberOfItems(), 2);
    EXPECT_EQ(view.indexOfItemWithIdentifier("custom"), -1);
    view.insertItem("custom", 0);
    EXPECT_EQ(view.indexOfItemWithIdentifier("custom"), 0);
    EXPECT_EQ(tabs.widget(0), custom) << "the removed page comes back as it was";
    EXPECT_EQ(tabs.tabText(0), "CUSTOM");
    view.insertItem("custom", 2);
    view.insertItem("unknown", 0);
    EXPECT_EQ(view.numberOfItems(), 3) << "a shown page is not added twice, an unknown one not at all";
    view.selectItem("addresses");
    EXPECT_EQ(view.selectedIdentifier(), "addresses");
}

TEST(QtAdaptersTest, ProgressIndicators)
{
    QProgressBar bar, download;
    QtProgressIndicator spinner(&bar), progress(&download);
    EXPECT_TRUE(bar.isHidden()) << "an idle spinner shows nothing";
    spinner.startAnimation();
    EXPECT_TRUE(spinner.isAnimating());
    EXPECT_FALSE(bar.isHidden());
    EXPECT_EQ(bar.maximum(), 0);
    spinner.stopAnimation();
    EXPECT_TRUE(bar.isHidden());

    progress.setIndeterminate(false);
    progress.setMaxValue(5.0e9);
    progress.setDoubleValue(2.5e9);
    EXPECT_DOUBLE_EQ(progress.doubleValue(), 2.5e9);
    EXPECT_EQ(download.value() * 2, download.maximum()) << "sizes past 2 GB still show";
}

TEST(QtAlertsTest, ButtonsAnswerOneZeroMinusOneAndTheTextStaysPlain)
{
    QWidget window;
    window.show();
    QtAlerts alerts(&window);
    std::vector<int> answers;
    auto answer = [&](int code) { answers.push_back(code); };
    KLAlert alert{"Delete User", "Are you sure you wish to delete the user \"<b>x</b>\"?", "Yes", "Don't Ask", "No"};
    for (const char* click : {"Yes", "Don't Ask", "No"}) {
        alerts.beginAlertSheet(alert, answer);
        QMessageBox* box = PaneTestApp::openAlert(2000);
        ASSERT_TRUE(box);
        EXPECT_EQ(box->windowModality(), Qt::WindowModal);
        EXPECT_EQ(box->text(), "Delete User");
        auto* info = box->findChild<QLabel*>("qt_msgbox_informativelabel");
        ASSERT_TRUE(info);
        EXPECT_EQ(info->textFormat(), Qt::PlainText);
        EXPECT_EQ(box->defaultButton()->text(), "Yes");
        ASSERT_TRUE(PaneTestApp::answerAlert(click));
    }
    alerts.beginAlertSheet({"An Error Occured", "An unknown error occured", "", "", ""}, answer);
    ASSERT_TRUE(PaneTestApp::openAlert(2000));
    EXPECT_EQ(PaneTestApp::openAlert()->buttons().size(), 1);
    ASSERT_TRUE(PaneTestApp::answerAlert("OK"));
    EXPECT_EQ(answers, (std::vector<int>{1, 0, -1, 1}));
}

TEST(QtAlertsTest, FolderChooserAnswersWithTheChosenFolderOrACancel)
{
    QWidget window;
    window.show();
    QtAlerts alerts(&window);
    std::vector<std::pair<int, std::string>> answers;
    std::string home = qEnvironmentVariable("HOME").toStdString();
    for (bool accept : {true, false}) {
        alerts.runFolderChooser(home, [&](int code, const std::string& folder) { answers.emplace_back(code, folder); });
        QFileDialog* dialog = nullptr;
        ASSERT_TRUE(PaneTestApp::waitFor([&] {
            dialog = window.findChild<QFileDialog*>(QtAlerts::kFolderChooserName);
            return dialog && dialog->isVisible();
        }));
        EXPECT_EQ(dialog->fileMode(), QFileDialog::Directory);
        accept ? static_cast<QDialog*>(dialog)->accept() : dialog->reject();
        PaneTestApp::settle();
    }
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[0], std::make_pair(1, home));
    EXPECT_EQ(answers[1].first, 0);
}

TEST(QtWindowTest, SheetsAreWindowModalAndFocusGoesToTheNamedField)
{
    QWidget window;
    window.show();
    auto* dialog = new QDialog(&window);
    (new QLineEdit("other", dialog))->setObjectName("passField");
    auto* name = new QLineEdit("old", dialog);
    name->setObjectName("userField");
    QtWindow pane(&window), sheet(dialog);
    pane.beginSheet(sheet);
    EXPECT_TRUE(sheet.isVisible());
    EXPECT_EQ(dialog->windowModality(), Qt::WindowModal);
    sheet.makeFirstResponder("userField");
    EXPECT_EQ(name->selectedText(), "old");
    pane.endSheet(sheet);
    EXPECT_FALSE(sheet.isVisible());
}

} // namespace
