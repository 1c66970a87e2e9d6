// The GPX converter: camera GPX to converted "B" lines.

#include "testutil.h"
#include "videoinfoparse.h"
#include "xmlgpsparse.h"

#include <QDomDocument>
#include <QFileInfo>
#include <QRegularExpression>

// The lines of the ".map" as a DOM without namespace processing sees the
// document: one for each child node of the document element.
QString domLines(const QString &xml)
{
    QDomDocument doc;
    if (!doc.setContent(xml, false))
        return QString();
    QString lines;
    const QDomNodeList children = doc.documentElement().childNodes();
    for (int i = 0; i < children.size(); ++i) {
        const QDomElement pt = children.at(i).toElement();
        const QString time = pt.attribute("time");
        lines += QStringLiteral("B,%1,%2.000,%3,N,%4,E,%5,-08.72,+01.41,+00.59;\n")
                     .arg(time.mid(5, 2) + time.mid(8, 2) + time.mid(2, 2),
                          time.mid(11, 2) + time.mid(14, 2) + time.mid(17, 2), pt.attribute("lat"),
                          pt.attribute("lon"), pt.attribute("speed"));
    }
    return lines;
}

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

    // A broken or empty document leaves no ".map": a later opening would
    // trust it and never look at the GPX again.
    void malformedXmlLeavesNoMap()
    {
        Scratch s;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: refused"));
        QCOMPARE(XmlGpsParse::genGpsInfoFile("<gpx><pt lat=\"1\"></gpx>", s.path("c.map")), false);
        QVERIFY(!s.exists("c.map"));
        // An old ".map" in its way is gone too: it was to be replaced.
        s.bytes("d.map", "old\n");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^GPX: refused"));
        QCOMPARE(XmlGpsParse::genGpsInfoFile("<gpx><pt", s.path("d.map")), false);
        QVERIFY(!s.exists("d.map"));
    }

    void documentWithoutChildren()
    {
        Scratch s;
        QCOMPARE(XmlGpsParse::genGpsInfoFile("<gpx/>", s.path("c.map")), false);
        QVERIFY(!s.exists("c.map"));
        QCOMPARE(XmlGpsParse::genGpsInfoFile("<gpx>  \n  </gpx>", s.path("c.map")), false);
        QVERIFY(!s.exists("c.map"));
    }

    // Read without namespace processing: a prefix nobody declared is part
    // of the name, as fitness exports write heart rates.
    void undeclaredNamespacePrefixIsRead()
    {
        Scratch s;
        XmlGpsParse::genGpsInfoFile("<gpx><pt time=\"2017-06-15T12:34:56Z\" lat=\"22.5\" "
                                    "lon=\"113.9\" speed=\"30\"><gpxtpx:hr>120</gpxtpx:hr></pt>"
                                    "<pt gpxtpx:x=\"1\" lat=\"22.6\"/></gpx>",
                                    s.path("c.map"));
        QCOMPARE(trackgen::readText(s.path("c.map")),
                 QString("B,061517,123456.000,22.5,N,113.9,E,30,-08.72,+01.41,+00.59;\n"
                         "B,,.000,22.6,N,,E,,-08.72,+01.41,+00.59;\n"));
    }

    // The stream gives the lines that a DOM parser gives, child for child,
    // for every kind of node a document element can hold.
    void sameLinesAsTheDocumentModel_data()
    {
        QTest::addColumn<QString>("xml");
        QTest::newRow("points") << trackgen::gpxDocument(trackgen::drive(5));
        QTest::newRow("standard GPX")
            << "<?xml version=\"1.0\"?>\n<gpx version=\"1.1\"><metadata><name>x</name></metadata>"
               "<trk><trkseg><trkpt lat=\"1\" lon=\"2\"><time>2017-06-15T12:00:00Z</time>"
               "</trkpt></trkseg></trk></gpx>";
        QTest::newRow("text, comment, instruction")
            << "<gpx>text<!-- c --><?pi x?>  <pt lat=\"1\"/>tail</gpx>";
        QTest::newRow("text around markup") << "<gpx>a&amp;b<pt/>c&#65;d</gpx>";
        QTest::newRow("cdata") << "<gpx><![CDATA[x]]><![CDATA[ ]]>y<![CDATA[z]]></gpx>";
        QTest::newRow("blanks only") << "<gpx>\n  \t\n<pt/>\n</gpx>";
        QTest::newRow("entities in attributes") << "<!DOCTYPE gpx [<!ENTITY d \"22.5\">]><gpx><pt "
                                                   "lat=\"&d;\" lon=\"&lt;1&gt;\"/></gpx>";
        QTest::newRow("entity in text") << "<!DOCTYPE gpx [<!ENTITY d \"22.5\">]><gpx>&d;</gpx>";
        QTest::newRow("nested points") << "<gpx><a><pt lat=\"1\"/></a><b lat=\"2\"><c/></b></gpx>";
    }
    void sameLinesAsTheDocumentModel()
    {
        QFETCH(QString, xml);
        Scratch s;
        XmlGpsParse::genGpsInfoFile(xml, s.path("c.map"));
        QCOMPARE(trackgen::readText(s.path("c.map")), domLines(xml));
    }

    // Attribute values are normalised as XML asks: a line break in one reads
    // as a blank. (Qt's DOM parser keeps it, and the line break would cut
    // the track line in two, moving every later sample a second.)
    void lineBreaksInAttributesAreBlanks()
    {
        Scratch s;
        XmlGpsParse::genGpsInfoFile("<gpx><pt lat=\"1\n2\" lon=\"3\t4\" speed=\"5\r\n6\"/></gpx>",
                                    s.path("c.map"));
        QCOMPARE(trackgen::readText(s.path("c.map")),
                 QString("B,,.000,1 2,N,3 4,E,5 6,-08.72,+01.41,+00.59;\n"));
    }

    // Random documents of every node kind, against the DOM.
    void sameLinesAsTheDocumentModelOnRandomDocuments()
    {
        Scratch s;
        quint32 seed = 12345;
        auto next = [&seed](int n) {
            seed = seed * 1664525u + 1013904223u;
            return int((seed >> 8) % quint32(n));
        };
        const QStringList pieces{"<pt lat=\"1\" lon=\"2\"/>",
                                 "<pt time=\"2017-06-15T01:02:03\"/>",
                                 "text",
                                 " ",
                                 "\n",
                                 "<!--c-->",
                                 "<?p q?>",
                                 "<![CDATA[d]]>",
                                 "<![CDATA[ ]]>",
                                 "&amp;",
                                 "&#x41;",
                                 "<a><b lat=\"3\"/>t</a>",
                                 "\t",
                                 "<e></e>"};
        for (int round = 0; round < 500; ++round) {
            QString body;
            for (int n = next(12); n > 0; --n)
                body += pieces[next(pieces.size())];
            const QString xml = "<gpx>" + body + "</gpx>";
            XmlGpsParse::genGpsInfoFile(xml, s.path("c.map"));
            QCOMPARE(trackgen::readText(s.path("c.map")), domLines(xml));
        }
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
