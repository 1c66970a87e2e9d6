#include "srtparse.h"

#include "linereader.h"
#include "sidefile.h"
#include "tracklimits.h"

#include <QDebug>
#include <QFile>
#include <QTextStream>
#include <memory>

bool SrtParse::parseFile(QString srtPath, QString outPath)
{
    return LoadSrt(srtPath, outPath);
}

bool SrtParse::LoadSrt(QString srtPath, QString outPath)
{
    const std::unique_ptr<QSaveFile> out = sidefile::replace(outPath, "SRT");
    if (!out || !QFile::exists(srtPath) || !tracklimits::fileSizeAcceptable(srtPath, "SRT"))
        return false;
    LineReader input(LineReader::KeepEmpty);
    if (!input.open(srtPath))
        return false;

    QTextStream output(out.get());
    output.setCodec("UTF-8"); // what the track reader expects

    // A block counts only once an empty line closes it. Its text lines
    // (from the third line on, whatever the first two are) are joined as
    // they come, and kept up to the line limit, so a block is never more
    // than three strings.
    QStringList block;
    int blocks = 0;
    QStringRef line;
    bool refused = false;
    while (input.next(line)) {
        if (!line.isEmpty()) {
            if (block.size() < 3)
                block.append(line.toString());
            else if (block.last().size() < tracklimits::maxLineChars)
                block.last().append(line.left(tracklimits::maxLineChars - block.last().size()));
            continue;
        }
        std::unique_ptr<SrtInfoItem> item(ParseOneSrt(&block));
        block.clear();
        if (!item)
            continue;
        if (++blocks > tracklimits::maxSamples) {
            tracklimits::refuseTooManySamples(srtPath, "SRT");
            refused = true;
            break;
        }
        output << item->text << '\n';
    }

    QFile::remove(srtPath);
    output.flush();
    if (refused || blocks == 0) {
        out->cancelWriting(); // nothing worth keeping
        return !refused;
    }
    return sidefile::commit(*out, "SRT");
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

// Removes every open...close span, leftmost first, and stops at the first
// close mark that comes before the next open mark. Each removal leaves no
// open mark before it, so one pass from left to right does what searching
// again from the start after each removal would.
QString removeSpans(const QString &text, QChar open, QChar close)
{
    QString kept;
    int pos = 0;
    for (;;) {
        const int from = text.indexOf(open, pos);
        const int to = text.indexOf(close, pos);
        if (from < 0 || to < 0 || to < from)
            break;
        kept += text.midRef(pos, from - pos);
        pos = to + 1;
    }
    if (pos == 0)
        return text;
    kept += text.midRef(pos);
    return kept;
}

} // namespace

void SrtParse::ParseSrtFormat(SrtInfoItem *item)
{
    if (item->text.isEmpty())
        return;
    item->text = removeSpans(removeSpans(item->text, QLatin1Char('<'), QLatin1Char('>')),
                             QLatin1Char('{'), QLatin1Char('}'));
}
