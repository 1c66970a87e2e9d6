// The test-video generator: every layout written over a real clip plays
// (ffmpeg decodes it without a word) and gives back the known drive through
// exiftool, the reference reader, at the precision the layout stores.

#include "embedgen.h"
#include "testutil.h"

#include <QDateTime>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <cmath>
#include <functional>

Q_DECLARE_METATYPE(embedgen::Options)

namespace {

const int seconds = 24;

// exiftool's documents: tag name to its values, repeated tags in order.
using Doc = QMap<QString, QStringList>;

QMap<int, Doc> exiftoolDocs(const QString &file, QString *error)
{
    const Run r = run("exiftool", {"-ee", "-n", "-G3", "-a", "-s", "-u", "-api", "QuickTimeUTC=1",
                                   "-SampleTime", "-GPSDateTime", "-GPSLatitude", "-GPSLongitude",
                                   "-GPSMeasureMode", "-GoPro_GPS9", file});
    QMap<int, Doc> docs;
    if (r.exitCode != 0) {
        *error = QString::fromUtf8(r.err);
        return docs;
    }
    static const QRegularExpression line(R"(^\[Doc(\d+)\]\s+(\S+)\s*: (.*)$)");
    for (const QByteArray &l : r.out.split('\n')) {
        const QRegularExpressionMatch m = line.match(QString::fromUtf8(l));
        if (m.hasMatch())
            docs[m.captured(1).toInt()][m.captured(2)].append(m.captured(3));
    }
    return docs;
}

enum class Kind
{
    Valid,
    NoFix,
    Gap
};

Kind kindOf(const embedgen::Options &o, int i)
{
    if (i >= o.gapFrom && i < o.gapTo)
        return Kind::Gap;
    if (i < o.coldStart || o.invalidSeconds.contains(i))
        return Kind::NoFix;
    return Kind::Valid;
}

qint64 utcOf(const embedgen::Options &o, const trackgen::Fix &fix)
{
    return QDateTime(QDate::fromString(o.date, Qt::ISODate), QTime(0, 0), Qt::UTC)
               .toSecsSinceEpoch() +
           fix.secondOfDay;
}

// "2023:05:14 12:00:02.000Z" to Unix seconds.
double exifTime(const QString &text)
{
    static const QRegularExpression re(R"(^(\d{4}):(\d\d):(\d\d) (\d\d):(\d\d):(\d\d(?:\.\d+)?))");
    const QRegularExpressionMatch m = re.match(text);
    if (!m.hasMatch())
        return -1;
    const QDateTime day(QDate(m.captured(1).toInt(), m.captured(2).toInt(), m.captured(3).toInt()),
                        QTime(0, 0), Qt::UTC);
    return double(day.toSecsSinceEpoch()) + m.captured(4).toInt() * 3600 +
           m.captured(5).toInt() * 60 + m.captured(6).toDouble();
}

// What each layout stores, as exiftool reports it.
struct Traits
{
    // Largest error the layout's own encoding allows, in degrees.
    double tolerance;
    // The records carry the UTC time of the fix (not one exiftool makes up).
    bool clock;
    // Fixes a record (GoPro payloads, spread over the second).
    int perRecord;
};

Traits traitsOf(const QString &layout)
{
    // float32 DDMM.MMMM: half an ulp at 11356' is 4.9e-4' = 8.1e-6 deg.
    if (layout == "novatek" || layout == "novatek-v3")
        return {1e-5, true, 1};
    // eight or nine digits of DDMM.MMMM: 0.5e-4' = 8.3e-7 deg.
    if (layout == "novatek-xor")
        return {1e-6, true, 1};
    // s32 of 1e-7 deg, rounded once.
    if (layout == "gpmf")
        return {2e-7, true, 18};
    if (layout == "gpmf9")
        return {2e-7, false, 10};
    // NMEA with five decimals of a minute: 8.3e-8 deg.
    if (layout == "texttrack" || layout == "blackvue")
        return {2e-7, true, 1};
    // NMEA with four decimals of a minute: 8.3e-7 deg.
    if (layout == "texttrack-nextbase")
        return {1e-6, true, 1};
    // doubles
    if (layout == "camm")
        return {1e-9, true, 1};
    // DDMM.MMM times 1000: 0.5e-3' = 8.3e-6 deg.
    if (layout == "70mai")
        return {1e-5, false, 1};
    // semicircles: 180 / 2^31 = 8.4e-8 deg.
    if (layout == "garmin")
        return {1e-7, false, 1};
    // six decimals of a degree
    return {1e-6, false, 1};
}

double interpolated(const QVector<trackgen::Fix> &fixes, int i, double f, bool latitude)
{
    const trackgen::Fix &a = fixes[i];
    const trackgen::Fix &b = fixes[i + 1 < fixes.size() ? i + 1 : i];
    return latitude ? a.latitude + (b.latitude - a.latitude) * f
                    : a.longitude + (b.longitude - a.longitude) * f;
}

// Top-level boxes: type, offset, size field (1 for a 64-bit size).
struct TopBox
{
    QByteArray type;
    qint64 at;
    quint32 sizeField;
    qint64 size;
};

QVector<TopBox> topBoxes(const QString &path)
{
    QVector<TopBox> boxes;
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return boxes;
    const auto be = [](const QByteArray &b, int from, int bytes) {
        quint64 v = 0;
        for (int k = 0; k < bytes; ++k)
            v = v << 8 | quint8(b[from + k]);
        return v;
    };
    for (qint64 at = 0; at + 8 <= f.size();) {
        f.seek(at);
        const QByteArray head = f.read(16);
        const quint32 field = quint32(be(head, 0, 4));
        const qint64 size = field == 1 ? qint64(be(head, 8, 8)) : field;
        if (size < 8)
            break;
        boxes.append({head.mid(4, 4), at, field, size});
        at += size;
    }
    return boxes;
}

QByteArray boxBytes(const QString &path, const QByteArray &type)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return QByteArray();
    for (const TopBox &b : topBoxes(path)) {
        if (b.type == type) {
            f.seek(b.at);
            return f.read(b.size);
        }
    }
    return QByteArray();
}

} // namespace

