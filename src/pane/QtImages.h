#pragma once

#include <QIcon>

#include <string>

// Pictures the pane shows: named images ("genericuser", "folder", "lock",
// "unlock", "delete_idle", "delete_pressed", "fendrel") from the desktop's
// icon theme, else from the pictures bundled in the pane's resources; the
// web server's verdicts on a folder (KLAccessCheck's image names), drawn
// here; and the file system icon of a path.
class QtImages
{
public:
    // Uses a fallback theme when the platform names none (offscreen, bare X).
    static void setUpTheme();
    static QIcon named(const std::string& name);
    static QIcon forFile(const std::string& path);
    // A path (absolute) stands for its file's icon, anything else names an image.
    static QIcon forNameOrPath(const std::string& nameOrPath);
};
