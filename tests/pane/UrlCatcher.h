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
    UrlCatcher() { forSchemes([this](const char* s) { QDesktopServices::setUrlHandler(s, this, "open"); }); }
    ~UrlCatcher() override { forSchemes([](const char* s) { QDesktopServices::unsetUrlHandler(s); }); }

    QStringList urls;

public slots:
    void open(const QUrl& url) { urls << url.toString(); }

private:
    template <class F> static void forSchemes(F f)
    {
        for (const char* scheme : {"http", "https", "file"})
            f(scheme);
    }
};
