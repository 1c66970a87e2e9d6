// The subtitle converter: ".srt" blocks to track lines.

#include "srtparse.h"
#include "testutil.h"

#include <memory>

namespace {

// Markup removal as first written: search both marks from the start again
// after each removal (quadratic, kept as the reference for the output).
void removeSpansRescanning(QString &text, QChar open, QChar close)
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

QString stripped(const QString &text)
{
    SrtInfoItem item;
    item.text = text;
    SrtParse::ParseSrtFormat(&item);
    return item.text;
}

} // namespace

class SrtParseTest : public QObject
{
    Q_OBJECT

    QString convert(const Scratch &s, const QByteArray &srt)
    {
        s.bytes("c.srt", srt);
        if (!SrtParse::parseFile(s.path("c.srt"), s.path("c.map")))
            return "<failed>";
        return trackgen::readText(s.path("c.map"));
    }

private slots:
    // One pass gives what searching again after each removal gives.
    void markupRemovalMatchesTheRescan()
    {
        quint32 seed = 7;
        const QString alphabet = "<>{}ab <>";
        for (int round = 0; round < 20000; ++round) {
            QString text;
            seed = seed * 1664525u + 1013904223u;
            for (int n = int((seed >> 16) % 24); n > 0; --n) {
                seed = seed * 1664525u + 1013904223u;
                text += alphabet.at(int((seed >> 16) % quint32(alphabet.size())));
            }
            QString expected = text;
            removeSpansRescanning(expected, '<', '>');
            removeSpansRescanning(expected, '{', '}');
            QCOMPARE(stripped(text), expected);
        }
    }

    // 600,000 characters of markup (it took 16 s searching again each time).
    void longMarkupIsRemoved()
    {
        Scratch s;
        QString text;
        for (int i = 0; i < 50000; ++i)
            text += "<b>x</b>{yy}";
        QCOMPARE(text.size(), 600000);
        QCOMPARE(convert(s, ("1\n00:00:00,000 --> 00:00:01,000\n" + text + "\n\n").toUtf8()),
                 QString(50000, 'x') + '\n');
    }

    void sentenceIsWrittenUnchanged()
    {
        Scratch s;
        const QString rmc = "$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A";
        QCOMPARE(convert(s, ("1\n00:00:00,000 --> 00:00:01,000\n" + rmc + "\n\n").toUtf8()),
                 rmc + '\n');
    }

    void markupIsRemoved()
    {
        Scratch s;
        QCOMPARE(convert(s,
                         "1\n00:00:00,000 --> 00:00:01,000\n"
                         "<font color=#ffffff>B,061517,123456.000,22.5,N,113.9,E,30;</font>\n\n"),
                 QString("B,061517,123456.000,22.5,N,113.9,E,30;\n"));
        QCOMPARE(convert(s, "1\n00:00:00,000 --> 00:00:01,000\n{\\an8}<b>A</b>{x}B\n\n"),
                 QString("AB\n"));
    }

    void textLinesAreJoinedWithoutABlank()
    {
        Scratch s;
        QCOMPARE(convert(s, "7\n00:00:06,000 --> 00:00:07,000\nB,061517,\n123456.000,22.5\n\n"),
                 QString("B,061517,123456.000,22.5\n"));
    }

    void lastBlockWithoutEmptyLineIsLost()
    {
        Scratch s;
        QCOMPARE(convert(s, "1\n00:00:00,000 --> 00:00:01,000\nfirst\n\n"
                            "2\n00:00:01,000 --> 00:00:02,000\nsecond\n"),
                 QString("first\n"));
    }

    void srtIsDeletedAndMapWritten()
    {
        Scratch s;
        convert(s, "1\n00:00:00,000 --> 00:00:01,000\nline\n\n");
        QVERIFY(!s.exists("c.srt"));
        QVERIFY(s.exists("c.map"));
    }

    void emptyResultStillSucceeds()
    {
        Scratch s;
        QCOMPARE(convert(s, "1\n\n2\n\n"), QString()); // number lines alone are skipped
        QVERIFY(!s.exists("c.srt"));
    }