class EmbedGenTest : public QObject
{
    Q_OBJECT

    Scratch scratch;
    QVector<trackgen::Fix> fixes;
    bool haveExiftool = false;

    void checkDecodes(const QString &file)
    {
        const Run r = run(trackgen::ffmpegPath(), {"-v", "error", "-i", file, "-f", "null", "-"});
        QVERIFY2(r.exitCode == 0 && r.err.isEmpty(), r.err.constData());
    }

    // The fixes of the SRT beside the video against the drive at every frame.
    void checkSrt(const QString &file, const embedgen::Options &o,
                  const QVector<trackgen::Fix> &track)
    {
        const QString srt = trackgen::readText(
            QFileInfo(file).dir().filePath(QFileInfo(file).completeBaseName() + ".SRT"));
        static const QRegularExpression block(
            R"((\d+)\n(\d\d):(\d\d):(\d\d),(\d{3}) --> [^\n]+\n<font size="28">FrameCnt: (\d+), DiffTime: \d+ms\n)"
            R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\n[^\n]*\[latitude: (-?[\d.]+)\] \[longitude: (-?[\d.]+)\][^\n]*</font>\n\n)");
        int blocks = 0;
        int expected = 0;
        for (int i = 0; i < seconds; ++i)
            expected += kindOf(o, i) == Kind::Gap ? 0 : 30;
        QRegularExpressionMatchIterator it = block.globalMatch(srt);
        while (it.hasNext()) {
            const QRegularExpressionMatch m = it.next();
            ++blocks;
            const int n = m.captured(1).toInt() - 1;
            QCOMPARE(m.captured(6).toInt(), n + 1);
            const int ms = m.captured(2).toInt() * 3600000 + m.captured(3).toInt() * 60000 +
                           m.captured(4).toInt() * 1000 + m.captured(5).toInt();
            QCOMPARE(ms, n * 1000 / 30);
            const int i = n / 30;
            const double lat = m.captured(7).toDouble();
            const double lon = m.captured(8).toDouble();
            QVERIFY2(kindOf(o, i) != Kind::Gap, qPrintable(QString("frame %1 in the gap").arg(n)));
            if (kindOf(o, i) == Kind::NoFix) {
                QCOMPARE(lat, 0.0);
                QCOMPARE(lon, 0.0);
                continue;
            }
            const double f = (n % 30) / 30.0;
            QVERIFY2(std::fabs(lat - interpolated(track, i, f, true)) <= 1e-6,
                     qPrintable(QString::number(n)));
            QVERIFY2(std::fabs(lon - interpolated(track, i, f, false)) <= 1e-6,
                     qPrintable(QString::number(n)));
        }
        QCOMPARE(blocks, expected);
    }

