// Hostile track files: each reader ends in its own failure result, neither
// crashing nor hanging (CTest's time-out catches a hang).

#include "srtparse.h"
#include "testutil.h"
#include "videoinfoparse.h"
#include "xmlgpsparse.h"

#include <QFileInfo>
#include <QLoggingCategory>
#include <QRegularExpression>
#include <cmath>

namespace {

QByteArray longLine(const QByteArray &prefix = QByteArray())
{
    QByteArray line = prefix;
    line.append(10 * 1024 * 1024, 'x'); // 10 MB, no line end
    return line;
}

QByteArray nestedXml(int depth)
{
    QByteArray xml;
    xml.reserve(depth * 7 + 16);
    for (int i = 0; i < depth; ++i)
        xml += "<a>";
    for (int i = 0; i < depth; ++i)
        xml += "</a>";
    return xml;
}

const char *entityBomb = R"(<?xml version="1.0"?>
<!DOCTYPE lolz [
 <!ENTITY lol "lol">
 <!ENTITY lol1 "&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;">
 <!ENTITY lol2 "&lol1;&lol1;&lol1;&lol1;&lol1;&lol1;&lol1;&lol1;&lol1;&lol1;">
 <!ENTITY lol3 "&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;&lol2;">
 <!ENTITY lol4 "&lol3;&lol3;&lol3;&lol3;&lol3;&lol3;&lol3;&lol3;&lol3;&lol3;">
 <!ENTITY lol5 "&lol4;&lol4;&lol4;&lol4;&lol4;&lol4;&lol4;&lol4;&lol4;&lol4;">
 <!ENTITY lol6 "&lol5;&lol5;&lol5;&lol5;&lol5;&lol5;&lol5;&lol5;&lol5;&lol5;">
 <!ENTITY lol7 "&lol6;&lol6;&lol6;&lol6;&lol6;&lol6;&lol6;&lol6;&lol6;&lol6;">
 <!ENTITY lol8 "&lol7;&lol7;&lol7;&lol7;&lol7;&lol7;&lol7;&lol7;&lol7;&lol7;">
 <!ENTITY lol9 "&lol8;&lol8;&lol8;&lol8;&lol8;&lol8;&lol8;&lol8;&lol8;&lol8;">
]>
<gpx><pt time="&lol9;" lat="1" lon="2" speed="3"/></gpx>
)";

} // namespace

class HostileInputTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Dropped sentences are logged whole; keep 10 MB lines off the log.
        QLoggingCategory::setFilterRules("default.debug=false");
    }

    void tenMegabyteLine_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("plain") << longLine();
        QTest::newRow("sentence without star") << longLine("$GPRMC,");
        QTest::newRow("sentence with long checksum") << longLine("$GPRMC,1*");
        QTest::newRow("converted line") << longLine("B,1,2,3,N,4,E,5,");
    }
    void tenMegabyteLine()
    {
        QFETCH(QByteArray, content);
        Scratch s;
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.bytes("t.TXT", content)), -1);
        QVERIFY(store.count <= 1);
        store.resetVideoInfo();
        QCOMPARE(store.parseMarlGpsInfoFile(s.bytes("t.info", content)), -1);
        QCOMPARE(store.count, 1);
        // Not closed by an empty line: no block, and no ".map".
        QVERIFY(SrtParse::parseFile(s.bytes("t.srt", content), s.path("t.map")));
        QVERIFY(!s.exists("t.map"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: refused"));
        QCOMPARE(XmlGpsParse::genGpsInfoFile(QString::fromLatin1(content), s.path("g.map")), false);
    }

    void nulBytes()
    {
        Scratch s;
        const QByteArray good = trackgen::rmcLine(trackgen::drive(1)[0]).toLatin1();
        QByteArray withNul = good;
        withNul.insert(10, '\0');
        VideoInfoParse store;
        // The sentence with a NUL before its "*" fails the checksum and is dropped.
        QCOMPARE(
            store.parseGpsInfoFile(s.bytes("t.TXT", good + "\n" + withNul + "\n" + good + "\n")),
            0);
        QCOMPARE(store.count, 2);

        QByteArray converted = twoConvertedFixes().join('\n').toUtf8() + '\n';
        converted.insert(3, '\0'); // inside the date field, which is ignored
        QCOMPARE(store.parseGpsInfoFile(s.bytes("c.map", converted)), 0);

        const QByteArray nuls(4096, '\0');
        QCOMPARE(store.parseGpsInfoFile(s.bytes("n.TXT", nuls)), -1);
        QCOMPARE(store.parseMarlGpsInfoFile(s.bytes("n.info", nuls)), -1);
        QVERIFY(SrtParse::parseFile(s.bytes("n.srt", nuls + "\n\n"), s.path("n.map")));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: refused"));
        QCOMPARE(XmlGpsParse::genGpsInfoFile(QString::fromLatin1(nuls), s.path("g.map")), false);
    }

    void invalidUtf8()
    {
        Scratch s;
        const QByteArray bad("\xff\xfe\xc3\x28\xa0\xa1\xe2\x82\x28\xf0\x28\x8c\xbc", 13);
        QByteArray file;
        for (const QString &line : twoConvertedFixes())
            file += line.toUtf8() + '\n' + bad + '\n';
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.bytes("t.map", file)), 0);
        QCOMPARE(store.count, 4); // the bad lines are placeholders
        QCOMPARE(store.videoInfoMap.value(1)->valid, 0);

        const QByteArray rmc = "$GPRMC," + bad + "*00\n";
        store.resetVideoInfo();
        QCOMPARE(store.parseGpsInfoFile(s.bytes("r.TXT", rmc + rmc)), -1);
        QVERIFY(store.count <= 2);

        QCOMPARE(store.parseMarlGpsInfoFile(s.bytes("t.info", bad + "\n" + bad + "\n")), -1);
        QVERIFY(SrtParse::parseFile(s.bytes("t.srt", "1\n" + bad + "\n" + bad + "\n\n"),
                                    s.path("s.map")));
        QVERIFY(QFileInfo(s.path("s.map")).size() > 0);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: refused"));
        QCOMPARE(XmlGpsParse::genGpsInfoFile(QString::fromUtf8("<gpx>" + bad), s.path("g.map")),
                 false);
    }

    void nonFiniteAndHugeNumbers()
    {
        Scratch s;
        VideoInfoParse store;
        // Converted lines take the numbers as they stand: NaN poisons the
        // distance, which is the readers' rule, and nothing breaks.
        QCOMPARE(store.parseGpsInfoFile(s.lines("n.map", {"B,1,120000,nan,N,inf,E,1e308,0,0,0;",
                                                          "B,1,120001,22.5,N,113.9,E,-inf,0,0,0;",
                                                          "B,1,120002,22.6,N,113.9,E,nan,0,0,0;"})),
                 0);
        QCOMPARE(store.maxSpeed, 1e308);
        QVERIFY(std::isnan(store.totalDistance));
        QVERIFY(std::isnan(store.avgSpeed));

        // Through DDTran: "A" lines and sentences.
        store.resetVideoInfo();
        QCOMPARE(store.parseGpsInfoFile(s.lines("a.map", {"A,1,120000,1e308,N,-5e300,E,inf,0,0,0;",
                                                          "A,1,120001,nan,S,-nan,W,0,0,0,0;"})),
                 0);
        QVERIFY(std::isfinite(store.videoInfoMap.value(0)->latitude));
        QVERIFY(std::isnan(store.videoInfoMap.value(1)->latitude));

        store.resetVideoInfo();
        const QString body = "GPRMC,120000,A,1e308,N,inf,E,nan,0,150617,,";
        const QString rmc = '$' + body + '*' + trackgen::nmeaChecksum(body.toLatin1());
        QCOMPARE(store.parseGpsInfoFile(s.lines("r.TXT", {rmc, rmc})), 0);
        QCOMPARE(store.count, 2);

        store.resetVideoInfo();
        QCOMPARE(store.parseMarlGpsInfoFile(
                     s.lines("i.info", {"20170615 12:00:00,nan,inf,1,0,0,1e308",
                                        "20170615 12:00:01,1e308,-inf,1,0,0,nan"})),
                 0);
        QCOMPARE(store.count, 2);
    }

    void deeplyNestedXml()
    {
        Scratch s;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: refused, nested deeper"));
        QCOMPARE(
            XmlGpsParse::genGpsInfoFile(QString::fromLatin1(nestedXml(100000)), s.path("d.map")),
            false);
        QVERIFY(!s.exists("d.map"));
        // Within the bound the document is converted.
        XmlGpsParse::genGpsInfoFile(QString::fromLatin1(nestedXml(XmlGpsParse::maxDepth)),
                                    s.path("e.map"));
        QCOMPARE(trackgen::readText(s.path("e.map")),
                 QString("B,,.000,,N,,E,,-08.72,+01.41,+00.59;\n"));
    }

    void deeplyNestedXmlThroughTheLookup()
    {
        Scratch s;
        s.bytes("clip.GPX", nestedXml(100000));
        VideoInfoParse store;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: refused"));
        QCOMPARE(store.parseFile(s.path("clip.MP4")), -1);
        QCOMPARE(store.parseFile(s.path("clip.MP4")), -1); // refused again: no ".map" was left
        QVERIFY(!s.exists("clip.map"));
    }

    void entityExpansionBomb()
    {
        Scratch s;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: refused"));
        QCOMPARE(XmlGpsParse::genGpsInfoFile(entityBomb, s.path("b.map")), false);
        QVERIFY(!s.exists("b.map"));
    }

    void binaryNoise()
    {
        Scratch s;
        QByteArray noise;
        quint32 x = 2463534242u;
        for (int i = 0; i < 1 << 20; ++i) {
            x ^= x << 13;
            x ^= x >> 17;
            x ^= x << 5;
            noise += char(x & 0xff);
        }
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.bytes("n.TXT", noise)), -1);
        QCOMPARE(store.parseMarlGpsInfoFile(s.bytes("n.info", noise)), -1);
        QVERIFY(SrtParse::parseFile(s.bytes("n.srt", noise), s.path("n.map")));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: refused"));
        QCOMPARE(XmlGpsParse::genGpsInfoFile(QString::fromLatin1(noise), s.path("g.map")), false);
    }
};

QTEST_GUILESS_MAIN(HostileInputTest)
#include "tst_hostileinput.moc"
