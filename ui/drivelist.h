#pragma once

// The drives of an opened folder: read in the background, shown in the play
// list under a header row each, and asked where a clip sits in its drive.

#include "trip.h"

#include <QHash>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QThread>
#include <atomic>
#include <memory>

class QListWidget;
class QListWidgetItem;

class DriveList : public QObject
{
    Q_OBJECT
public:
    explicit DriveList(QObject *parent = nullptr);
    ~DriveList() override;

    // Starts reading the videos of these files and folders; a read still
    // running is cancelled first. progress() and finished() follow
    // (finished(true) at once on a cancel).
    // With settingsDir, each clip's offset and imported track apply.
    void read(const QStringList &paths, const QString &settingsDir = QString());
    void cancel();
    bool reading() const { return worker != nullptr; }

    // The play list: a header row a drive (not selectable), then its clips
    // with their paths as text.
    // `zoneAssumed` is the header's tooltip where no clip told the camera's
    // offset from UTC.
    void fill(QListWidget *list, double unitFactor, const QString &unit, bool utc = false,
              const QString &zoneAssumed = QString()) const;
    static bool isHeader(const QListWidgetItem *item);
    // A clip row's recording kind ("normal", "event", "manual", "parking").
    static QString kindOf(const QListWidgetItem *item);
    // The header's text: date, start time, length and distance.
    // With utc, the start in UTC, else on the camera's clock.
    static QString headerText(const trip::Drive &drive, double unitFactor, const QString &unit,
                              bool utc = false);

    struct Place
    {
        int drive = -1;
        int clip = -1;
        bool valid() const { return drive >= 0; }
    };
    Place place(const QString &path) const;
    const trip::Clip *clip(const QString &path) const;
    // Reads one clip of a drive again (its offset or track changed); its
    // place in the drive stays.
    void refreshClip(const QString &path, const QString &settingsDir);
    const QVector<trip::Drive> &drives() const { return all; }
    void clear();

    // The clip and second whose fix lies nearest to a position, within the
    // drive that plays (or all when drive is -1); clip -1 when none.
    struct Nearest
    {
        int clip = -1;
        int second = 0;
        double metres = 0.0;
    };
    Nearest nearest(int drive, double latitude, double longitude) const;

    // Each clip's route of a drive, as the map takes it.
    QVector<QVector<QPointF>> routes(int drive) const;

    // Distance (km) driven from the drive's start to second s of a clip.
    double distanceTo(const Place &at, int second) const;
    // Seconds from the drive's start to second s of a clip.
    qint64 secondsTo(const Place &at, int second) const;

signals:
    void progress(int done, int total);
    void finished(bool cancelled);

private:
    void took(QVector<trip::Clip> clips, quint64 run);

    QVector<trip::Drive> all;
    QHash<QString, Place> places;
    QThread *worker = nullptr;          // the run that counts
    QVector<QPointer<QThread>> running; // cancelled runs still finishing
    quint64 generation = 0;
    std::shared_ptr<std::atomic<bool>> stop;
};
