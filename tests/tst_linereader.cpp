// Reading track files a chunk at a time gives the lines that decoding the
// whole file at once gives, whatever bytes it holds.

#include "linereader.h"
#include "testutil.h"

#include <QTextCodec>

namespace {

// The lines as the whole file decodes: the encoding from a byte-order mark,
// else UTF-8; every '\r' dropped; split at '\n'.
QStringList wholeFileLines(const QByteArray &bytes, bool keepEmpty)
{
    QTextCodec *utf8 = QTextCodec::codecForName("UTF-8");
    QString text = QTextCodec::codecForUtfText(bytes, utf8)->toUnicode(bytes);
    text.remove(QLatin1Char('\r'));
    QStringList lines = text.split(QLatin1Char('\n'));
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast(); // no line after the final line end
    if (!keepEmpty)
        lines.removeAll(QString());
    return lines;
}

QStringList readerLines(const QString &path, LineReader::EmptyLines empty, int maxChars,
                        int *truncated = nullptr)
{
    LineReader reader(empty, maxChars);
    if (!reader.open(path))
        return {"<cannot open>"};
    QStringList lines;
    QStringRef line;
    while (reader.next(line)) {
        lines << line.toString();
        if (truncated && reader.truncated())
            ++*truncated;
    }
    return lines;
}

} // namespace

class LineReaderTest : public QObject
{
    Q_OBJECT

    quint32 seed = 2463534242u;
    int random(int n)
    {
        seed ^= seed << 13;
        seed ^= seed >> 17;
        seed ^= seed << 5;
        return int(seed % quint32(n));
    }

private slots:
    void sameLinesAsTheWholeFile_data()
    {
        QTest::addColumn<int>("chunkCrossings");
        QTest::newRow("small files") << 0;
        QTest::newRow("files over a chunk") << 1;
    }
    void sameLinesAsTheWholeFile()
    {
        QFETCH(int, chunkCrossings);
        Scratch s;
        // Pieces that break decoders: invalid and cut sequences, byte-order
        // marks inside the text, '\r' alone and before '\n'.
        const QList<QByteArray> pieces{"$GPRMC,1,A*00",
                                       "\n",
                                       "\r\n",
                                       "\r",
                                       "\n\n",
                                       "\xc3\xa9",
                                       "\xe2\x82\xac",
                                       "\xf0\x9f\x9a\x97",
                                       "\xe2\x82",
                                       "\xc3",
                                       "\xff",
                                       "\x80\x80",
                                       "\xef\xbb\xbf",
                                       "B,1,2",
                                       ",",
                                       " "};
        const int rounds = chunkCrossings ? 12 : 3000;
        for (int round = 0; round < rounds; ++round) {
            QByteArray bytes;
            if (random(8) == 0)
                bytes += "\xef\xbb\xbf"; // a UTF-8 mark at the start
            const int target =
                chunkCrossings ? DecodedFile::chunkBytes * 2 + random(5000) : random(40);
            while (bytes.size() < target)
                bytes += pieces[random(pieces.size())];
            const QString path = s.bytes("t.TXT", bytes);
            for (LineReader::EmptyLines empty : {LineReader::SkipEmpty, LineReader::KeepEmpty}) {
                const QStringList expected = wholeFileLines(bytes, empty == LineReader::KeepEmpty);
                const QStringList got = readerLines(path, empty, tracklimits::maxLineChars);
                if (got != expected) {
                    qWarning() << "bytes:" << bytes.left(200).toHex();
                    QCOMPARE(got, expected);
                }
            }
        }
    }

    void utf16WithItsMark()
    {
        Scratch s;
        QByteArray bytes("\xff\xfe", 2);
        const QString text = "first\r\nsecond\n\nthird";
        bytes.append(reinterpret_cast<const char *>(text.utf16()), text.size() * 2);
        QCOMPARE(readerLines(s.bytes("t.TXT", bytes), LineReader::SkipEmpty, 100),
                 QStringList({"first", "second", "third"}));
    }

    // A line over the limit is given as far as the limit, once, and the
    // lines after it as they are, also when the long one spans chunks.
    void longLinesAreCut()
    {
        Scratch s;
        const int limit = 1000;
        for (int length : {limit, limit + 1, DecodedFile::chunkBytes * 3 + 7}) {
            QByteArray bytes = "first\n" + QByteArray(length, 'x') + "\nlast";
            int truncated = 0;
            const QStringList lines =
                readerLines(s.bytes("t.TXT", bytes), LineReader::SkipEmpty, limit, &truncated);
            QCOMPARE(lines.size(), 3);
            QCOMPARE(lines[0], QString("first"));
            QCOMPARE(lines[1], QString(qMin(length, limit), 'x'));
            QCOMPARE(truncated, length > limit ? 1 : 0);
            QCOMPARE(lines[2], QString("last"));
            // At the end of the file, without a line end.
            truncated = 0;
            QCOMPARE(readerLines(s.bytes("u.TXT", QByteArray(length, 'y')), LineReader::SkipEmpty,
                                 limit, &truncated),
                     QStringList(QString(qMin(length, limit), 'y')));
            QCOMPARE(truncated, length > limit ? 1 : 0);
        }
    }

    void missingFile()
    {
        LineReader reader;
        QVERIFY(!reader.open("/no/such/file"));
    }
};

QTEST_GUILESS_MAIN(LineReaderTest)
#include "tst_linereader.moc"
