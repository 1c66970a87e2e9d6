#include "evidenceexport.h"

#include "exportdialog.h"
#include "languageparse.h"

#include <QAction>
#include <QDesktopServices>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QMenu>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QStandardPaths>
#include <QThread>
#include <QUrl>

EvidenceExport::EvidenceExport(QMenu *menu, QWidget *w) : QObject(w), window(w)
{
    auto add = [&](const char *name, const QKeySequence &key, void (EvidenceExport::*slot)()) {
        QAction *a = menu->addAction(QString(), this, slot);
        a->setObjectName(name);
        a->setShortcut(key);
        a->setShortcutContext(Qt::WindowShortcut);
        window->addAction(a); // the keys work while the menu is closed
        return a;
    };
    inAction = add("actionMarkIn", QKeySequence(Qt::Key_I), &EvidenceExport::setIn);
    outAction = add("actionMarkOut", QKeySequence(Qt::Key_O), &EvidenceExport::setOut);
    clearAction = add("actionClearMarks", QKeySequence(), &EvidenceExport::clearMarks);
    exportAction = add("actionExportVideo", QKeySequence(), &EvidenceExport::exportVideo);
    last.preset = QStringLiteral("balanced");
}

EvidenceExport::~EvidenceExport()
{
    if (worker) {
        *stop = true;
        worker->wait();
    }
}

void EvidenceExport::retranslate(LanguageParse *lang)
{
    language = lang;
    inAction->setText(language->get("TXT_ACT_MARK_IN"));
    outAction->setText(language->get("TXT_ACT_MARK_OUT"));
    clearAction->setText(language->get("TXT_ACT_CLEAR_MARKS"));
    exportAction->setText(language->get("TXT_ACT_EXPORT_VIDEO"));
}

namespace {

// Which marks a position belongs with: its drive, or the lone clip's path.
bool sameOwner(int markedDrive, const QString &markedClip, const EvidenceExport::Position &p)
{
    if (markedDrive != p.driveIndex)
        return false;
    return p.driveIndex >= 0 || markedClip == p.drive.clips.first().path;
}

QString minutesSeconds(double seconds)
{
    const int s = int(std::max(0.0, seconds) + 0.5);
    return QString::asprintf("%d:%02d", s / 60, s % 60);
}

} // namespace

void EvidenceExport::setIn()
{
    Position p;
    if (!locate || !locate(&p))
        return;
    if (!sameOwner(markedDrive, markedClip, p))
        out = -1.0;
    in = videoexport::clipAt(p.drive, p.clip) + p.second;
    if (out >= 0 && out <= in)
        out = -1.0;
    markedDrive = p.driveIndex;
    markedClip = p.drive.clips.first().path;
    emit marksChanged();
}

void EvidenceExport::setOut()
{
    Position p;
    if (!locate || !locate(&p))
        return;
    if (!sameOwner(markedDrive, markedClip, p))
        in = -1.0;
    out = videoexport::clipAt(p.drive, p.clip) + p.second;
    if (in >= 0 && in >= out)
        in = -1.0;
    markedDrive = p.driveIndex;
    markedClip = p.drive.clips.first().path;
    emit marksChanged();
}

void EvidenceExport::clearMarks()
{
    in = out = -1.0;
    markedDrive = -2;
    markedClip.clear();
    emit marksChanged();
}

bool EvidenceExport::markedWithin(int driveIndex, int clip, const trip::Drive &drive, double *from,
                                  double *to) const
{
    if ((in < 0 && out < 0) || markedDrive != driveIndex || clip >= drive.clips.size() ||
        (driveIndex < 0 && markedClip != drive.clips.first().path))
        return false;
    const double a = in < 0 ? 0.0 : in;
    const double b = out < 0 ? videoexport::driveSeconds(drive) : out;
    const double start = videoexport::clipAt(drive, clip);
    *from = std::max(a - start, 0.0);
    *to = std::min(b - start, double(drive.clips[clip].seconds));
    return *to > *from;
}

QVector<QPointF> EvidenceExport::markedRoute(int driveIndex, const trip::Drive &drive) const
{
    QVector<QPointF> route;
    for (int i = 0; i < drive.clips.size(); ++i) {
        double from, to;
        if (!markedWithin(driveIndex, i, drive, &from, &to))
            continue;
        for (const trip::Point &p : drive.clips[i].points)
            if (videoexport::shown(p, from, to))
                route.append(QPointF(p.sample.signedLatitude(), p.sample.signedLongitude()));
    }
    return route;
}

bool EvidenceExport::stretchToExport(videoexport::Stretch *stretch, trip::Drive *drive,
                                     QString *error)
{
    Position p;
    if (!locate || !locate(&p)) {
        *error = language->get("TXT_VIDEO_EXPORT_NOTHING");
        return false;
    }
    *drive = p.drive;
    double a, b;
    if ((in >= 0 || out >= 0) && sameOwner(markedDrive, markedClip, p)) {
        a = in < 0 ? 0.0 : in;
        b = out < 0 ? videoexport::driveSeconds(p.drive) : out;
    } else { // no marks: the clip that plays
        a = videoexport::clipAt(p.drive, p.clip);
        b = a + p.drive.clips[p.clip].seconds;
    }
    return videoexport::stretchOf(p.drive, a, b, *stretch, error);
}

