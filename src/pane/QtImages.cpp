#include "QtImages.h"

#include "KLBundle.h"
#include "QtStrings.h"

#include <QFileIconProvider>
#include <QFileInfo>
#include <QHash>
#include <QStringList>

#include <map>
#include <vector>

namespace {

constexpr const char* kFallbackTheme = "Adwaita";

// Theme names tried in order for each named image.
const std::map<std::string, std::vector<const char*>>& themeNames()
{
    static const std::map<std::string, std::vector<const char*>> names = {
        {"genericuser", {"avatar-default", "user-identity", "im-user"}},
        {"folder", {"folder"}},
        {"lock", {"changes-prevent", "object-locked", "system-lock-screen"}},
        {"unlock", {"changes-allow", "object-unlocked"}},
        {"delete_idle", {"edit-delete"}},
        {"delete_pressed", {"edit-delete"}},
        {"fendrel", {"fendrel"}},
    };
    return names;
}

QIcon bundled(const std::string& name)
{
    auto path = KLBundle::main().pathForResource(name, "png");
    return path ? QIcon(toQt(*path)) : QIcon();
}

} // namespace

void QtImages::setUpTheme()
{
    // Platforms without a desktop theme look only in Qt's resources.
    QStringList paths = QIcon::themeSearchPaths();
    QString dataDirs = qEnvironmentVariable("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    for (const QString& dir : dataDirs.split(':', Qt::SkipEmptyParts))
        if (!paths.contains(dir + "/icons"))
            paths << dir + "/icons";
    QIcon::setThemeSearchPaths(paths);
    if (QIcon::themeName().isEmpty() || QIcon::themeName() == "hicolor")
        QIcon::setThemeName(kFallbackTheme);
    QIcon::setFallbackThemeName(kFallbackTheme);
}

QIcon QtImages::named(const std::string& name)
{
    static QHash<QString, QIcon> cache;
    QString key = toQt(name);
    auto cached = cache.constFind(key);
    if (cached != cache.constEnd())
        return *cached;

    QIcon icon;
    auto it = themeNames().find(name);
    if (it != themeNames().end()) {
        for (const char* themeName : it->second) {
            icon = QIcon::fromTheme(themeName);
            if (!icon.isNull() && !icon.availableSizes().isEmpty())
                break;
            icon = QIcon();
        }
    }
    // The pressed look of a theme icon is its selected mode; a bundled
    // pressed picture is used only beside a bundled idle one.
    if (!icon.isNull() && name == "delete_pressed") {
        QIcon pressed;
        pressed.addPixmap(icon.pixmap(16, 16, QIcon::Selected), QIcon::Normal);
        icon = pressed;
    }
    if (icon.isNull())
        icon = bundled(name);
    cache.insert(key, icon);
    return icon;
}

QIcon QtImages::forFile(const std::string& path)
{
    static QFileIconProvider provider;
    QFileInfo info(toQt(path));
    if (info.isDir()) {
        QIcon folder = named("folder");
        if (!folder.isNull())
            return folder;
    }
    return provider.icon(info);
}

QIcon QtImages::forNameOrPath(const std::string& nameOrPath)
{
    if (nameOrPath.empty())
        return {};
    if (nameOrPath.front() == '/')
        return forFile(nameOrPath);
    return named(nameOrPath);
}
