#pragma once

#include "KLAlerts.h"

#include <QPointer>

#include <QWidget>

// Alert sheets, the folder chooser and the save panel as dialogs modal to
// the pane's window. Each answer reaches its handler once the dialog has
// closed, so a handler may open the next sheet.
class QtAlerts : public KLAlerts
{
public:
    // Object names tests and screenshots find the dialogs by.
    static constexpr const char* kAlertName = "alertSheet";
    static constexpr const char* kFolderChooserName = "folderChooser";
    static constexpr const char* kSavePanelName = "savePanel";

    explicit QtAlerts(QWidget* window);

    void beginAlertSheet(const KLAlert& alert, std::function<void(int returnCode)> handler) override;
    void runFolderChooser(const std::string& startFolder,
                          std::function<void(int returnCode, const std::string& folder)> handler) override;
    void runSavePanel(const std::string& folder, const std::string& fileName,
                      std::function<void(int returnCode, const std::string& path)> handler) override;

private:
    QPointer<QWidget> window_;
};
