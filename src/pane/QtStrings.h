#pragma once

#include <QString>

#include <string>

// Core strings are UTF-8.
inline QString toQt(const std::string& text)
{
    return QString::fromStdString(text);
}

inline std::string fromQt(const QString& text)
{
    return text.toStdString();
}
