#include "srtparse.h"

#include <QFile>
#include <QTextStream>
#include <memory>

bool SrtParse::parseFile(QString srtPath, QString outPath)
{
    return LoadSrt(srtPath, outPath);
}

bool SrtParse::LoadSrt(QString srtPath, QString outPath)
{
    if (QFile::exists(outPath))
        QFile::remove(outPath);
    if (!QFile::exists(srtPath))
        return false;
    QFile in(srtPath);
    if (!in.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    QFile out(outPath);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Text)) {
        in.close();
        return false;
    }

    QTextStream input(&in);
    input.setCodec("UTF-8");
    QTextStream output(&out);
    output.setCodec("UTF-8"); // what the track reader expects

    // A block counts only once an empty line closes it.
    QStringList block;
    while (!input.atEnd()) {
        const QString line = input.readLine();
        if (!line.isEmpty()) {
            block.append(line);
            continue;
        }
        std::unique_ptr<SrtInfoItem> item(ParseOneSrt(&block));
        if (item)
            output << item->text << '\n';
        block.clear();
    }

    in.close();
    QFile::remove(srtPath);
    output.flush();
    out.close();
    return true;
}

SrtInfoItem *SrtParse::ParseOneSrt(QStringList *lines)
{
    const int n = lines->size();
    if (n < 1)
        return nullptr;

    auto *item = new SrtInfoItem;
    int i = 0;
    bool isNumber = false;
    const int index = lines->at(0).toInt(&isNumber, 10);
    if (isNumber) {
        item->index = index;
        i = 1;
    }
    if (n < i + 1) {
        delete item;
        return nullptr;
    }

    const QString &timing = lines->at(i);
    const int arrow = timing.indexOf(QLatin1String("-->"));
    if (arrow >= 0) {
        // The blank before the arrow and the one after it are not part of
        // the times.
        item->startTime = arrow > 1 ? timing.left(arrow - 1) : QString();
        item->endTime = timing.mid(arrow + 4);
        ++i;
    }

    for (; i < n; ++i)
        item->text += lines->at(i);

    ParseSrtFormat(item);
    return item;
}

namespace {

// Removes every open...close span, leftmost first. Stops when the first
// close mark stands before the first open mark.
void removeSpans(QString &text, QChar open, QChar close)
{
    int from = text.indexOf(open);
    int to = text.indexOf(close);
    while (from >= 0 && to >= 0) {
        const int length = to - from + 1;
        if (length <= 0)
            break;
        text.remove(from, length);
        if (text.isEmpty())
            break;
        from = text.indexOf(open);
        to = text.indexOf(close);
    }
}

} // namespace

void SrtParse::ParseSrtFormat(SrtInfoItem *item)
{
    if (item->text.isEmpty())
        return;
    QString text = item->text;
    removeSpans(text, QLatin1Char('<'), QLatin1Char('>'));
    removeSpans(text, QLatin1Char('{'), QLatin1Char('}'));
    item->text = text;
}
