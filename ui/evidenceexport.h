#pragma once

// Evidence clips from the window: the stretch to export marked on the time
// line with I and O (across the clips of a drive), shown on the slider, and
// "Export video…" with its choices, a progress window that says the time
// left, and a Cancel that stops the export and leaves no file.

#include "readings.h"
#include "trip.h"
#include "videoexport.h"

#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QVector>
#include <atomic>
#include <functional>
#include <memory>

class LanguageParse;
class QAction;
class QMenu;
class QProgressDialog;
class QThread;

class EvidenceExport : public QObject
{
    Q_OBJECT
public:
    EvidenceExport(QMenu *menu, QWidget *window);
    ~EvidenceExport() override;
    void retranslate(LanguageParse *language);

    // Where playback stands: the drive of the open clip (a drive of that
    // clip alone when it belongs to none), its index (-1 for a lone clip),
    // the clip's index in it and the position in the clip, seconds. False
    // when nothing is open.
    struct Position
    {
        trip::Drive drive;
        int driveIndex = -1;
        int clip = 0;
        double second = 0.0;
    };
    using Locator = std::function<bool(Position *)>;
    void setLocator(Locator locator) { locate = std::move(locator); }
    // The dashboard's unit and the gauge's limit, from the window.
    void setUnit(dashboard::Unit unit) { shownUnit = unit; }

    // The marked stretch within clip `clip` of drive `driveIndex`, in
    // seconds into it; false when none of it lies there.
    bool markedWithin(int driveIndex, int clip, const trip::Drive &drive, double *from,
                      double *to) const;
    // The marked stretch's fixes in that drive, as (latitude, longitude).
    QVector<QPointF> markedRoute(int driveIndex, const trip::Drive &drive) const;
    bool exporting() const { return worker != nullptr; }

    // The marks, on the drive's time line (seconds); -1 where not set.
    double markIn() const { return in; }
    double markOut() const { return out; }

public slots:
    void setIn();
    void setOut();
    void clearMarks();
    void exportVideo();
    // Starts an export of the stretch with these options without asking
    // (what the dialog starts); finished() follows.
    void start(const videoexport::Stretch &stretch, const videoexport::Options &options);
    void cancel();

signals:
    void marksChanged();
    void finished(const videoexport::Result &result);

private:
    bool stretchToExport(videoexport::Stretch *stretch, trip::Drive *drive, QString *error);
    void done(const videoexport::Result &result);

    QWidget *window;
    LanguageParse *language = nullptr;
    QAction *inAction, *outAction, *clearAction, *exportAction;
    Locator locate;
    dashboard::Unit shownUnit = dashboard::Unit::Kmh;
    int markedDrive = -2; // the drive the marks belong to (-1: a lone clip)
    QString markedClip;   // the lone clip's path
    double in = -1.0, out = -1.0;
    videoexport::Options last; // the dialog's choices, kept for the next export
    QString exportingTo;
    QThread *worker = nullptr;
    QPointer<QProgressDialog> progress;
    std::shared_ptr<std::atomic<bool>> stop;
};
