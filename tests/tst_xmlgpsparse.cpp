// The GPX converter: camera GPX to converted "B" lines.

#include "testutil.h"
#include "videoinfoparse.h"
#include "xmlgpsparse.h"

#include <QFileInfo>
#include <QRegularExpression>

class XmlGpsParseTest : public QObject
{
    Q_OBJECT

private slots:
    void examplePoint()
    {
        Scratch s;
        const QString xml = "<gpx><pt time=\"2017-06-15T12:34:56Z\" lat=\"22.543210\" "
                            "lon=\"113.941234\" speed=\"36.5\"/></gpx>";
        QCOMPARE(XmlGpsParse::genGpsInfoFile(xml, s.path("c.map")), false); // false even so
        QCOMPARE(
            trackgen::readText(s.path("c.map")),
            QString("B,061517,123456.000,22.543210,N,113.941234,E,36.5,-08.72,+01.41,+00.59;\n"));
    }

    void pointsInDocumentOrder()
    {
        Scratch s;
        const QVector<trackgen::Fix> drive = trackgen::drive(3);
        s.bytes("c.GPX", trackgen::gpxDocument(drive).toUtf8());
        QCOMPARE(XmlGpsParse::parseFile(s.path("c.GPX"), s.path("c.map")), false);
        const QStringList lines = trackgen::readText(s.path("c.map")).split('\n');
        QCOMPARE(lines.size(), 4); // three lines and the empty piece after the last "\n"
        for (int i = 0; i < 3; ++i)
            QVERIFY2(
                lines[i].startsWith("B,061517," + trackgen::hhmmss(drive[i].secondOfDay) + ".000,"),
                qPrintable(lines[i]));
    }

    void signedCoordinatesKeepTheirSign()
    {
        Scratch s;
        const QString xml = "<gpx><pt time=\"2017-06-15T01:02:03Z\" lat=\"-33.8688\" "
                            "lon=\"-70.5\" speed=\"10\"/></gpx>";
        XmlGpsParse::genGpsInfoFile(xml, s.path("c.map"));
        QCOMPARE(trackgen::readText(s.path("c.map")),
                 QString("B,061517,010203.000,-33.8688,N,-70.5,E,10,-08.72,+01.41,+00.59;\n"));
    }

    void missingAttributesAreEmpty()
    {
        Scratch s;
        const QString xml = "<gpx><pt time=\"2017-06-15T12:34:56Z\" speed=\"5\"/>"
                            "<pt time=\"2017-06-15T12:34:57Z\" speed=\"6\"/></gpx>";
        XmlGpsParse::genGpsInfoFile(xml, s.path("c.map"));
        const QStringList lines = trackgen::readText(s.path("c.map")).split('\n');
        QCOMPARE(lines[0], QString("B,061517,123456.000,,N,,E,5,-08.72,+01.41,+00.59;"));
        // The reader takes an empty coordinate as a valid fix at 0, 0.
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.path("c.map")), 0);
        QCOMPARE(store.videoInfoMap.value(0)->valid, 1);
        QCOMPARE(store.videoInfoMap.value(0)->latitude, 0.0);
        QCOMPARE(store.videoInfoMap.value(0)->longitude, 0.0);
        QCOMPARE(store.totalDistance, 0.0);
    }

    void existingMapIsReplaced()
    {
        Scratch s;
        s.bytes("c.map", "old line 1\nold line 2\nold line 3\n");
        XmlGpsParse::genGpsInfoFile("<gpx><pt lat=\"1\" lon=\"2\" speed=\"3\"/></gpx>",
                                    s.path("c.map"));
        QCOMPARE(trackgen::readText(s.path("c.map")),
                 QString("B,,.000,1,N,2,E,3,-08.72,+01.41,+00.59;\n"));
    }

    void standardGpxGivesOneEmptyLinePerTopLevelChild()
    {
        Scratch s;
        const QString xml =
            "<?xml version=\"1.0\"?>\n"
            "<gpx version=\"1.1\" xmlns=\"http://www.topografix.com/GPX/1/1\">\n"
            "  <metadata><name>drive</name></metadata>\n"
            "  <trk><trkseg>\n"
            "    <trkpt lat=\"22.5\" lon=\"113.9\"><time>2017-06-15T12:00:00Z</time></trkpt>\n"
            "    <trkpt lat=\"22.6\" lon=\"113.9\"><time>2017-06-15T12:00:01Z</time></trkpt>\n"
            "  </trkseg></trk>\n"
            "</gpx>\n";
        XmlGpsParse::genGpsInfoFile(xml, s.path("c.map"));
        const QString empty = "B,,.000,,N,,E,,-08.72,+01.41,+00.59;\n";
        QCOMPARE(trackgen::readText(s.path("c.map")), empty + empty); // whitespace text is dropped
    }

    void textAndCommentChildrenYieldEmptyLines()
    {
        Scratch s;
        XmlGpsParse::genGpsInfoFile("<gpx>text<!-- note --><pt lat=\"1\"/></gpx>", s.path("c.map"));
        const QStringList lines = trackgen::readText(s.path("c.map")).split('\n');
        QCOMPARE(lines.size(), 4);
        QCOMPARE(lines[2], QString("B,,.000,1,N,,E,,-08.72,+01.41,+00.59;"));
    }

    void percentSignsStayAsTheyStand()
    {
        Scratch s;
        XmlGpsParse::genGpsInfoFile("<gpx><pt lat=\"%2\" lon=\"%3\" speed=\"%1\"/></gpx>",
                                    s.path("c.map"));
        QCOMPARE(trackgen::readText(s.path("c.map")),
                 QString("B,,.000,%2,N,%3,E,%1,-08.72,+01.41,+00.59;\n"));
    }

    void malformedXmlLeavesAnEmptyMap()
    {
        Scratch s;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: refused"));
        QCOMPARE(XmlGpsParse::genGpsInfoFile("<gpx><pt lat=\"1\"></gpx>", s.path("c.map")), false);
        QVERIFY(s.exists("c.map"));
        QCOMPARE(QFileInfo(s.path("c.map")).size(), 0);
        // The next opening finds it and fails on it.
        VideoInfoParse store;
        QCOMPARE(store.parseGpsInfoFile(s.path("c.map")), -1);
    }

    void documentWithoutChildren()
    {
        Scratch s;
        QCOMPARE(XmlGpsParse::genGpsInfoFile("<gpx/>", s.path("c.map")), false);
        QVERIFY(s.exists("c.map"));
        QCOMPARE(QFileInfo(s.path("c.map")).size(), 0);
    }

    void unreadableInputOrOutput()
    {
        Scratch s;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: cannot open"));
        QCOMPARE(XmlGpsParse::parseFile(s.path("none.GPX"), s.path("c.map")), false);
        QVERIFY(!s.exists("c.map"));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: cannot write"));
        QCOMPARE(XmlGpsParse::genGpsInfoFile("<gpx><pt/></gpx>", s.path("no/such/dir/c.map")),
                 false);
    }
};

QTEST_GUILESS_MAIN(XmlGpsParseTest)
#include "tst_xmlgpsparse.moc"
