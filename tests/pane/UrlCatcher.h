#pragma once

#include <QDesktopServices>
#include <QObject>
#include <QStringList>
#include <QUrl>

// Takes the place of the desktop's browser and file manager for a test: the
// addresses the pane opens are collected instead.
class UrlCatcher : public QObject
{
    Q_OBJECT
public:
    UrlCatcher() { for (const char* scheme : {"http", "https", "file"}) QDesktopServices::setUrlHandler(scheme, this, "open"); }
    ~UrlCatcher() override { for (const char* scheme : {"http", "https", "file"}) QDesktopServices::unsetUrlHandler(scheme); }
    QStringList urls;

public slots:
    void open(const QUrl& url) { urls << url.toString(); }
};
