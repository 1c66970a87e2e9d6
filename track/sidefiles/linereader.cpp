#include "linereader.h"

#include <QTextCodec>
#include <QTextDecoder>

DecodedFile::DecodedFile() = default;
DecodedFile::~DecodedFile() = default;

bool DecodedFile::open(const QString &path)
{
    file.close();
    file.setFileName(path);
    codec = nullptr;
    decoder.reset();
    held.clear();
    atEnd = false;
    return file.open(QIODevice::ReadOnly);
}

namespace {

// How many bytes at the end of `bytes` start a UTF-8 sequence that the file
// ends before completing.
int unfinishedUtf8(const QByteArray &bytes)
{
    for (int back = 1; back <= 3 && back <= bytes.size(); ++back) {
        const uchar c = uchar(bytes.at(bytes.size() - back));
        if ((c & 0xC0) == 0x80)
            continue; // a continuation byte: look further back
        const int length = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
        return length > back ? back : 0;
    }
    return 0;
}

} // namespace

bool DecodedFile::read(QString &text)
{
    text.clear();
    while (text.isEmpty()) {
        if (atEnd)
            return false;
        QByteArray bytes = held + file.read(chunkBytes);
        held.clear();
        if (bytes.isEmpty()) {
            atEnd = true;
            return false;
        }
        if (!decoder) {
            codec = QTextCodec::codecForUtfText(bytes, QTextCodec::codecForName("UTF-8"));
            decoder.reset(codec->makeDecoder());
        }
        if (file.atEnd()) {
            atEnd = true;
            text = decoder->toUnicode(bytes);
            // Decoded whole, a sequence that the file ends before completing
            // is decoded on its own: do the same.
            if (decoder->needsMoreData() && codec->mibEnum() == 106)
                text += codec->toUnicode(bytes.right(unfinishedUtf8(bytes)));
        } else {
            // A sequence cut by the chunk's end waits for the next chunk, so
            // the decoder never holds a part of one: what it does with
            // broken ones then stays what it does reading the whole file.
            if (codec->mibEnum() == 106) {
                const int cut = unfinishedUtf8(bytes);
                held = bytes.right(cut);
                bytes.chop(cut);
            }
            text = decoder->toUnicode(bytes);
        }
        text.remove(QLatin1Char('\r'));
    }
    return true;
}

LineReader::LineReader(EmptyLines empty, int maxLineChars)
    : empty(empty), maxLineChars(maxLineChars)
{
}

bool LineReader::open(const QString &path)
{
    buffer.clear();
    pos = 0;
    lastTruncated = false;
    return file.open(path);
}

bool LineReader::readChunk()
{
    QString text;
    if (!file.read(text))
        return false;
    if (pos >= buffer.size())
        buffer = text;
    else
        buffer = buffer.mid(pos) + text;
    pos = 0;
    return true;
}

bool LineReader::next(QStringRef &line)
{
    for (;;) {
        lastTruncated = false;
        int end = buffer.indexOf(QLatin1Char('\n'), pos);
        while (end < 0) {
            if (buffer.size() - pos > maxLineChars) {
                // Over the limit: keep the start, pass over the rest.
                longLine = buffer.mid(pos, maxLineChars);
                lastTruncated = true;
                pos = buffer.size();
                while ((end = buffer.indexOf(QLatin1Char('\n'), pos)) < 0) {
                    pos = buffer.size();
                    if (!readChunk())
                        break;
                }
                pos = end < 0 ? buffer.size() : end + 1;
                line = QStringRef(&longLine);
                return true;
            }
            const int searched = buffer.size() - pos;
            if (!readChunk()) {
                if (pos >= buffer.size())
                    return false;
                end = buffer.size(); // the last line, without a line end
                break;
            }
            end = buffer.indexOf(QLatin1Char('\n'), searched);
        }
        const int start = pos;
        pos = end + 1;
        if (end > start || empty == KeepEmpty) {
            lastTruncated = end - start > maxLineChars;
            line = QStringRef(&buffer, start, qMin(end - start, maxLineChars));
            return true;
        }
    }
}

QXmlStreamReader::TokenType nextToken(QXmlStreamReader &xml, DecodedFile &text)
{
    QString piece;
    for (;;) {
        const QXmlStreamReader::TokenType token = xml.readNext();
        if (token != QXmlStreamReader::Invalid ||
            xml.error() != QXmlStreamReader::PrematureEndOfDocumentError || !text.read(piece))
            return token;
        xml.addData(piece);
    }
}
