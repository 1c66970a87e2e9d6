#include "videosettings.h"

#include "embedded/telemetry.h"
#include "sidefile.h"
#include "trackimport.h"
#include "tracklimits.h"
#include "videoinfoparse.h"

#include <QCryptographicHash>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int formatVersion = 1;
constexpr char csvHeader[] = "utc_ms,latitude,longitude,speed_kmh,altitude";
constexpr int maxCsvLine = 256; // the longest line the copy holds is under 100
const char *const who = "video settings";

struct Identity
{
    QString path; // canonical
    qint64 size = -1;
    bool known() const { return !path.isEmpty(); }
};

Identity identify(const QString &video)
{
    const QString canonical = QFileInfo(video).canonicalFilePath();
    const QFileInfo info(canonical);
    if (canonical.isEmpty() || !info.isFile())
        return {};
    return {canonical, info.size()};
}

QString hashOf(const Identity &id)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(id.path.toUtf8());
    hash.addData("\n", 1);
    hash.addData(QByteArray::number(id.size));
    return QString::fromLatin1(hash.result().toHex().left(32));
}

void warn(const QString &text)
{
    qWarning().noquote() << QStringLiteral("%1: %2").arg(QLatin1String(who), text);
}

// Opens a settings file for reading: not through a link (the open itself
// refuses one, so it cannot be swapped in after a check), and only a regular
// file of at most maxBytes. Quiet when there is no file.
bool openPrivate(const QString &path, qint64 maxBytes, QFile &file)
{
    const int fd =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        if (errno != ENOENT)
            warn(QStringLiteral("ignored %1: %2")
                     .arg(path, errno == ELOOP ? QStringLiteral("it is a symbolic link")
                                               : QString::fromLocal8Bit(std::strerror(errno))));
        return false;
    }
    struct stat st;
    QString refused;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode))
        refused = QStringLiteral("it is not a regular file");
    else if (st.st_size > maxBytes)
        refused = QStringLiteral("%1 bytes, more than such a file can be").arg(st.st_size);
    if (!refused.isEmpty() || !file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(fd);
        if (!refused.isEmpty())
            warn(QStringLiteral("ignored %1: %2").arg(path, refused));
        return false;
    }
    return true;
}

// What is at the path, link or not, without following it.
bool present(const QString &path)
{
    struct stat st;
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0;
}

} // namespace

VideoSettings::VideoSettings(const QString &folder)
    : dir(folder.isEmpty() ? QString() : QDir::cleanPath(QFileInfo(folder).absoluteFilePath()))
{
}

QString VideoSettings::key(const QString &video) const
{
    const Identity id = identify(video);
    return id.known() ? hashOf(id) : QString();
}

