#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

// Collects the warnings Qt gives while it lives, so that a test can fail on
// one; every message still goes on to the handler that was there before.
class QtWarningCatcher
{
public:
    QtWarningCatcher()
    {
        caught().clear();
        previous() = qInstallMessageHandler(&QtWarningCatcher::handle);
    }
    ~QtWarningCatcher() { qInstallMessageHandler(previous()); }
    QtWarningCatcher(const QtWarningCatcher&) = delete;
    QtWarningCatcher& operator=(const QtWarningCatcher&) = delete;

    // The warnings so far that contain this text.
    QStringList containing(const QString& text) const { return caught().filter(text); }

private:
    static QStringList& caught()
    {
        static QStringList warnings;
        return warnings;
    }
    static QtMessageHandler& previous()
    {
        static QtMessageHandler handler = nullptr;
        return handler;
    }
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& message)
    {
        if (type == QtWarningMsg)
            caught() << message;
        if (previous())
            previous()(type, context, message);
    }
};
