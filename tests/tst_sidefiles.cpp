// What the track lookup writes beside the user's videos, in folders as users
// keep them: links, their own subtitles, read-only media, a full disk.

#include "srtparse.h"
#include "testutil.h"
#include "videoinfoparse.h"
#include "xmlgpsparse.h"

#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>

namespace {

// A subtitled clip whose subtitles are a track of `seconds` fixes.
bool trackedClip(const Scratch &s, const QString &name, int seconds)
{
    QStringList lines;
    for (const trackgen::Fix &f : trackgen::drive(seconds))
        lines << trackgen::rmcLine(f);
    const QString srt = s.path(name + ".source.srt");
    QString error;
    const bool made = trackgen::writeText(srt, trackgen::srtDocument(lines)) &&
                      trackgen::makeClip(s.path(name + ".MP4"), seconds, srt, &error);
    QFile::remove(srt);
    if (!made)
        qWarning() << error;
    return made;
}

struct Dump
{
    int exitCode = -1;
    QJsonObject json;
    QString err;
    QString listing; // the medium's files after the lookup, one a line
};

// Runs `velomar-track dump` on a medium of its own: a tmpfs of `size`
// mounted at a folder of the scratch space, in a mount namespace of its own
// (no privileges needed). `prepare` runs in the medium before the lookup;
// with readOnly the medium is remounted read-only first.
Dump dumpOnMedium(const Scratch &s, const QString &size, const QString &prepare, bool readOnly)
{
    const QString medium = s.path("medium");
    QDir().mkpath(medium);
    const QString script =
        QStringLiteral("set -e; mount -t tmpfs -o size=%1 tmpfs \"$1\"; cd \"$1\"; %2; %3"
                       "\"$2\" dump \"$1/clip.MP4\" > \"$3/dump.json\" 2> \"$3/dump.err\" || true; "
                       "ls -A \"$1\" > \"$3/listing.txt\"")
            .arg(size, prepare, readOnly ? "mount -o remount,ro \"$1\"; " : "");
    QProcess p;
    p.start("unshare", {"-rm", "sh", "-c", script, "sh", medium, VELOMAR_TRACK_TOOL, s.path("")});
    Dump d;
    if (!p.waitForFinished(60000))
        return d;
    d.exitCode = p.exitCode();
    if (d.exitCode != 0)
        qWarning() << "namespace run failed:" << p.readAllStandardError();
    d.json = QJsonDocument::fromJson(trackgen::readText(s.path("dump.json")).toUtf8()).object();
    d.err = trackgen::readText(s.path("dump.err"));
    d.listing = trackgen::readText(s.path("listing.txt"));
    return d;
}

} // namespace

