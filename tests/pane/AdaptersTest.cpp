#include "NSImageAndTextCell.h"
#include "PaneTestApp.h"
#include "QtAlerts.h"
#include "QtButton.h"
#include "QtPopUpButton.h"
#include "QtProgressIndicator.h"
#include "QtTextField.h"
#include "QtTextView.h"

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

TEST(QtAdaptersTest, SettingAControlIsNoUserAction)
{
    QCheckBox box;
    QtButton button(&box);
    QComboBox combo;
    QtPopUpButton popUp(&combo);
    QPlainTextEdit edit;
    QtTextView text(&edit);
    QSignalSpy clicks(&box, &QCheckBox::clicked), chosen(&combo, &QComboBox::activated),
        changes(&edit, &QPlainTextEdit::textChanged);
    button.setState(1);
    EXPECT_TRUE(box.isChecked());
    popUp.addItem("Sites", "folder");
    popUp.addSeparator();
    popUp.addItem("Custom\u2026");
    popUp.insertItem("mine", "", 1);
    EXPECT_EQ(popUp.itemTitleAtIndex(1), "mine");
    EXPECT_EQ(popUp.itemTitleAtIndex(2), "") << "the separator";
    EXPECT_FALSE(combo.itemIcon(0).isNull());
    popUp.selectItemAtIndex(3);
    popUp.removeItemAtIndex(1);
    EXPECT_EQ(popUp.indexOfSelectedItem(), 2);
    EXPECT_EQ(popUp.numberOfItems(), 3);
    text.setString("AuthType Basic\n");
    EXPECT_EQ(text.string(), "AuthType Basic\n");
    EXPECT_EQ(edit.textCursor().position(), 0);
    EXPECT_EQ(clicks.count() + chosen.count() + changes.count(), 0);
    box.click();
    EXPECT_EQ(button.state(), 0);
}

TEST(QtAdaptersTest, TextFieldsTakeNamedColoursAndBarsShowSizesPastTwoGigabytes)
{
    QWidget parent;
    auto* label = new QLabel(&parent);
    QtTextField field(label);
    const std::pair<const char*, QColor> colours[] = {{"darkGreen", QColor(0x00, 0x64, 0x00)},
        {"#f59900", QColor(0xf5, 0x99, 0x00)}, {"", parent.palette().color(QPalette::WindowText)}};
    for (const auto& [name, colour] : colours) {
        field.setTextColor(name);
        EXPECT_EQ(label->palette().color(QPalette::WindowText), colour) << name;
    }
    QProgressBar bar;
    QtProgressIndicator progress(&bar);
    EXPECT_TRUE(bar.isHidden()) << "an idle spinner shows nothing";
    progress.startAnimation();
    EXPECT_FALSE(bar.isHidden());
    progress.setIndeterminate(false);
    progress.setMaxValue(5.0e9);
    progress.setDoubleValue(2.5e9);
    EXPECT_DOUBLE_EQ(progress.doubleValue(), 2.5e9);
    EXPECT_EQ(bar.value() * 2, bar.maximum());
}

TEST(QtAlertsTest, ButtonsAnswerOneZeroMinusOneAndTheTextStaysPlain)
{
    QWidget window;
    window.show();
    QtAlerts alerts(&window);
    std::vector<int> answers;
    const KLAlert ask{"Delete User", "Delete the user \"<b>x</b>\"?", "Yes", "Don't Ask", "No"};
    const KLAlert error{"An Error Occured", "An unknown error occured", "", "", ""};
    const struct { const KLAlert& alert; const char* click; const char* byDefault; int buttons; } cases[] = {
        {ask, "Yes", "Yes", 3}, {ask, "Don't Ask", "Yes", 3}, {ask, "No", "Yes", 3}, {error, "OK", "OK", 1}};
    for (const auto& c : cases) {
        alerts.beginAlertSheet(c.alert, [&](int code) { answers.push_back(code); });
        QMessageBox* box = PaneTestApp::openAlert(2000);
        ASSERT_TRUE(box);
        EXPECT_EQ(box->windowModality(), Qt::WindowModal);
        EXPECT_EQ(box->findChild<QLabel*>("qt_msgbox_informativelabel")->textFormat(), Qt::PlainText);
        EXPECT_EQ(box->defaultButton()->text(), c.byDefault);
        EXPECT_EQ(box->buttons().size(), c.buttons);
        ASSERT_TRUE(PaneTestApp::answerAlert(c.click));
    }
    EXPECT_EQ(answers, (std::vector<int>{1, 0, -1, 1}));
}

TEST(NSImageAndTextCellTest, TheIconSitsThreePointsInAndCentredTheTextTakesTheRest)
{
    QRect cell(10, 20, 200, 25);
    EXPECT_EQ(NSImageAndTextCell::imageFrameForCellFrame(cell, true), QRect(13, 25, 16, 16)) << "ceil((25 - 16) / 2)";
    EXPECT_EQ(NSImageAndTextCell::textFrameForCellFrame(cell, true), QRect(29, 20, 181, 25));
    EXPECT_TRUE(NSImageAndTextCell::imageFrameForCellFrame(cell, false).isEmpty());
    EXPECT_EQ(NSImageAndTextCell::textFrameForCellFrame(cell, false), cell);
}

} // namespace