void EvidenceExport::exportVideo()
{
    if (worker)
        return;
    videoexport::Stretch stretch;
    trip::Drive drive;
    QString error;
    if (!stretchToExport(&stretch, &drive, &error)) {
        QMessageBox::warning(window, language->get("TXT_EXPORT_TITLE"),
                             language->get("TXT_VIDEO_EXPORT_FAILED").arg(error));
        return;
    }
    // Named by when the stretch begins, on the clock the picture shows.
    const QDateTime begins = drive.start().addMSecs(qint64(stretch.from * 1000));
    QString folder = last.output.isEmpty() ? QString() : QFileInfo(last.output).absolutePath();
    if (folder.isEmpty())
        folder = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    const QString suggested =
        folder + "/" + (begins.isValid() ? begins.toString("yyyy-MM-dd_HH-mm-ss") : "export") +
        ".mp4";
    const QString what =
        QStringLiteral("%1 – %2 (%3)")
            .arg(dashboard::dateTimeText(begins),
                 begins.addMSecs(qint64(stretch.seconds() * 1000)).toString("HH:mm:ss"),
                 minutesSeconds(stretch.seconds()));
    ExportDialog dialog(language, what, suggested, window);
    dialog.setOptions(last);
    if (dialog.exec() != QDialog::Accepted)
        return;
    videoexport::Options options = dialog.options();
    last = options;
    options.replace =
        QFileInfo::exists(options.output) &&
        QMessageBox::question(
            window, language->get("TXT_EXPORT_TITLE"),
            language->get("TXT_VIDEO_EXPORT_REPLACE").arg(QFileInfo(options.output).fileName())) ==
            QMessageBox::Yes;
    if (QFileInfo::exists(options.output) && !options.replace)
        return;
    start(stretch, options);
}

void EvidenceExport::start(const videoexport::Stretch &stretch, const videoexport::Options &given)
{
    if (worker)
        return;
    videoexport::Options options = given;
    exportingTo = options.output;
    options.panel.unit = shownUnit;
    options.panel.noFix = language ? language->get("TXT_NO_GPS") : QStringLiteral("No GPS");
    stop = std::make_shared<std::atomic<bool>>(false);

    progress = new QProgressDialog(window);
    progress->setObjectName("exportProgress");
    progress->setAttribute(Qt::WA_DeleteOnClose);
    progress->setWindowTitle(language ? language->get("TXT_EXPORT_TITLE") : QString());
    progress->setLabelText(language ? language->get("TXT_VIDEO_EXPORT_PROGRESS").arg("…")
                                    : QString());
    progress->setCancelButtonText(language ? language->get("TXT_TIP_NO") : QString());
    progress->setRange(0, 1000);
    progress->setMinimumDuration(0);
    progress->setAutoClose(false);
    progress->setAutoReset(false);
    connect(progress, &QProgressDialog::canceled, this, &EvidenceExport::cancel);
    progress->open();

    const QString label = language ? language->get("TXT_VIDEO_EXPORT_PROGRESS") : QString("%1");
    auto flag = stop;
    QPointer<QProgressDialog> shown = progress;
    worker = QThread::create([this, stretch, options, flag, shown, label] {
        QElapsedTimer clock, lastShown;
        clock.start();
        lastShown.start();
        const videoexport::Result r =
            videoexport::exportStretch(stretch, options, [&](double done, double total) {
                if (lastShown.elapsed() >= 200 && done > 0 && total > 0) {
                    lastShown.restart();
                    const double left = (total - done) * clock.elapsed() / 1000.0 / done;
                    const int value = int(1000 * done / total);
                    QMetaObject::invokeMethod(this, [shown, value, left, label] {
                        if (shown && !shown->wasCanceled()) {
                            shown->setValue(value);
                            shown->setLabelText(label.arg(minutesSeconds(left)));
                        }
                    });
                }
                return !*flag;
            });
        QMetaObject::invokeMethod(this, [this, r] { done(r); });
    });
    worker->start();
}

void EvidenceExport::cancel()
{
    if (stop)
        *stop = true;
    if (progress)
        progress->close();
}

void EvidenceExport::done(const videoexport::Result &result)
{
    if (worker) {
        worker->wait();
        delete worker;
        worker = nullptr;
    }
    delete progress; // now, not later: a new export's window may follow at once
    if (result.ok) {
        auto *box = new QMessageBox(
            QMessageBox::Information, language->get("TXT_EXPORT_TITLE"),
            language->get("TXT_VIDEO_EXPORT_DONE").arg(QDir::toNativeSeparators(exportingTo)),
            QMessageBox::Close, window);
        box->setObjectName("exportDone");
        box->setAttribute(Qt::WA_DeleteOnClose);
        QPushButton *open =
            box->addButton(language->get("TXT_VIDEO_EXPORT_OPEN_FOLDER"), QMessageBox::ActionRole);
        const QString folder = QFileInfo(exportingTo).absolutePath();
        connect(open, &QPushButton::clicked, this,
                [folder] { QDesktopServices::openUrl(QUrl::fromLocalFile(folder)); });
        box->open();
    } else if (!result.cancelled) {
        auto *box = new QMessageBox(QMessageBox::Warning, language->get("TXT_EXPORT_TITLE"),
                                    language->get("TXT_VIDEO_EXPORT_FAILED").arg(result.error),
                                    QMessageBox::Close, window);
        box->setObjectName("exportFailed");
        box->setAttribute(Qt::WA_DeleteOnClose);
        box->open();
    }
    emit finished(result);
}
