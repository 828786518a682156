#pragma once

class KLAlerts;
class KLListView;
class KLProgressIndicator;
class KLTextField;
class KLTextView;
class KLWindow;
class KLWorkspace;

// The update panel and what the update controller needs of the pane, as the
// toolkit side (Qt widgets, test fakes) fills them in.
struct KLSUControllerOutlets
{
    KLWindow* swuPanel = nullptr; // the update panel
    KLProgressIndicator* progressBar = nullptr;
    KLTextView* releaseNotes = nullptr;
    KLTextField* noteField = nullptr;
    KLListView* detailsTable = nullptr;

    KLAlerts* alerts = nullptr; // sheets on the pane's window; the save panel
    KLWorkspace* workspace = nullptr;
};