namespace {

QString filePath(const QString &dir, const Identity &id, const char *suffix)
{
    return dir + QLatin1Char('/') + hashOf(id) + QLatin1String(suffix);
}

// The video's settings, or an empty object when there are none that can be
// trusted.
QJsonObject readSettings(const QString &path, const Identity &id)
{
    QFile file;
    if (!openPrivate(path, VideoSettings::maxJsonBytes, file))
        return {};
    QJsonParseError parsed;
    const QJsonDocument doc =
        QJsonDocument::fromJson(file.read(VideoSettings::maxJsonBytes), &parsed);
    if (parsed.error != QJsonParseError::NoError || !doc.isObject()) {
        warn(QStringLiteral("ignored %1: %2 at byte %3")
                 .arg(path, parsed.error != QJsonParseError::NoError ? parsed.errorString()
                                                                     : QStringLiteral("no object"))
                 .arg(parsed.offset));
        return {};
    }
    const QJsonObject o = doc.object();
    if (o.value(QLatin1String("version")).toInt() != formatVersion ||
        o.value(QLatin1String("video")).toString() != id.path ||
        o.value(QLatin1String("size")).toDouble(-1) != double(id.size)) {
        warn(QStringLiteral("ignored %1: it is not of this version or not of %2")
                 .arg(path, id.path));
        return {};
    }
    return o;
}

// Makes the folder, private to the user, where it is not there yet.
bool makeFolder(const QString &dir)
{
    if (dir.isEmpty()) {
        warn(QStringLiteral("no folder for video settings"));
        return false;
    }
    if (QFileInfo(dir).isDir())
        return true;
    QDir().mkpath(QFileInfo(dir).absolutePath());
    const QByteArray native = QFile::encodeName(dir);
    if (::mkdir(native.constData(), 0700) != 0 && errno != EEXIST) {
        warn(QStringLiteral("cannot make %1: %2")
                 .arg(dir, QString::fromLocal8Bit(std::strerror(errno))));
        return false;
    }
    ::chmod(native.constData(), 0700); // exactly, whatever the umask took
    return QFileInfo(dir).isDir();
}

// Writes the file atomically; a link or another file in its place is
// replaced, never followed.
bool writeFile(const QString &path, const QByteArray &bytes)
{
    if (QFileInfo(path).isSymLink() && !QFile::remove(path))
        return false;
    const std::unique_ptr<QSaveFile> file = sidefile::create(path, who);
    if (!file)
        return false;
    if (file->write(bytes) != bytes.size()) {
        file->cancelWriting();
        sidefile::commit(*file, who);
        return false;
    }
    return sidefile::commit(*file, who);
}

} // namespace

int VideoSettings::offset(const QString &video) const
{
    const Identity id = identify(video);
    if (!id.known() || dir.isEmpty())
        return 0;
    const QString path = filePath(dir, id, ".json");
    const QJsonValue value = readSettings(path, id).value(QLatin1String("offset"));
    if (value.isUndefined())
        return 0;
    const double seconds = value.toDouble(NAN);
    if (!(std::abs(seconds) <= maxOffset) || seconds != std::trunc(seconds)) {
        warn(QStringLiteral("ignored the offset in %1: not a whole number of seconds within a day")
                 .arg(path));
        return 0;
    }
    return int(seconds);
}

namespace {

// Applies `change` to the video's settings and writes them, or removes the
// file when nothing is left to keep.
template <typename Change>
bool updateSettings(const QString &dir, const Identity &id, Change change)
{
    if (!id.known() || !makeFolder(dir))
        return false;
    if (QFileInfo(dir).canonicalFilePath() == QFileInfo(id.path).absolutePath()) {
        warn(QStringLiteral("refused to write settings beside the video in %1").arg(dir));
        return false;
    }
    const QString path = filePath(dir, id, ".json");
    QJsonObject o = readSettings(path, id);
    change(o);
    // An offset of 0, or one that is not read (a hand-edited file), is none.
    const double offset = o.value(QLatin1String("offset")).toDouble(0.0);
    if (offset == 0.0 || !(std::abs(offset) <= VideoSettings::maxOffset) ||
        offset != std::trunc(offset))
        o.remove(QLatin1String("offset"));
    if (!o.contains(QLatin1String("offset")) && !o.contains(QLatin1String("track"))) {
        // Nothing set: no file. A folder or another thing there is not ours.
        return !present(path) || (!QFileInfo(path).isDir() && QFile::remove(path));
    }
    o.insert(QLatin1String("version"), formatVersion);
    o.insert(QLatin1String("video"), id.path);
    o.insert(QLatin1String("size"), double(id.size));
    return writeFile(path, QJsonDocument(o).toJson(QJsonDocument::Indented));
}

} // namespace

bool VideoSettings::setOffset(const QString &video, int seconds)
{
    if (std::abs(qint64(seconds)) > maxOffset) {
        warn(QStringLiteral("refused an offset of %1 s: more than a day").arg(seconds));
        return false;
    }
    return updateSettings(dir, identify(video), [seconds](QJsonObject &o) {
        o.insert(QLatin1String("offset"), seconds);
    });
}

