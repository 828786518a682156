#pragma once

#include "FendrelPrefOutlets.h"
#include "KLApacheControllerOutlets.h"
#include "KLSUControllerOutlets.h"

#include <QWidget>

#include <functional>
#include <memory>
#include <vector>

class FendrelPref;
class KLApacheController;

class KLApachePage;
class QPushButton;
class KLButtonCell;
class KLFilterField;
class KLHelpWindow;
class KLOutlineView;
class KLPopUpCell;
class KLTableView;
class KLUpdatePanel;
class KLUserSheet;
class QButtonGroup;
class QComboBox;
class QLabel;
class QMenu;
class QPlainTextEdit;
class QProgressBar;
class QSplitter;
class QTabWidget;
class QTextBrowser;

// The settings pane as one widget: the access tab (folder outline beside
// the users and groups, addresses and manual editor tabs), the web server
// tab, the options and the about box, with the status line below, plus the
// user sheet and the help window. Every view that stands for an outlet
// carries the outlet's name as its object name; outlets() hands them to the
// controller as KLButton, KLListView and the like.
class FendrelPane : public QWidget
{
    Q_OBJECT
public:
    explicit FendrelPane(QWidget* parent = nullptr);
    ~FendrelPane() override;

    const FendrelPrefOutlets& outlets() const { return outlets_; }

    // Makes the pane's controller (once), hands it the outlets, wakes it and
    // lets the user's actions reach it. A factory replaces the controller's
    // own way of making the web server controller (tests, the demo).
    using ApacheFactory = std::function<std::shared_ptr<KLApacheController>()>;
    void loadController(ApacheFactory apacheFactory = {});
    FendrelPref* controller() const { return pref_.get(); }
    QSize sizeHint() const override;

    QTabWidget* tabs() const { return tabs_; }
    QSplitter* splitView() const { return splitView_; }
    KLOutlineView* webDirOutline() const { return webDirOutline_; }
    KLTableView* userTable() const { return userTable_; }
    KLOutlineView* groupOutline() const { return groupOutline_; }
    KLFilterField* userFilter() const { return userFilter_; }
    KLFilterField* groupFilter() const { return groupFilter_; }
    KLTableView* addressTable() const { return addressTable_; }
    QTabWidget* userAddressTabs() const { return userAddressTabs_; }
    KLApachePage* apachePage() const { return apachePage_; }
    KLUserSheet* userSheet() const { return userSheet_; }
    KLHelpWindow* helpWindow() const { return helpWindow_; }
    KLUpdatePanel* updatePanel() const { return updatePanel_; }
    KLButtonCell* deleteCell() const { return deleteCell_; }
    KLPopUpCell* protectCell() const { return protectCell_; }
    QPlainTextEdit* customViewText() const { return customViewText_; }

private:
    QWidget* makeAccessTab();
    QWidget* makeUsersPage();
    QWidget* makeAddressesPage();
    QWidget* makeManualPage();
    QWidget* makeOptionsTab();
    QWidget* makeAboutTab();
    QWidget* makeStatusLine();
    QWidget* makeServerNoticeLine();
    void makeOutlets();
    void connectActions();
    void connectAccessActions();
    void connectOptionActions();
    void connectApacheActions();
    void showFolderMenu(const QPoint& where);
    void showUserMenu(const QPoint& where);
    void showGroupMenu(const QPoint& where);
    // The groups the selected user may join, each joining it when chosen.
    void fillAddToGroupMenu(QMenu* menu);
    void setAccessTabOrder(QWidget* tab);
    void applySplitLimits();

    // Keeps an adapter alive as long as the pane and returns it.
    template <class T>
    T* keep(std::shared_ptr<T> adapter)
    {
        T* raw = adapter.get();
        adapters_.push_back(std::move(adapter));
        return raw;
    }

    QTabWidget* tabs_ = nullptr;
    QSplitter* splitView_ = nullptr;
    KLOutlineView* webDirOutline_ = nullptr;
    QComboBox* directoryMenu_ = nullptr;
    KLPopUpCell* protectCell_ = nullptr;
    KLButtonCell* deleteCell_ = nullptr;
    QTabWidget* userAddressTabs_ = nullptr;
    KLTableView* userTable_ = nullptr;
    KLOutlineView* groupOutline_ = nullptr;
    KLFilterField* userFilter_ = nullptr;
    KLFilterField* groupFilter_ = nullptr;
    KLTableView* addressTable_ = nullptr;
    QButtonGroup* addressModeGroup_ = nullptr;
    QWidget* addressMode_ = nullptr;
    QPlainTextEdit* customViewText_ = nullptr;
    KLApachePage* apachePage_ = nullptr;
    QComboBox* webDirFolder_ = nullptr;
    QComboBox* passwordHashMenu_ = nullptr;
    QLabel* nameVersionText_ = nullptr;
    QTextBrowser* creditsText_ = nullptr;
    QProgressBar* versionCheckProgress_ = nullptr;
    QLabel* lastCheckText_ = nullptr;
    QLabel* fendrelStatus_ = nullptr;
    QLabel* accessNotice_ = nullptr;
    QPushButton* accessNoticeButton_ = nullptr;
    KLUserSheet* userSheet_ = nullptr;
    KLHelpWindow* helpWindow_ = nullptr;
    KLUpdatePanel* updatePanel_ = nullptr;

    std::vector<std::shared_ptr<void>> adapters_;
    FendrelPrefOutlets outlets_;
    KLApacheControllerOutlets apacheOutlets_;
    KLSUControllerOutlets swuOutlets_;
    std::unique_ptr<FendrelPref> pref_;
};
