#include "drivelist.h"

#include "embedded/telemetry.h"
#include "moments.h"

#include <QListWidget>
#include <QLocale>
#include <QPointer>
#include <cmath>

namespace {

constexpr int headerRole = Qt::UserRole + 1;
constexpr int kindRole = Qt::UserRole + 2;

} // namespace

DriveList::DriveList(QObject *parent) : QObject(parent) {}

void DriveList::read(const QStringList &paths, const QString &settingsDir)
{
    cancel();
    stop = std::make_shared<std::atomic<bool>>(false);
    const std::shared_ptr<std::atomic<bool>> stopFlag = stop;
    const quint64 run = ++generation;
    // The thread owns nothing of the window: what it reads comes back by
    // queued calls to this object, which Qt drops once it is gone.
    worker = QThread::create([this, paths, settingsDir, stopFlag, run] {
        const QVector<trip::Clip> clips = trip::readMoments(
            trip::findVideos(paths), settingsDir, [this, stopFlag](int done, int total) {
                QMetaObject::invokeMethod(this, "progress", Qt::QueuedConnection, Q_ARG(int, done),
                                          Q_ARG(int, total));
                return !*stopFlag;
            });
        if (*stopFlag)
            return;
        QMetaObject::invokeMethod(
            this, [this, clips, run] { took(clips, run); }, Qt::QueuedConnection);
    });
    connect(worker, &QThread::finished, worker, &QObject::deleteLater);
    worker->start(QThread::LowPriority);
}

void DriveList::cancel()
{
    if (!worker)
        return;
    // The clip being read is left to finish on its own (ffmpeg may take
    // seconds): the window does not wait for it, and what comes of the run
    // is dropped.
    *stop = true;
    running.append(worker);
    worker = nullptr;
    emit finished(true);
}

DriveList::~DriveList()
{
    if (worker)
        *stop = true;
    if (worker)
        running.append(worker);
    // Their queued calls name this object: they must be done before it goes.
    for (const QPointer<QThread> &t : qAsConst(running))
        if (t)
            t->wait();
}

void DriveList::took(QVector<trip::Clip> clips, quint64 run)
{
    if (run != generation || !worker)
        return; // a run cancelled or replaced since
    worker = nullptr;
    all = trip::drives(std::move(clips));
    places.clear();
    // Any channel of a moment finds it.
    for (int d = 0; d < all.size(); ++d)
        for (int c = 0; c < all[d].clips.size(); ++c)
            for (const trip::Channel &channel : all[d].clips[c].channels)
                places.insert(channel.path, Place{d, c});
    emit finished(false);
}

void DriveList::clear()
{
    all.clear();
    places.clear();
}

QString DriveList::headerText(const trip::Drive &drive, double unitFactor, const QString &unit,
                              bool utc)
{
    const qint64 seconds = drive.start().secsTo(drive.end());
    const QDateTime start = utc && !drive.clips.isEmpty() && drive.clips.first().utc.isValid()
                                ? drive.clips.first().utc
                                : drive.start();
    return QStringLiteral("%1  %2  %3:%4:%5  %6 %7")
        .arg(start.date().toString(Qt::ISODate), start.time().toString("hh:mm"))
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'))
        .arg(drive.distanceKm() * unitFactor, 0, 'f', 1)
        .arg(unit);
}

void DriveList::fill(QListWidget *list, double unitFactor, const QString &unit, bool utc,
                     const QString &zoneAssumed) const
{
    list->clear();
    for (const trip::Drive &d : all) {
        auto *header = new QListWidgetItem(headerText(d, unitFactor, unit, utc), list);
        header->setData(headerRole, true);
        header->setFlags(Qt::ItemIsEnabled); // not selectable: nothing to play
        if (!d.clips.isEmpty() && d.clips.first().zoneAssumed)
            header->setToolTip(zoneAssumed);
        QFont bold = header->font();
        bold.setBold(true);
        header->setFont(bold);
        for (const trip::Clip &c : d.clips)
            (new QListWidgetItem(c.path, list))->setData(kindRole, c.kind);
    }
}

QString DriveList::kindOf(const QListWidgetItem *item)
{
    return item ? item->data(kindRole).toString() : QString();
}

bool DriveList::isHeader(const QListWidgetItem *item)
{
    return item && item->data(headerRole).toBool();
}

DriveList::Place DriveList::place(const QString &path) const
{
    return places.value(path);
}

const trip::Clip *DriveList::clip(const QString &path) const
{
    const Place at = places.value(path);
    return at.valid() ? &all[at.drive].clips[at.clip] : nullptr;
}

void DriveList::refreshClip(const QString &path, const QString &settingsDir)
{
    const Place at = places.value(path);
    if (!at.valid())
        return;
    trip::Clip &kept = all[at.drive].clips[at.clip];
    const trip::Clip fresh = trip::readClip(kept.path, settingsDir);
    // Only the track changes: its place in the drive (and on the camera's
    // clock) and its channels were found once.
    kept.source = fresh.source;
    kept.seconds = fresh.seconds;
    kept.distanceKm = fresh.distanceKm;
    kept.maxSpeed = fresh.maxSpeed;
    kept.points = fresh.points;
}

DriveList::Nearest DriveList::nearest(int drive, double latitude, double longitude) const
{
    Nearest best;
    for (int d = 0; d < all.size(); ++d) {
        if (drive >= 0 && d != drive)
            continue;
        const QVector<trip::Clip> &clips = all[d].clips;
        for (int c = 0; c < clips.size(); ++c)
            for (const trip::Point &p : clips[c].points) {
                const double m = embedded::metresBetween(
                    latitude, longitude, p.sample.signedLatitude(), p.sample.signedLongitude());
                if (best.clip < 0 || m < best.metres)
                    best = Nearest{c, p.second, m};
            }
        if (drive >= 0)
            break;
    }
    return best;
}

QVector<QVector<QPointF>> DriveList::routes(int drive) const
{
    QVector<QVector<QPointF>> out;
    if (drive < 0 || drive >= all.size())
        return out;
    for (const trip::Clip &c : all[drive].clips) {
        QVector<QPointF> route;
        route.reserve(c.points.size());
        for (const trip::Point &p : c.points)
            route.append(QPointF(p.sample.signedLatitude(), p.sample.signedLongitude()));
        out.append(route);
    }
    return out;
}

double DriveList::distanceTo(const Place &at, int second) const
{
    if (!at.valid())
        return 0.0;
    const QVector<trip::Clip> &clips = all[at.drive].clips;
    double km = 0.0;
    for (int c = 0; c < at.clip; ++c)
        km += clips[c].distanceKm;
    const QVector<trip::Point> &points = clips[at.clip].points;
    for (int i = 1; i < points.size() && points[i].second <= second; ++i)
        km += embedded::metresBetween(
                  points[i - 1].sample.signedLatitude(), points[i - 1].sample.signedLongitude(),
                  points[i].sample.signedLatitude(), points[i].sample.signedLongitude()) /
              1000.0;
    return km;
}

qint64 DriveList::secondsTo(const Place &at, int second) const
{
    if (!at.valid())
        return 0;
    const trip::Drive &d = all[at.drive];
    return d.start().secsTo(d.clips[at.clip].start) + second;
}