bool VideoSettings::hasImportedTrack(const QString &video) const
{
    const Identity id = identify(video);
    if (!id.known() || dir.isEmpty())
        return false;
    const QFileInfo info(filePath(dir, id, ".csv"));
    return !info.isSymLink() && info.isFile();
}

QString VideoSettings::importedTrackOrigin(const QString &video) const
{
    const Identity id = identify(video);
    if (!id.known() || dir.isEmpty() || !hasImportedTrack(video))
        return QString();
    return readSettings(filePath(dir, id, ".json"), id)
        .value(QLatin1String("track"))
        .toObject()
        .value(QLatin1String("from"))
        .toString();
}

bool VideoSettings::importTrack(const QString &video, const QString &trackFile, QString *error)
{
    auto fail = [error](const QString &text) {
        if (error)
            *error = text;
        warn(text);
        return false;
    };
    const Identity id = identify(video);
    if (!id.known())
        return fail(QStringLiteral("cannot find the video %1").arg(video));
    QVector<standardgpx::Point> points;
    QString why;
    trackimport::Format format = trackimport::Format::Unknown;
    if (!trackimport::read(trackFile, points, &why, &format))
        return fail(why);

    double duration = 0.0;
    const QDateTime start = standardgpx::videoStart(id.path, &duration);
    if (!start.isValid())
        return fail(QStringLiteral("the video has no recording time (none in the file, none in "
                                   "its name) to lay a track on"));
    // The points that any offset can bring into the video; a phone's log of
    // a week is kept only this far.
    const double length = duration > 0.0 ? duration : double(tracklimits::maxSamples);
    const qint64 reach = qint64(maxOffset + standardgpx::maxGap) * 1000;
    const qint64 from = start.toMSecsSinceEpoch() - reach;
    const qint64 to = start.toMSecsSinceEpoch() + qint64(length * 1000) + reach;
    QByteArray csv = QByteArray(csvHeader) + '\n';
    int kept = 0;
    for (const standardgpx::Point &p : qAsConst(points)) {
        const qint64 ms = p.time.toMSecsSinceEpoch();
        if (ms < from || ms > to)
            continue;
        csv += QByteArray::number(ms) + ',' + QByteArray::number(p.latitude, 'g', 12) + ',' +
               QByteArray::number(p.longitude, 'g', 12) + ',';
        if (std::isfinite(p.speedKmh) && p.speedKmh >= 0.0)
            csv += QByteArray::number(p.speedKmh, 'g', 8);
        csv += ',';
        if (std::isfinite(p.altitude))
            csv += QByteArray::number(p.altitude, 'g', 8);
        csv += '\n';
        ++kept;
    }
    // A track that covers no second of the video is refused, not kept in
    // the hope of an offset: nothing would show it and nothing says why.
    const qint64 videoFrom = start.toMSecsSinceEpoch() - qint64(standardgpx::maxGap * 1000);
    const qint64 videoTo =
        start.toMSecsSinceEpoch() + qint64((length + standardgpx::maxGap) * 1000);
    const bool covers =
        std::any_of(points.cbegin(), points.cend(), [&](const standardgpx::Point &p) {
            const qint64 ms = p.time.toMSecsSinceEpoch();
            return ms >= videoFrom && ms <= videoTo;
        });
    if (kept < 2 || !covers) {
        const QString utc = QStringLiteral("yyyy-MM-dd hh:mm:ss");
        return fail(QStringLiteral("the track (%1 to %2 UTC) covers no second of the video "
                                   "(%3 to %4 UTC)")
                        .arg(points.first().time.toString(utc), points.last().time.toString(utc),
                             start.toString(utc),
                             start.addMSecs(qint64(length * 1000)).toString(utc)));
    }
    if (!makeFolder(dir) ||
        QFileInfo(dir).canonicalFilePath() == QFileInfo(id.path).absolutePath() ||
        !writeFile(filePath(dir, id, ".csv"), csv))
        return fail(QStringLiteral("cannot keep the track in %1").arg(dir));
    const QString origin = QFileInfo(trackFile).absoluteFilePath();
    const QString kind = trackimport::formatName(format);
    if (!updateSettings(dir, id, [&](QJsonObject &o) {
            QJsonObject track;
            track.insert(QLatin1String("from"), origin);
            track.insert(QLatin1String("format"), kind);
            track.insert(QLatin1String("points"), kept);
            o.insert(QLatin1String("track"), track);
        }))
        qWarning().noquote() << who << ": the track is kept, where it came from is not";
    qInfo().noquote() << QStringLiteral("%1: imported %2 points of %3 for %4")
                             .arg(QLatin1String(who))
                             .arg(kept)
                             .arg(origin, id.path);
    return true;
}

