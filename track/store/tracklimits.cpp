#include "tracklimits.h"

#include <QDebug>
#include <QFileInfo>

namespace tracklimits {

bool fileSizeAcceptable(const QString &path, const char *reader)
{
    const qint64 size = QFileInfo(path).size();
    if (size <= maxFileBytes)
        return true;
    qWarning().noquote() << QStringLiteral("%1: refused %2: %3 bytes, more than a track file "
                                           "can be (%4 MiB)")
                                .arg(QLatin1String(reader), path)
                                .arg(size)
                                .arg(maxFileBytes >> 20);
    return false;
}

void refuseTooManySamples(const QString &path, const char *reader)
{
    qWarning().noquote() << QStringLiteral("%1: refused %2: more than %3 samples (55 hours)")
                                .arg(QLatin1String(reader), path)
                                .arg(maxSamples);
}

} // namespace tracklimits