    void existingMapIsReplaced()
    {
        Scratch s;
        s.bytes("c.map", "old\nold\n");
        QCOMPARE(convert(s, "1\n00:00:00,000 --> 00:00:01,000\nnew\n\n"), QString("new\n"));
    }

    void windowsLineEnds()
    {
        Scratch s;
        QCOMPARE(convert(s, "1\r\n00:00:00,000 --> 00:00:01,000\r\nline\r\n\r\n"),
                 QString("line\n"));
    }

    void missingSrtFails()
    {
        Scratch s;
        s.bytes("c.map", "old\n");
        QCOMPARE(SrtParse::parseFile(s.path("none.srt"), s.path("c.map")), false);
        QVERIFY(!s.exists("c.map")); // the old ".map" goes first
    }

    void unwritableOutputFailsAndKeepsTheSrt()
    {
        Scratch s;
        s.bytes("c.srt", "1\n00:00:00,000 --> 00:00:01,000\nline\n\n");
        QCOMPARE(SrtParse::parseFile(s.path("c.srt"), s.path("no/such/dir/c.map")), false);
        QVERIFY(s.exists("c.srt"));
    }

    void oneBlock()
    {
        QStringList lines{"12", "00:00:11,000 --> 00:00:12,000", "text"};
        std::unique_ptr<SrtInfoItem> item(SrtParse::ParseOneSrt(&lines));
        QVERIFY(item);
        QCOMPARE(item->index, 12);
        QCOMPARE(item->startTime, QString("00:00:11,000"));
        QCOMPARE(item->endTime, QString("00:00:12,000"));
        QCOMPARE(item->text, QString("text"));
    }

    void blockWithoutNumberOrTiming()
    {
        QStringList noNumber{"00:00:11,000 --> 00:00:12,000", "text"};
        std::unique_ptr<SrtInfoItem> a(SrtParse::ParseOneSrt(&noNumber));
        QCOMPARE(a->index, 0);
        QCOMPARE(a->startTime, QString("00:00:11,000"));
        QCOMPARE(a->text, QString("text"));

        QStringList noTiming{"3", "just text", "more"};
        std::unique_ptr<SrtInfoItem> b(SrtParse::ParseOneSrt(&noTiming));
        QCOMPARE(b->index, 3);
        QVERIFY(b->startTime.isEmpty());
        QVERIFY(b->endTime.isEmpty());
        QCOMPARE(b->text, QString("just textmore"));

        QStringList arrowFirst{"1", "-->x"};
        std::unique_ptr<SrtInfoItem> c(SrtParse::ParseOneSrt(&arrowFirst));
        QVERIFY(c->startTime.isEmpty());
        QVERIFY(c->text.isEmpty());
    }

    void tooFewLines()
    {
        QStringList none;
        QCOMPARE(SrtParse::ParseOneSrt(&none), nullptr);
        QStringList numberOnly{"5"};
        QCOMPARE(SrtParse::ParseOneSrt(&numberOnly), nullptr);
    }

    void markupStripping_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("clean");
        QTest::newRow("empty") << ""
                               << "";
        QTest::newRow("plain") << "abc"
                               << "abc";
        QTest::newRow("nested") << "<i><b>x</b></i>"
                                << "x";
        QTest::newRow("all markup") << "<a>"
                                    << "";
        QTest::newRow("close before open stops") << "a>b<c>d"
                                                 << "a>b<c>d";
        QTest::newRow("close before open, later") << "<x>a>b<c>"
                                                  << "a>b<c>";
        QTest::newRow("open without close") << "a<b"
                                            << "a<b";
        QTest::newRow("braces") << "{\\an8}x{y}"
                                << "x";
        QTest::newRow("brace close first") << "}x{"
                                           << "}x{";
    }
    void markupStripping()
    {
        QFETCH(QString, text);
        QFETCH(QString, clean);
        SrtInfoItem item;
        item.text = text;
        SrtParse::ParseSrtFormat(&item);
        QCOMPARE(item.text, clean);
    }
};

QTEST_GUILESS_MAIN(SrtParseTest)
#include "tst_srtparse.moc"
