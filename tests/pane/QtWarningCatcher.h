#pragma once

#include <QStringList>
#include <QtGlobal>

// Collects the warnings Qt gives while it lives, so that a test can fail on
// one; every message still goes on to the handler that was there before.
class QtWarningCatcher
{
public:
    QtWarningCatcher() { caught_.clear(), previous_ = qInstallMessageHandler(&QtWarningCatcher::handle); }
    ~QtWarningCatcher() { qInstallMessageHandler(previous_); }
    QtWarningCatcher(const QtWarningCatcher&) = delete;
    QtWarningCatcher& operator=(const QtWarningCatcher&) = delete;

    // The warnings so far that contain this text.
    QStringList containing(const QString& text) const { return caught_.filter(text); }

private:
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& message)
    {
        if (type == QtWarningMsg)
            caught_ << message;
        if (previous_)
            previous_(type, context, message);
    }
    static inline QStringList caught_;
    static inline QtMessageHandler previous_ = nullptr;
};
