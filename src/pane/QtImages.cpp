#include "QtImages.h"

#include "KLAccessCheck.h"
#include "KLBundle.h"
#include "QtStrings.h"

#include <QFileIconProvider>
#include <QFileInfo>
#include <QHash>
#include <QPainter>
#include <QPixmap>
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

// The web server's verdict on a protected folder, drawn here so that it
// looks the same whatever the icon theme: a green tick, a red exclamation
// mark or a grey question mark in a disc.
QIcon verdictImage(const std::string& name)
{
    QColor disc;
    if (name == KLAccessCheck::kEnforcedImage)
        disc = QColor(0x2e, 0x7d, 0x32);
    else if (name == KLAccessCheck::kNotEnforcedImage)
        disc = QColor(0xc6, 0x28, 0x28);
    else if (name == KLAccessCheck::kCannotJudgeImage)
        disc = QColor(0x75, 0x75, 0x75);
    else
        return {};
    QIcon icon;
    for (int size : {16, 32}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(size / 16.0, size / 16.0);
        painter.setPen(Qt::NoPen);
        painter.setBrush(disc);
        painter.drawEllipse(QRectF(1, 1, 14, 14));
        painter.setPen(QPen(Qt::white, 2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        if (name == KLAccessCheck::kEnforcedImage) {
            painter.drawPolyline(QPolygonF({QPointF(4.5, 8.5), QPointF(7, 11), QPointF(11.5, 5.5)}));
        } else if (name == KLAccessCheck::kNotEnforcedImage) {
            // "!", so that it is not taken for the delete button's cross.
            painter.drawLine(QPointF(8, 4.5), QPointF(8, 8.5));
            painter.drawPoint(QPointF(8, 11.5));
        } else {
            QFont font = painter.font();
            font.setBold(true);
            font.setPixelSize(11);
            painter.setFont(font);
            painter.drawText(QRectF(1, 1, 14, 14), Qt::AlignCenter, "?");
        }
        icon.addPixmap(pixmap);
    }
    return icon;
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

    QIcon icon = verdictImage(name);
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