    // Every valid second comes back once, at its place and to the layout's
    // precision; seconds without a fix are absent or marked; gaps absent.
    void checkExiftool(const QString &file, const embedgen::Options &o,
                       const QVector<trackgen::Fix> &track)
    {
        QString error;
        const QMap<int, Doc> docs = exiftoolDocs(file, &error);
        QVERIFY2(error.isEmpty(), qPrintable(error));
        const Traits traits = traitsOf(o.layout);
        const qint64 start = utcOf(o, track.first());
        QVector<int> written;
        for (int i = 0; i < seconds; ++i)
            if (kindOf(o, i) != Kind::Gap)
                written.append(i);

        QSet<int> seen;
        int ordinal = -1;
        for (auto d = docs.begin(); d != docs.end(); ++d) {
            const Doc &doc = d.value();
            const bool nine = doc.contains("GoPro_GPS9");
            if (!doc.contains("GPSLatitude") && !nine)
                continue;
            ++ordinal;
            const QString where = QStringLiteral("Doc%1").arg(d.key());
            int second;
            if (doc.contains("SampleTime"))
                second = qRound(doc["SampleTime"].first().toDouble());
            else if (doc.contains("GPSDateTime"))
                second = qRound(exifTime(doc["GPSDateTime"].first()) - start);
            else
                second = ordinal < written.size() ? written[ordinal] : -1;
            QVERIFY2(second >= 0 && second < seconds, qPrintable(where + " outside the clip"));
            const Kind kind = kindOf(o, second);
            QVERIFY2(kind != Kind::Gap,
                     qPrintable(where + QString(" at %1, in the gap").arg(second)));

            // lat, lon (and, for GPS9, days, seconds of day, fix) per fix
            QVector<QVector<double>> values;
            if (nine) {
                for (const QString &item : doc["GoPro_GPS9"].first().split(", ")) {
                    QVector<double> v;
                    for (const QString &x : item.split(' '))
                        v.append(x.toDouble());
                    QCOMPARE(v.size(), 9);
                    values.append({v[0], v[1], v[5], v[6], v[8]});
                }
            } else {
                const QStringList lats = doc["GPSLatitude"];
                const QStringList lons = doc.value("GPSLongitude");
                QCOMPARE(lons.size(), lats.size());
                for (int j = 0; j < lats.size(); ++j)
                    values.append({lats[j].toDouble(), lons[j].toDouble()});
            }

            if (kind == Kind::NoFix) {
                bool zero = true;
                for (const QVector<double> &v : values)
                    zero = zero && v[0] == 0.0 && v[1] == 0.0;
                const bool noLock =
                    doc.value("GPSMeasureMode").value(0) == "0" || (nine && values[0][4] == 0);
                QVERIFY2(
                    zero || noLock,
                    qPrintable(where +
                               QString(": second %1 has no fix but reads as one").arg(second)));
                continue;
            }
            QVERIFY2(!seen.contains(second),
                     qPrintable(where + QString(": second %1 again").arg(second)));
            seen.insert(second);
            QCOMPARE(values.size(), traits.perRecord);
            for (int j = 0; j < values.size(); ++j) {
                const double f = double(j) / traits.perRecord;
                const double lat = interpolated(track, second, f, true);
                const double lon = interpolated(track, second, f, false);
                QVERIFY2(std::fabs(values[j][0] - lat) <= traits.tolerance,
                         qPrintable(where + QString(" latitude %1, not %2")
                                                .arg(values[j][0], 0, 'f', 9)
                                                .arg(lat, 0, 'f', 9)));
                QVERIFY2(std::fabs(values[j][1] - lon) <= traits.tolerance,
                         qPrintable(where + QString(" longitude %1, not %2")
                                                .arg(values[j][1], 0, 'f', 9)
                                                .arg(lon, 0, 'f', 9)));
                if (nine) {
                    const double t = double(start + second) + j / 10.0;
                    const QDateTime when =
                        QDateTime::fromMSecsSinceEpoch(qint64(std::llround(t * 1000)), Qt::UTC);
                    QCOMPARE(qint64(values[j][2]), QDate(2000, 1, 1).daysTo(when.date()));
                    QVERIFY(std::fabs(values[j][3] - when.time().msecsSinceStartOfDay() / 1000.0) <
                            1e-6);
                    QCOMPARE(values[j][4], 3.0);
                }
            }
            if (traits.clock) {
                QVERIFY2(doc.contains("GPSDateTime"), qPrintable(where + " without its time"));
                // exiftool counts CAMM type 6 GPS time from the GPS epoch without
                // taking off the leap seconds it runs ahead of UTC.
                const double leap = o.layout == "camm" && !o.camm5 ? 18.0 : 0.0;
                QCOMPARE(exifTime(doc["GPSDateTime"].first()), double(start + second) + leap);
            }
        }
        for (int i = 0; i < seconds; ++i) {
            if (kindOf(o, i) == Kind::Valid)
                QVERIFY2(seen.contains(i), qPrintable(QString("second %1 missing").arg(i)));
        }
    }

private slots:
    void initTestCase()
    {
        fixes = trackgen::drive(seconds);
        QString error;
        QVERIFY2(trackgen::makeClip(scratch.path("clip.mp4"), seconds, QString(), &error),
                 qPrintable(error));
        QVERIFY2(trackgen::makeClip(scratch.path("clip.mov"), seconds, QString(), &error),
                 qPrintable(error));
        haveExiftool = !QStandardPaths::findExecutable("exiftool").isEmpty();
    }

