#include "QtWorkspace.h"

#include "QtStrings.h"

#include <QApplication>
#include <QDesktopServices>
#include <QUrl>

bool QtWorkspace::openURL(const std::string& url)
{
    QUrl parsed(toQt(url), QUrl::TolerantMode);
    return parsed.isValid() && QDesktopServices::openUrl(parsed);
}

bool QtWorkspace::openFile(const std::string& path)
{
    return QDesktopServices::openUrl(QUrl::fromLocalFile(toQt(path)));
}

bool QtWorkspace::revealFolder(const std::string& path)
{
    return QDesktopServices::openUrl(QUrl::fromLocalFile(toQt(path)));
}

void QtWorkspace::beep()
{
    QApplication::beep();
}