bool VideoSettings::importedTrack(const QString &video, QVector<standardgpx::Point> &points,
                                  QString *error) const
{
    points.clear();
    auto fail = [&](const QString &text) {
        points.clear();
        if (error)
            *error = text;
        warn(text);
        return false;
    };
    const Identity id = identify(video);
    if (!id.known() || dir.isEmpty())
        return fail(QStringLiteral("no imported track for %1").arg(video));
    const QString path = filePath(dir, id, ".csv");
    QFile file;
    if (!openPrivate(path, tracklimits::maxFileBytes, file))
        return fail(QStringLiteral("no imported track for %1").arg(video));
    int line = 1;
    if (file.readLine(maxCsvLine).trimmed() != csvHeader)
        return fail(QStringLiteral("ignored %1: line 1 is not its header").arg(path));
    qint64 last = std::numeric_limits<qint64>::min();
    while (!file.atEnd()) {
        ++line;
        const QByteArray text = file.readLine(maxCsvLine);
        if (!text.endsWith('\n') && !file.atEnd())
            return fail(QStringLiteral("ignored %1: line %2 is too long").arg(path).arg(line));
        const QList<QByteArray> f = text.trimmed().split(',');
        bool ok[3] = {false, false, false};
        standardgpx::Point p;
        const qint64 ms = f.size() == 5 ? f[0].toLongLong(&ok[0]) : 0;
        if (f.size() == 5) {
            p.latitude = f[1].toDouble(&ok[1]);
            p.longitude = f[2].toDouble(&ok[2]);
        }
        bool extrasOk = true;
        if (f.size() == 5 && !f[3].isEmpty())
            p.speedKmh = f[3].toDouble(&extrasOk);
        if (extrasOk && f.size() == 5 && !f[4].isEmpty())
            p.altitude = f[4].toDouble(&extrasOk);
        // Times in order, as they were written: an edited file is not trusted.
        if (!ok[0] || !ok[1] || !ok[2] || !extrasOk || ms < last ||
            ms > qint64(253402300799) * 1000 || !(std::abs(p.latitude) <= 90.0) ||
            !(std::abs(p.longitude) <= 180.0) || !(std::isnan(p.speedKmh) || p.speedKmh >= 0.0) ||
            !(std::isnan(p.altitude) || std::isfinite(p.altitude)))
            return fail(QStringLiteral("ignored %1: line %2 is not a point").arg(path).arg(line));
        if (points.size() >= tracklimits::maxSamples * 10)
            return fail(QStringLiteral("ignored %1: too many points").arg(path));
        last = ms;
        p.time = QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC);
        points.append(p);
    }
    if (points.size() < 2)
        return fail(QStringLiteral("ignored %1: fewer than two points").arg(path));
    return true;
}

bool VideoSettings::clearImportedTrack(const QString &video)
{
    const Identity id = identify(video);
    if (!id.known() || dir.isEmpty())
        return false;
    const QString path = filePath(dir, id, ".csv");
    if (present(path) && (QFileInfo(path).isDir() || !QFile::remove(path))) {
        warn(QStringLiteral("cannot remove %1").arg(path));
        return false;
    }
    if (QFileInfo(dir).isDir())
        updateSettings(dir, id, [](QJsonObject &o) { o.remove(QLatin1String("track")); });
    return true;
}
