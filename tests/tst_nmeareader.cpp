// The track text reader: $GPRMC sentences, converted lines, the checksum.

#include "testutil.h"
#include "videoinfoparse.h"

#include <QRegularExpression>
#include <cmath>

namespace {

const QString example = "$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A";

// A $GPRMC sentence with the right checksum.
QString rmc(const QString &body)
{
    return '$' + body + '*' + trackgen::nmeaChecksum(body.toLatin1());
}

} // namespace

class NmeaReaderTest : public QObject
{
    Q_OBJECT

private slots:
    void exampleSentence()
    {
        Scratch s;
        VideoInfoParse store;
        const QString second = rmc("GPRMC,123520,A,4807.040,S,01131.010,W,010.0,084.4,230394,,");
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.TXT", {example, second})), 0);
        const VideoInfo *v = store.videoInfoMap.value(0);
        QCOMPARE(v->time, QString("12:35:19"));
        QCOMPARE(v->date, QString("FFFF:FF:FF"));
        QCOMPARE(v->latitude, 48.0 + 7.038 / 60.0);
        QVERIFY(qFuzzyCompare(v->latitude, 48.1173));
        QCOMPARE(v->isNorth, 1);
        QCOMPARE(v->longitude, 11.0 + 31.0 / 60.0);
        QCOMPARE(v->isEast, 1);
        QCOMPARE(v->speed, 22.4 * 1.85);
        QVERIFY(qFuzzyCompare(v->speed, 41.44));
        QCOMPARE(v->valid, 1);

        const VideoInfo *w = store.videoInfoMap.value(1);
        QCOMPARE(w->isNorth, 0);
        QCOMPARE(w->isEast, 0);
        QCOMPARE(w->latitude, VideoInfoParse::DDTran(4807.040)); // magnitude, flag carries the sign
        QCOMPARE(store.maxSpeed, 22.4 * 1.85);
    }

    void voidStatusStoresPlaceholders()
    {
        Scratch s;
        VideoInfoParse store;
        const QString good1 = rmc("GPRMC,120000,A,2232.000,N,11356.000,E,10.0,0,150617,,");
        const QString void1 = rmc("GPRMC,120001,V,2232.100,N,11356.100,E,20.0,0,150617,,");
        const QString good2 = rmc("GPRMC,120002,B,2232.200,N,11356.200,E,30.0,0,150617,,");
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.TXT", {good1, void1, good2})), 0);
        QCOMPARE(store.count, 3);
        QCOMPARE(store.videoInfoMap.value(1)->valid, 0);
        QCOMPARE(store.videoInfoMap.value(1)->time, QString("00:00:00"));
        QCOMPARE(store.videoInfoMap.value(2)->time, QString("12:00:02"));
        QCOMPARE(store.videoInfoMap.value(2)->valid, 1);
    }

    void sentenceWithoutChecksumIsDropped()
    {
        Scratch s;
        VideoInfoParse store;
        const QString good1 = rmc("GPRMC,120000,A,2232.000,N,11356.000,E,10.0,0,150617,,");
        const QString bare = "$GPRMC,120001,A,2232.100,N,11356.100,E,20.0,0,150617,,";
        const QString good2 = rmc("GPRMC,120002,A,2232.200,N,11356.200,E,30.0,0,150617,,");
        QTest::ignoreMessage(QtDebugMsg, qPrintable("invalid line: " + bare));
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.TXT", {good1, bare, good2})), 0);
        QCOMPARE(store.count, 2); // no sample, no second
        QCOMPARE(store.videoInfoMap.value(1)->time, QString("12:00:02"));
    }

    void wrongChecksumIsDropped()
    {
        Scratch s;
        VideoInfoParse store;
        const QString good = rmc("GPRMC,120000,A,2232.000,N,11356.000,E,10.0,0,150617,,");
        QString bad = rmc("GPRMC,120001,A,2232.100,N,11356.100,E,20.0,0,150617,,");
        bad[bad.size() - 1] = bad.endsWith('0') ? '1' : '0';
        QTest::ignoreMessage(QtDebugMsg, qPrintable("invalid line: " + bad));
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.TXT", {good, bad, good})), 0);
        QCOMPARE(store.count, 2);
    }

