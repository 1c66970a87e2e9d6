// Track files that would cost more than any real track: refused with a log
// line, before they can exhaust memory.

#include "srtparse.h"
#include "testutil.h"
#include "tracklimits.h"
#include "videoinfoparse.h"
#include "xmlgpsparse.h"

#include <QRegularExpression>

namespace {

// `count` copies of the line, each ended by a line end.
QByteArray repeated(const QString &line, int count)
{
    const QByteArray bytes = line.toLatin1() + '\n';
    QByteArray all;
    all.reserve(bytes.size() * count);
    for (int i = 0; i < count; ++i)
        all += bytes;
    return all;
}

QByteArray convertedLines(int count)
{
    return repeated(trackgen::convertedLine(trackgen::drive(1)[0]), count);
}

QByteArray infoLines(int count)
{
    return repeated(trackgen::infoLine(trackgen::drive(1)[0]), count);
}

// A file of `size` bytes that takes no room on disk.
QString sparseFile(const Scratch &s, const QString &name, qint64 size)
{
    QFile f(s.path(name));
    if (!f.open(QIODevice::WriteOnly) || !f.resize(size))
        qFatal("cannot make %s", qPrintable(name));
    return s.path(name);
}

const QRegularExpression tooLarge("refused .*: \\d+ bytes, more than a track file can be");
const QRegularExpression tooMany("refused .*: more than 200000 samples");

} // namespace

class TrackLimitsTest : public QObject
{
    Q_OBJECT

private slots:
    // Files of 1 and 2 GiB crashed the player; anything over 256 MiB is
    // refused before a byte is read.
    void filesOverTheSizeLimitAreRefused()
    {
        Scratch s;
        const qint64 over = tracklimits::maxFileBytes + 1;
        VideoInfoParse store;
        QTest::ignoreMessage(QtWarningMsg, tooLarge);
        QCOMPARE(store.parseGpsInfoFile(sparseFile(s, "a.TXT", over)), -1);
        QTest::ignoreMessage(QtWarningMsg, tooLarge);
        QCOMPARE(store.parseMarlGpsInfoFile(sparseFile(s, "a.info", over)), -1);
        QTest::ignoreMessage(QtWarningMsg, tooLarge);
        QCOMPARE(XmlGpsParse::parseFile(sparseFile(s, "a.GPX", over), s.path("g.map")), false);
        QVERIFY(!s.exists("g.map"));
        QTest::ignoreMessage(QtWarningMsg, tooLarge);
        QCOMPARE(SrtParse::parseFile(sparseFile(s, "a.srt", over), s.path("s.map")), false);
        QVERIFY(!s.exists("s.map"));

        // Through the lookup, at 2 GiB.
        sparseFile(s, "clip.TXT", qint64(2) << 30);
        QTest::ignoreMessage(QtWarningMsg, tooLarge);
        QCOMPARE(store.parseFile(s.path("clip.MP4")), -1);
        QCOMPARE(store.count, 0);
        QCOMPARE(store.isParsed, 0);
    }

    // 200,000 samples (55 hours) are read; one more is refused, and the
    // store is left empty.
    void moreThan200000SamplesAreRefused()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.bytes("full.map", convertedLines(200000))), 0);
        QCOMPARE(store.count, 200000);
        QTest::ignoreMessage(QtWarningMsg, tooMany);
        QCOMPARE(store.parseGpsInfoFile(s.bytes("over.map", convertedLines(200001))), -1);
        QCOMPARE(store.count, 0);
        QVERIFY(store.videoInfoMap.isEmpty());

        store.resetVideoInfo();
        QCOMPARE(store.parseMarlGpsInfoFile(s.bytes("full.info", infoLines(200000))), 0);
        QTest::ignoreMessage(QtWarningMsg, tooMany);
        QCOMPARE(store.parseMarlGpsInfoFile(s.bytes("over.info", infoLines(200001))), -1);
        QVERIFY(store.videoInfoMap.isEmpty());
    }

    // Two million one-character lines in 4 MB: placeholders, each a second.
    void twoMillionShortLinesAreRefused()
    {
        Scratch s;
        QByteArray bytes;
        for (int i = 0; i < 2000000; ++i)
            bytes += "x\n";
        VideoInfoParse store;
        QTest::ignoreMessage(QtWarningMsg, tooMany);
        QCOMPARE(store.parseGpsInfoFile(s.bytes("clip.TXT", bytes)), -1);
        QVERIFY(store.videoInfoMap.isEmpty());
    }

    void convertersRefuseMoreThan200000Points()
    {
        Scratch s;
        QString gpx = "<gpx>";
        for (int i = 0; i <= 200000; ++i)
            gpx += "<p/>";
        gpx += "</gpx>";
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: refused, more than 200000"));
        QCOMPARE(XmlGpsParse::genGpsInfoFile(gpx, s.path("g.map")), false);
        QVERIFY(!s.exists("g.map"));

        QByteArray srt;
        for (int i = 0; i <= 200000; ++i)
            srt += "1\nx\n\n";
        QTest::ignoreMessage(QtWarningMsg, tooMany);
        QCOMPARE(SrtParse::parseFile(s.bytes("t.srt", srt), s.path("s.map")), false);
        QVERIFY(!s.exists("s.map"));
    }

    // A block without empty lines is read only as far as the line limit.
    void aSubtitleBlockIsBounded()
    {
        Scratch s;
        QByteArray srt = "1\n00:00:00,000 --> 00:00:01,000\n";
        const QByteArray line(100000, 'x');
        for (int i = 0; i < 30; ++i)
            srt += line + '\n';
        srt += '\n';
        QVERIFY(SrtParse::parseFile(s.bytes("t.srt", srt), s.path("s.map")));
        QCOMPARE(trackgen::readText(s.path("s.map")),
                 QString(tracklimits::maxLineChars, 'x') + '\n');
    }
};

QTEST_GUILESS_MAIN(TrackLimitsTest)
#include "tst_tracklimits.moc"