class SideFilesTest : public QObject
{
    Q_OBJECT

private slots:
    // A dangling "CLIP.map" link in a folder someone handed over: following
    // it would create a file wherever it points.
    void aDanglingMapLinkBesideAGpxIsNotFollowed()
    {
        Scratch s;
        s.bytes("clip.GPX", trackgen::gpxDocument(trackgen::drive(5)).toUtf8());
        QVERIFY(QFile::link(s.path("home/.bashrc"), s.path("clip.map")));
        QDir().mkpath(s.path("home"));
        VideoInfoParse store;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("symbolic link"));
        QCOMPARE(store.parseFile(s.path("clip.MP4")), -1);
        QVERIFY(!s.exists("home/.bashrc"));
        QVERIFY(QFileInfo(s.path("clip.map")).isSymLink());
    }

    // The converters never write through a link, also to an existing file.
    void convertersRefuseLinks()
    {
        Scratch s;
        s.bytes("victim", "keep\n");
        QVERIFY(QFile::link(s.path("victim"), s.path("link.map")));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("symbolic link"));
        QCOMPARE(XmlGpsParse::genGpsInfoFile(trackgen::gpxDocument(trackgen::drive(3)),
                                             s.path("link.map")),
                 false);
        s.bytes("t.srt", trackgen::srtDocument({"a", "b"}).toUtf8());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("symbolic link"));
        QCOMPARE(SrtParse::parseFile(s.path("t.srt"), s.path("link.map")), false);
        QCOMPARE(trackgen::readText(s.path("victim")), QString("keep\n"));
        QVERIFY(QFileInfo(s.path("link.map")).isSymLink());
    }

    // The subtitle track is taken out in a private folder: links beside the
    // video are left alone, and the track is still read.
    void linksBesideASubtitledVideoAreLeftAlone()
    {
        Scratch s;
        QVERIFY(trackedClip(s, "clip", 5));
        QDir().mkpath(s.path("home"));
        QVERIFY(QFile::link(s.path("home/a"), s.path("clip.srt")));
        QVERIFY(QFile::link(s.path("home/b"), s.path("clip.map")));
        VideoInfoParse store;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("symbolic link"));
        QCOMPARE(store.parseFile(s.path("clip.MP4")), 0);
        QCOMPARE(store.count, 5);
        QVERIFY(!s.exists("home/a") && !s.exists("home/b"));
        QVERIFY(QFileInfo(s.path("clip.srt")).isSymLink());
        QVERIFY(QFileInfo(s.path("clip.map")).isSymLink());
    }

    // HOLIDAY.srt beside HOLIDAY.MP4 is the user's own subtitles: not a
    // track, and never deleted.
    void theUsersOwnSubtitlesAreNeitherReadNorDeleted()
    {
        Scratch s;
        const QByteArray own = trackgen::srtDocument({"Arrival at the lake", "Lunch"}).toUtf8();
        QVERIFY(trackgen::makeClip(s.path("HOLIDAY.MP4"), 2));
        s.bytes("HOLIDAY.srt", own);
        VideoInfoParse store;
        QCOMPARE(store.parseFile(s.path("HOLIDAY.MP4")), -1);
        QCOMPARE(trackgen::readText(s.path("HOLIDAY.srt")).toUtf8(), own);
        QVERIFY(!s.exists("HOLIDAY.map"));

        // With a track in the video, that track is read; the file stays.
        QVERIFY(trackedClip(s, "DRIVE", 4));
        s.bytes("DRIVE.srt", own);
        QCOMPARE(store.parseFile(s.path("DRIVE.MP4")), 0);
        QCOMPARE(store.count, 4);
        QCOMPARE(trackgen::readText(s.path("DRIVE.srt")).toUtf8(), own);
        QVERIFY(s.exists("DRIVE.map"));
    }

    // On read-only media the embedded track is read all the same; nothing
    // is kept beside the video.
    void readOnlyMediaStillGiveTheEmbeddedTrack()
    {
        Scratch s;
        QVERIFY(trackedClip(s, "clip", 5));
        const Dump d = dumpOnMedium(s, "16m", "cp \"$3/clip.MP4\" .", true);
        QCOMPARE(d.exitCode, 0);
        QCOMPARE(d.json["result"].toInt(), 0);
        QCOMPARE(d.json["count"].toInt(), 5);
        QCOMPARE(d.listing, QString("clip.MP4\n"));
    }

    // A write that fails leaves no ".map" that a later opening would trust:
    // a full disk, and a read-only folder.
    void aFailedWriteLeavesNoMap_data()
    {
        QTest::addColumn<bool>("readOnly");
        QTest::newRow("full disk") << false;
        QTest::newRow("read-only") << true;
    }
    void aFailedWriteLeavesNoMap()
    {
        QFETCH(bool, readOnly);
        Scratch s;
        s.bytes("clip.GPX", trackgen::gpxDocument(trackgen::drive(2000)).toUtf8());
        const Dump d = dumpOnMedium(
            s, "256k",
            "cp \"$3/clip.GPX\" .; : > clip.MP4; dd if=/dev/zero of=fill bs=4k 2>/dev/null || true",
            readOnly);
        QCOMPARE(d.exitCode, 0);
        QCOMPARE(d.json["result"].toInt(), -1);
        QVERIFY2(!d.listing.contains("clip.map"), qPrintable(d.listing));
        QVERIFY2(d.err.contains("cannot write"), qPrintable(d.err));
        // The same folder with room converts.
        const Dump roomy = dumpOnMedium(s, "1m", "cp \"$3/clip.GPX\" .; : > clip.MP4", false);
        QVERIFY2(roomy.listing.contains("clip.map"), qPrintable(roomy.listing));
    }
};

QTEST_GUILESS_MAIN(SideFilesTest)
#include "tst_sidefiles.moc"