    void lowerCaseChecksumIsDropped()
    {
        // Find a sentence whose checksum has a letter in it.
        QString body;
        for (int i = 0; i < 60; ++i) {
            body = QStringLiteral("GPRMC,1200%1,A,2232.000,N,11356.000,E,10.0,0,150617,,")
                       .arg(i, 2, 10, QLatin1Char('0'));
            if (trackgen::nmeaChecksum(body.toLatin1()).contains(QRegularExpression("[A-F]")))
                break;
        }
        const QString upper = '$' + body + '*' + trackgen::nmeaChecksum(body.toLatin1());
        const QString lower = '$' + body + '*' + trackgen::nmeaChecksum(body.toLatin1()).toLower();
        QVERIFY(upper != lower);
        QCOMPARE(VideoInfoParse::checkNmeaSum(upper.toLatin1().constData()), 1);
        QCOMPARE(VideoInfoParse::checkNmeaSum(lower.toLatin1().constData()), 0);

        Scratch s;
        VideoInfoParse store;
        QTest::ignoreMessage(QtDebugMsg, qPrintable("invalid line: " + lower));
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.TXT", {upper, lower, upper})), 0);
        QCOMPARE(store.count, 2);
    }

    void checksum_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<int>("result");
        QTest::newRow("textbook sentence") << example.toLatin1() << 1;
        QTest::newRow("empty") << QByteArray() << 0;
        QTest::newRow("two bytes") << QByteArray("$G") << 0;
        QTest::newRow("no star") << QByteArray("$GPRMC,1,2,3") << 0;
        QTest::newRow("star last") << QByteArray("$GPRMC,1,2,3*") << 0;
        // "GP" XORs to 0x17.
        QTest::newRow("minimal") << QByteArray("$GP*17") << 1;
        QTest::newRow("line end after sum") << QByteArray("$GP*17\r\n") << 1;
        QTest::newRow("one digit") << QByteArray("$GP*7") << 0;
        QTest::newRow("leading zero") << QByteArray("$GP*017") << 1;
        QTest::newRow("not hex") << QByteArray("$GP*1G") << 0;
        QTest::newRow("blank in tail") << QByteArray("$GP*17 ") << 0;
        QTest::newRow("31-byte tail") << QByteArray("$GP*" + QByteArray(29, '0') + "17") << 1;
        QTest::newRow("32-byte tail") << QByteArray("$GP*" + QByteArray(30, '0') + "17") << 0;
        QTest::newRow("overflowing tail") << QByteArray("$GP*FFFFFFFFFFFFFFFFFFFFFFFF") << 0;
        // One byte of 0x80 or more: as a signed char it sets the high bits.
        QTest::newRow("odd high bytes") << QByteArray("$GP\xC3*D4") << 0;
        // Two of them cancel their high bits again.
        QTest::newRow("even high bytes") << QByteArray("$GP\xC3\xA9*7D") << 1;
        QTest::newRow("NUL ends the line")
            << QByteArray("$GP\0*17", 7) << 0; // the "*" lies past the terminator
    }
    void checksum()
    {
        QFETCH(QByteArray, line);
        QFETCH(int, result);
        QCOMPARE(VideoInfoParse::checkNmeaSum(line.constData()), result);
    }

    void nullLineFails() { QCOMPARE(VideoInfoParse::checkNmeaSum(nullptr), 0); }

    void shortOrBadSentencesArePlaceholders_data()
    {
        QTest::addColumn<QString>("body");
        QTest::newRow("seven fields") << "GPRMC,120001,A,2232.1,N,11356.1,E";
        QTest::newRow("hemisphere missing") << "GPRMC,120001,A,2232.1,,11356.1,E,20,0,150617,,";
        QTest::newRow("hemisphere lower case") << "GPRMC,120001,A,2232.1,n,11356.1,E,20,0,150617,,";
        QTest::newRow("east-west wrong") << "GPRMC,120001,A,2232.1,N,11356.1,X,20,0,150617,,";
        QTest::newRow("status V") << "GPRMC,120001,V,2232.1,N,11356.1,E,20,0,150617,,";
    }
    void shortOrBadSentencesArePlaceholders()
    {
        QFETCH(QString, body);
        Scratch s;
        VideoInfoParse store;
        const QString good = rmc("GPRMC,120000,A,2232.000,N,11356.000,E,10.0,0,150617,,");
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.TXT", {good, rmc(body), good})), 0);
        QCOMPARE(store.count, 3);
        QCOMPARE(store.videoInfoMap.value(1)->valid, 0);
        QCOMPARE(store.videoInfoMap.value(1)->speed, 0.0);
    }

    void convertedLines()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(
            store.parseGpsInfoFile(s.lines(
                "t.map", {"B,061517,123456.000,22.543210,N,113.941234,E,36.5,-08.72,+01.41,+00.59;",
                          "A,061517,123457,2232.6000,S,11356.4000,W,40.25"})),
            0);
        const VideoInfo *b = store.videoInfoMap.value(0);
        QCOMPARE(b->time, QString("12:34:56"));
        QCOMPARE(b->latitude, 22.543210);
        QCOMPARE(b->longitude, 113.941234);
        QCOMPARE(b->speed, 36.5); // km/h, no factor
        QCOMPARE(b->isNorth, 1);
        QCOMPARE(b->isEast, 1);
        QCOMPARE(b->date, QString("FFFF:FF:FF"));
        const VideoInfo *a = store.videoInfoMap.value(1);
        QCOMPARE(a->time, QString("12:34:57"));
        QCOMPARE(a->latitude, VideoInfoParse::DDTran(2232.6));
        QCOMPARE(a->longitude, VideoInfoParse::DDTran(11356.4));
        QCOMPARE(a->isNorth, 0);
        QCOMPARE(a->isEast, 0);
        QCOMPARE(a->speed, 40.25);
    }

    void otherSentencesTakeASecondEach()
    {
        Scratch s;
        VideoInfoParse store;
        const QStringList fixes = twoConvertedFixes();
        const QString gga = "$GPGGA,123519,4807.038,N,01131.000,E,1,08,0.9,545.4,M,46.9,M,,*47";
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.TXT", {fixes[0], gga, gga, fixes[1]})), 0);
        QCOMPARE(store.count, 4);
        QCOMPARE(store.videoInfoMap.value(1)->valid, 0);
        QCOMPARE(store.videoInfoMap.value(2)->valid, 0);
        QCOMPARE(store.videoInfoMap.value(3)->valid, 1);
    }

    void emptyLinesLeaveNoGap()
    {
        Scratch s;
        VideoInfoParse store;
        const QStringList fixes = twoConvertedFixes();
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.map", {"", fixes[0], "", "", fixes[1], ""})), 0);
        QCOMPARE(store.count, 2);
        QCOMPARE(store.videoInfoMap.value(1)->time, QString("12:00:01"));
    }

    void windowsLineEnds()
    {
        Scratch s;
        VideoInfoParse store;
        const QByteArray crlf = (twoConvertedFixes().join("\r\n") + "\r\n").toUtf8();
        QCOMPARE(store.parseGpsInfoFile(s.bytes("t.map", crlf)), 0);
        QCOMPARE(store.count, 2);
        QCOMPARE(store.videoInfoMap.value(1)->speed, 40.0);
    }

    void missingOrEmptyFileFails()
    {
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.lines("t.map", twoConvertedFixes())), 0);
        store.resetVideoInfo();
        QCOMPARE(store.parseGpsInfoFile(s.path("missing.map")), -1);
        QVERIFY(store.videoInfoMap.isEmpty()); // cleared before the open
        QCOMPARE(store.parseGpsInfoFile(s.bytes("empty.map", "\n\n\n")), -1);
        QCOMPARE(store.count, 0);
    }

    void generatedDriveReadsBack()
    {
        Scratch s;
        const QVector<trackgen::Fix> drive = trackgen::drive(120);
        QStringList lines;
        for (const trackgen::Fix &f : drive)
            lines << trackgen::rmcLine(f);
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.lines("drive.TXT", lines)), 0);
        QCOMPARE(store.count, 120);
        for (int i = 0; i < drive.size(); ++i) {
            const VideoInfo *v = store.videoInfoMap.value(i);
            QVERIFY(std::fabs(v->latitude - drive[i].latitude) < 1e-6);
            QVERIFY(std::fabs(v->longitude - drive[i].longitude) < 1e-6);
            QVERIFY(std::fabs(v->speed - drive[i].speedKmh) < 0.01);
            QCOMPARE(v->time, trackgen::hhmmss(drive[i].secondOfDay, ":"));
        }
    }
};

QTEST_GUILESS_MAIN(NmeaReaderTest)
#include "tst_nmeareader.moc"