    void layoutIsReadable_data()
    {
        QTest::addColumn<embedgen::Options>("options");
        QTest::addColumn<QString>("skipExiftool");
        const auto row = [](const QString &name, const QString &layout,
                            const std::function<void(embedgen::Options &)> &change = {},
                            const QString &skip = QString()) {
            embedgen::Options o;
            o.layout = layout;
            if (change)
                change(o);
            QTest::newRow(qPrintable(name)) << o << skip;
        };
        const QString srt = "exiftool 12.57 does not read .SRT files";
        for (const QString &layout : embedgen::layouts()) {
            const QString skip = layout == "dji-srt" ? srt : QString();
            row(layout, layout, {}, skip);
            // lock only after two seconds, lost twice, and two seconds without records
            row(
                layout + "/no fix", layout,
                [](embedgen::Options &o) {
                    o.coldStart = 2;
                    o.invalidSeconds = {7, 8};
                    o.gapFrom = 12;
                    o.gapTo = 14;
                },
                skip);
        }
        row("novatek/no index", "novatek", [](embedgen::Options &o) { o.index = false; });
        row("novatek/no index, no fix", "novatek", [](embedgen::Options &o) {
            o.index = false;
            o.coldStart = 3;
            o.invalidSeconds = {10};
            o.gapFrom = 15;
            o.gapTo = 17;
        });
        const QString scanOnlyClassic =
            "exiftool 12.57 scans the media data for the classic record only";
        row(
            "novatek-v3/no index", "novatek-v3", [](embedgen::Options &o) { o.index = false; },
            scanOnlyClassic);
        row(
            "novatek-xor/no index", "novatek-xor", [](embedgen::Options &o) { o.index = false; },
            scanOnlyClassic);
        row("novatek/moov first", "novatek", [](embedgen::Options &o) { o.moovFirst = true; });
        row("novatek/large sizes", "novatek", [](embedgen::Options &o) { o.largeSizes = true; });
        row("novatek/co64", "novatek", [](embedgen::Options &o) { o.co64 = true; });
        row("novatek/padded", "novatek", [](embedgen::Options &o) { o.padBytes = 3000000; });
        row("novatek/no index, moov first, large sizes, co64", "novatek", [](embedgen::Options &o) {
            o.index = false;
            o.moovFirst = true;
            o.largeSizes = true;
            o.co64 = true;
        });
        row("novatek/mov", "novatek", [](embedgen::Options &o) { o.container = "mov"; });
        row("gpmf/moov first, large sizes, co64", "gpmf", [](embedgen::Options &o) {
            o.moovFirst = true;
            o.largeSizes = true;
            o.co64 = true;
        });
        row("gpmf/padded", "gpmf", [](embedgen::Options &o) { o.padBytes = 1000000; });
        row("gpmf/mov", "gpmf", [](embedgen::Options &o) { o.container = "mov"; });
        row("gpmf9/moov first", "gpmf9", [](embedgen::Options &o) { o.moovFirst = true; });
        row("texttrack/mov", "texttrack", [](embedgen::Options &o) { o.container = "mov"; });
        row("texttrack/moov first, co64", "texttrack", [](embedgen::Options &o) {
            o.moovFirst = true;
            o.co64 = true;
        });
        row("texttrack-nextbase/mov", "texttrack-nextbase",
            [](embedgen::Options &o) { o.container = "mov"; });
        row("garmin/mov", "garmin", [](embedgen::Options &o) { o.container = "mov"; });
        row("dji/mov, large sizes", "dji", [](embedgen::Options &o) {
            o.container = "mov";
            o.largeSizes = true;
        });
        row("camm/type 5", "camm", [](embedgen::Options &o) { o.camm5 = true; });
        row("camm/type 5, no fix", "camm", [](embedgen::Options &o) {
            o.camm5 = true;
            o.coldStart = 1;
            o.invalidSeconds = {4};
        });
        row("camm/moov first, large sizes", "camm", [](embedgen::Options &o) {
            o.moovFirst = true;
            o.largeSizes = true;
        });
        row("blackvue/moov first, large sizes", "blackvue", [](embedgen::Options &o) {
            o.moovFirst = true;
            o.largeSizes = true;
        });
        row("70mai/moov first, large sizes", "70mai", [](embedgen::Options &o) {
            o.moovFirst = true;
            o.largeSizes = true;
        });
        row(
            "dji-srt/moov first", "dji-srt", [](embedgen::Options &o) { o.moovFirst = true; }, srt);
    }

