#include "QtPasteboard.h"

#include "QtStrings.h"

#include <QMimeData>

QMimeData* QtPasteboard::toMimeData(const KLPasteboard& pasteboard)
{
    auto* data = new QMimeData;
    for (const std::string& type : pasteboard.types())
        if (auto value = pasteboard.stringForType(type))
            data->setData(toQt(type), QByteArray::fromStdString(*value));
    return data;
}

KLPasteboard QtPasteboard::fromMimeData(const QMimeData& data, const QStringList& types)
{
    KLPasteboard pasteboard;
    std::vector<std::string> present;
    for (const QString& type : types)
        if (data.hasFormat(type))
            present.push_back(fromQt(type));
    pasteboard.declareTypes(present);
    for (const std::string& type : present)
        pasteboard.setString(data.data(toQt(type)).toStdString(), type);
    return pasteboard;
}
