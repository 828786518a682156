#pragma once

#include <functional>
#include <optional>
#include <string>

// An alert sheet: a title, a message and up to three buttons. The handler
// gets 1 for the default button, 0 for the alternate, -1 for the other.
struct KLAlert
{
    std::string title;
    std::string message;
    std::string defaultButton;   // empty: "OK"
    std::string alternateButton; // empty: no such button
    std::string otherButton;     // empty: no such button
    // What the sheet is about, for its end handler and for whoever records
    // the sheets ("up to date", "version net access", ...); may be empty.
    std::string context = {};
};

// Sheets and panels on the pane's window. Every answer comes back through
// the handler, possibly later (the sheet is modal to the window only).
class KLAlerts
{
public:
    virtual ~KLAlerts() = default;
    virtual void beginAlertSheet(const KLAlert& alert, std::function<void(int returnCode)> handler) = 0;
    // Folder chooser: single selection, folders only. returnCode 1 with the
    // chosen folder, anything else for a cancel.
    virtual void runFolderChooser(const std::string& startFolder,
                                  std::function<void(int returnCode, const std::string& folder)> handler) = 0;
    // Save panel with a suggested file name; 1 with the chosen path, else cancel.
    virtual void runSavePanel(const std::string& folder, const std::string& fileName,
                              std::function<void(int returnCode, const std::string& path)> handler) = 0;
};