    void layoutIsReadable()
    {
        QFETCH(embedgen::Options, options);
        QFETCH(QString, skipExiftool);
        const bool mov = options.container == "mov";
        const QString file = scratch.path(QString("out.%1").arg(mov ? "mov" : "mp4"));
        QString error;
        QVERIFY2(embedgen::write(scratch.path(mov ? "clip.mov" : "clip.mp4"), file, fixes, options,
                                 &error),
                 qPrintable(error));

        // the options took effect
        const QVector<TopBox> top = topBoxes(file);
        QStringList order;
        for (const TopBox &b : top)
            order << QString::fromLatin1(b.type);
        QVERIFY2(order.indexOf("moov") >= 0 && order.indexOf("mdat") >= 0,
                 qPrintable(order.join(' ')));
        QCOMPARE(order.indexOf("moov") < order.indexOf("mdat"), options.moovFirst);
        for (const TopBox &b : top) {
            if (b.type == "mdat" || b.type == "GPS " ||
                (b.type == "free" && options.layout == "blackvue"))
                QCOMPARE(b.sizeField == 1, options.largeSizes);
        }
        const QByteArray moov = boxBytes(file, "moov");
        if (options.co64)
            QVERIFY(moov.contains("co64") && !moov.contains("stco"));
        QCOMPARE(moov.contains("gps "), options.layout.startsWith("novatek") && options.index);
        QCOMPARE(order.contains("GPS "), options.layout == "70mai");

        // it plays, with the added track next to the video
        checkDecodes(file);
        const Run probe = run("ffprobe", {"-v", "error", "-show_entries", "stream=codec_tag_string",
                                          "-of", "csv=p=0", file});
        QVERIFY2(probe.exitCode == 0 && probe.err.isEmpty(), probe.err.constData());
        QString tags = QString::fromLatin1(probe.out).simplified();
        const QString &l = options.layout;
        const QString added =
            l.startsWith("gpmf") ? "gpmd"
            : l == "camm"        ? "camm"
            : l == "texttrack" || l.startsWith("texttrack-") || l == "garmin" || l == "dji"
                ? (mov ? "text" : "tx3g")
                : QString();
        QCOMPARE(tags, added.isEmpty() ? QString("avc1") : "avc1 " + added);

        if (l == "dji-srt")
            checkSrt(file, options, fixes);
        if (!skipExiftool.isEmpty())
            QSKIP(qPrintable(skipExiftool));
        if (!haveExiftool)
            QSKIP("exiftool is not installed (libimage-exiftool-perl)");
        checkExiftool(file, options, fixes);
    }

