#pragma once

#include "KLPasteboard.h"

#include <QStringList>

class QMimeData;

// Carries a KLPasteboard's typed strings in Qt's drag data and back. The
// pasteboard type is the MIME format ("KLFendrelUser").
class QtPasteboard
{
public:
    static QMimeData* toMimeData(const KLPasteboard& pasteboard);
    static KLPasteboard fromMimeData(const QMimeData& data, const QStringList& types);
};
