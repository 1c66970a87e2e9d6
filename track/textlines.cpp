#include "textlines.h"

#include <QFile>
#include <QTextCodec>

bool TextLines::read(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.readAll();
    file.close();

    QTextCodec *utf8 = QTextCodec::codecForName("UTF-8");
    text = QTextCodec::codecForUtfText(bytes, utf8)->toUnicode(bytes);
    text.remove(QLatin1Char('\r'));

    lineRefs.clear();
    int start = 0;
    while (start < text.size()) {
        int end = text.indexOf(QLatin1Char('\n'), start);
        if (end < 0)
            end = text.size();
        if (end > start)
            lineRefs.append(QStringRef(&text, start, end - start));
        start = end + 1;
    }
    return true;
}