    // A drive across midnight: the clocks roll over into the next day.
    void midnightRollsTheDate_data()
    {
        QTest::addColumn<QString>("layout");
        for (const char *layout : {"novatek", "novatek-v3", "novatek-xor", "gpmf", "gpmf9",
                                   "texttrack", "texttrack-nextbase", "blackvue", "camm"})
            QTest::newRow(layout) << QString(layout);
    }

    void midnightRollsTheDate()
    {
        QFETCH(QString, layout);
        if (!haveExiftool)
            QSKIP("exiftool is not installed (libimage-exiftool-perl)");
        const QVector<trackgen::Fix> late = trackgen::drive(seconds, 22.5, 113.9, 86400 - 10);
        embedgen::Options o;
        o.layout = layout;
        o.date = "2023-12-31";
        const QString file = scratch.path("late.mp4");
        QString error;
        QVERIFY2(embedgen::write(scratch.path("clip.mp4"), file, late, o, &error),
                 qPrintable(error));
        checkExiftool(file, o, late);
    }

    // A hole of 4.3 GB before the media: 64-bit sizes and offsets, and the
    // file still opens. Sparse, so it takes no room.
    void sparseFileBeyond4GiB()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString file = dir.filePath("big.mp4");
        embedgen::Options o;
        o.layout = "gpmf";
        o.padBytes = 4300000000LL;
        QString error;
        QVERIFY2(embedgen::write(scratch.path("clip.mp4"), file, fixes, o, &error),
                 qPrintable(error));
        const qint64 clipSize = QFileInfo(scratch.path("clip.mp4")).size();
        const qint64 size = QFileInfo(file).size();
        QVERIFY2(size > o.padBytes + clipSize && size < o.padBytes + 2 * clipSize,
                 qPrintable(QString::number(size)));
        const QVector<TopBox> top = topBoxes(file);
        QCOMPARE(top.size(), 3);
        QCOMPARE(top[1].type, QByteArray("mdat"));
        QCOMPARE(top[1].sizeField, quint32(1));
        QVERIFY(top[1].size > o.padBytes);
        const QByteArray moov = boxBytes(file, "moov");
        QVERIFY(moov.contains("co64") && !moov.contains("stco"));
        const Run probe =
            run("ffprobe", {"-v", "error", "-show_entries", "stream=codec_tag_string,duration",
                            "-of", "csv=p=0", file});
        QVERIFY2(probe.exitCode == 0 && probe.err.isEmpty(), probe.err.constData());
        QCOMPARE(QString::fromLatin1(probe.out).simplified(),
                 QString("avc1,24.000000 gpmd,24.000000"));
    }

    void novatekIndexCannotPointPast4GiB()
    {
        QTemporaryDir dir;
        embedgen::Options o;
        o.padBytes = 4300000000LL;
        QString error;
        QVERIFY(
            !embedgen::write(scratch.path("clip.mp4"), dir.filePath("x.mp4"), fixes, o, &error));
        QVERIFY2(error.contains("32-bit"), qPrintable(error));
    }

    void unknownLayoutIsRefused()
    {
        embedgen::Options o;
        o.layout = "nikon";
        QString error;
        QVERIFY(
            !embedgen::write(scratch.path("clip.mp4"), scratch.path("x.mp4"), fixes, o, &error));
        QVERIFY2(error.contains("unknown layout"), qPrintable(error));
    }
};

QTEST_GUILESS_MAIN(EmbedGenTest)
#include "tst_embedgen.moc"
