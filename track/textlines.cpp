#include "textlines.h"

#include <QFile>
#include <QTextStream>

bool readNonEmptyLines(const QString &path, QStringList &lines)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    QTextStream in(&file);
    in.setCodec("UTF-8");
    while (!in.atEnd()) {
        QString line = in.readLine();
        if (!line.isEmpty())
            lines.append(line);
    }
    return true;
}
