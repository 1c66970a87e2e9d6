// MainWindow: drives. A folder's clips are read in the background, listed
// in recording order under a header a drive, and played one after another
// with the whole drive on the map and a line of its figures.

#include "avplayer.h"
#include "cameraclock.h"
#include "drivelist.h"
#include "embedded/telemetry.h"
#include "languageparse.h"
#include "mainwindow.h"
#include "recordingkinds.h"
#include "ui_mainwindow.h"
#include "videoinfoparse.h"

#include <QDebug>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QProgressDialog>
#include <QStandardPaths>
#include <QTime>
#include <cmath>

void MainWindow::setUpDriveMenu()
{
    driveList = new DriveList(this);
    connect(driveList, &DriveList::finished, this, &MainWindow::onDrivesRead);
    connect(this, &MainWindow::mapClicked, this, &MainWindow::onMapClick);
    connect(driveList, &DriveList::progress, this, [this](int done, int total) {
        if (!driveProgress)
            return;
        driveProgress->setMaximum(total);
        driveProgress->setValue(done);
    });

    driveMenu = menuBar()->addMenu(QString());
    actionOpenFolder = driveMenu->addAction(QString(), this, &MainWindow::openFolder);
    actionOpenFolder->setObjectName("actionOpenFolder");
    actionUtcTimes = driveMenu->addAction(QString());
    actionUtcTimes->setObjectName("actionUtcTimes");
    actionUtcTimes->setCheckable(true);
    connect(actionUtcTimes, &QAction::triggered, this, [this] {
        saveParam();
        refillDriveList();
        if (videoOpen())
            updateVideoInfo(int(player->position() / 1000));
    });

    tripLine = new QLabel(centralWidget()); // placed by resetUI, as the widgets around it
    tripLine->setObjectName("txtTrip");
    tripLine->setAlignment(Qt::AlignCenter);
    tripLine->hide();
}

void MainWindow::retranslateDriveTexts()
{
    if (!driveMenu)
        return;
    driveMenu->setTitle(language->get("TXT_MENU_DRIVE"));
    actionOpenFolder->setText(language->get("TXT_ACT_OPEN_FOLDER"));
    actionUtcTimes->setText(language->get("TXT_ACT_UTC_TIMES"));
    if (driveProgress)
        driveProgress->setLabelText(language->get("TXT_READING_DRIVES"));
}

void MainWindow::openFolder()
{
    QString start = mediaDir;
    if (start.isEmpty() || !QDir(start).exists())
        start = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    if (start.isEmpty() || !QDir(start).exists())
        start = QDir::homePath();
    const QString folder =
        QFileDialog::getExistingDirectory(this, language->get("TXT_ACT_OPEN_FOLDER"), start);
    if (folder.isEmpty())
        return;
    mediaDir = folder;
    saveParam();
    openDrives({folder});
}

void MainWindow::openDrives(const QStringList &paths)
{
    driveList->read(paths, videoInfoParse->settingsDir);
    // Not modal: the window plays on while the tracks are read.
    if (!driveProgress) {
        driveProgress = new QProgressDialog(this);
        driveProgress->setObjectName("driveProgress");
        driveProgress->setWindowModality(Qt::NonModal);
        driveProgress->setMinimumDuration(0);
        driveProgress->setAutoClose(false);
        driveProgress->setAutoReset(false);
        connect(driveProgress, &QProgressDialog::canceled, driveList, &DriveList::cancel);
    }
    driveProgress->setLabelText(language->get("TXT_READING_DRIVES"));
    driveProgress->setCancelButtonText(language->get("TXT_TIP_NO"));
    driveProgress->setRange(0, 0);
    driveProgress->setValue(0);
    driveProgress->show();
}

void MainWindow::onDrivesRead(bool cancelled)
{
    if (driveProgress)
        driveProgress->hide();
    if (cancelled || driveList->drives().isEmpty())
        return;
    refillDriveList();
    const int first = nextPlayableRow(0);
    if (first < 0)
        return;
    ui->listVideo->setCurrentRow(first);
    startSelected();
}

int MainWindow::nextPlayableRow(int from) const
{
    for (int row = from; row < ui->listVideo->count(); ++row)
        if (!DriveList::isHeader(ui->listVideo->item(row)) && !ui->listVideo->item(row)->isHidden())
            return row;
    return -1;
}

bool MainWindow::nextInDrive() const
{
    const QListWidgetItem *current = ui->listVideo->currentItem();
    const QListWidgetItem *next = ui->listVideo->item(ui->listVideo->currentRow() + 1);
    if (!current || !next || DriveList::isHeader(next))
        return false;
    const DriveList::Place a = driveList->place(current->text());
    const DriveList::Place b = driveList->place(next->text());
    return a.valid() && b.valid() && a.drive == b.drive && b.clip == a.clip + 1;
}

void MainWindow::showDriveOnMap()
{
    const DriveList::Place at = driveList->place(player->file());
    tripLine->setVisible(at.valid());
    showOffset();
    resetUI(width(), layoutHeight());
    if (!at.valid()) {
        setMapDrive({}, -1); // a clip of no drive: none on the map
        return;
    }
    updateTripLine(int(player->position() / 1000));
    setMapDrive(driveList->routes(at.drive), at.clip);
}

void MainWindow::updateTripLine(int second)
{
    const DriveList::Place at = driveList->place(player->file());
    if (!at.valid()) {
        tripLine->hide();
        return;
    }
    const trip::Drive &drive = driveList->drives()[at.drive];
    auto clock = [](qint64 s) {
        return QStringLiteral("%1:%2:%3")
            .arg(s / 3600)
            .arg(s / 60 % 60, 2, 10, QLatin1Char('0'))
            .arg(s % 60, 2, 10, QLatin1Char('0'));
    };
    const double factor = speedFactor();
    const QString unit = factor == 1.0 ? "km" : "mi";
    const QString speedUnit = factor == 1.0 ? "km/h" : "mph";
    // "Clip %1 of %2 · %3 of %4 · %5 of %6 %7 · max %8 %9"
    tripLine->setText(language->get("TXT_TRIP_LINE")
                          .arg(at.clip + 1)
                          .arg(drive.clips.size())
                          .arg(clock(driveList->secondsTo(at, second)),
                               clock(drive.start().secsTo(drive.end())),
                               QString::number(driveList->distanceTo(at, second) * factor, 'f', 1),
                               QString::number(drive.distanceKm() * factor, 'f', 1), unit,
                               QString::number(drive.maxSpeed() * factor, 'f', 0), speedUnit));
}

void MainWindow::onMapClick(double latitude, double longitude)
{
    const DriveList::Place at = driveList->place(player->file());
    if (!at.valid()) {
        // A single clip: its own route.
        if (!videoOpen() || !videoInfoParse->isParsed)
            return;
        int best = -1;
        double bestMetres = 0;
        for (auto it = videoInfoParse->videoInfoMap.cbegin();
             it != videoInfoParse->videoInfoMap.cend(); ++it) {
            if (!it.value()->valid)
                continue;
            const double m = embedded::metresBetween(
                latitude, longitude, it.value()->signedLatitude(), it.value()->signedLongitude());
            if (best < 0 || m < bestMetres) {
                best = it.key();
                bestMetres = m;
            }
        }
        if (best >= 0)
            player->seek(qint64(best) * 1000);
        return;
    }
    const DriveList::Nearest n = driveList->nearest(at.drive, latitude, longitude);
    if (n.clip < 0)
        return;
    if (n.clip == at.clip) {
        player->seek(qint64(n.second) * 1000);
        return;
    }
    const QString path = driveList->drives()[at.drive].clips[n.clip].path;
    for (int row = 0; row < ui->listVideo->count(); ++row)
        if (ui->listVideo->item(row)->text() == path &&
            !DriveList::isHeader(ui->listVideo->item(row))) {
            pendingSeek = n.second;
            ui->listVideo->setCurrentRow(row);
            startSelected();
            return;
        }
}

void MainWindow::refillDriveList()
{
    if (driveList->drives().isEmpty())
        return;
    const int row = ui->listVideo->currentRow();
    ui->listVideo->blockSignals(true); // the same rows again: no new choice
    driveList->fill(ui->listVideo, speedFactor(), speedFactor() == 1.0 ? "km" : "mi",
                    actionUtcTimes->isChecked(), language->get("TXT_ZONE_ASSUMED"));
    recordingKinds->apply(ui->listVideo);
    ui->listVideo->setCurrentRow(row);
    ui->listVideo->blockSignals(false);
}

int MainWindow::cameraOffset() const
{
    const QString video = currentVideo();
    const trip::Clip *clip = driveList->clip(video);
    if (clip && clip->utc.isValid() && clip->start.isValid())
        return int(clip->utc.secsTo(clip->start));
    // A video opened alone: its name's time against its first dated fix
    // tells the camera's offset, as a card's clips do; else the machine's
    // time zone. Worked out once a video.
    if (video != loneOffsetVideo && videoInfoParse->isParsed) {
        loneOffsetVideo = video;
        trip::Clip alone;
        alone.path = video;
        alone.local = trip::timeFromName(QFileInfo(video).fileName());
        const bool trackOnUtc = videoInfoParse->clock != QLatin1String("local") &&
                                videoInfoParse->clock != QLatin1String("camera");
        for (auto i = videoInfoParse->videoInfoMap.cbegin();
             trackOnUtc && i != videoInfoParse->videoInfoMap.cend(); ++i) {
            QDate date = QDate::fromString(i.value()->date, QStringLiteral("yyyy:MM:dd"));
            const QTime time = QTime::fromString(i.value()->time, QStringLiteral("hh:mm:ss"));
            if (!i.value()->valid || !time.isValid())
                continue;
            // A fix without its date (NMEA lines other than RMC): the
            // name's day, or the one either side, whichever lies nearest.
            if (!date.isValid() && alone.local.isValid()) {
                date = alone.local.date();
                for (int day : {-1, 1})
                    if (std::abs(QDateTime(date.addDays(day), time, Qt::UTC).secsTo(alone.local)) <
                        std::abs(QDateTime(date, time, Qt::UTC).secsTo(alone.local)))
                        date = date.addDays(day);
            }
            if (date.isValid()) {
                alone.utc = QDateTime(date, time, Qt::UTC).addSecs(-i.key());
                break;
            }
        }
        QVector<trip::Clip> one{alone};
        trip::placeOnClock(one, trip::cameraClock(one));
        loneOffset = one[0].utc.isValid() && one[0].start.isValid()
                         ? int(one[0].utc.secsTo(one[0].start))
                         : 0;
        loneStart = one[0].start;
        loneUtc = one[0].utc;
    }
    return video == loneOffsetVideo ? loneOffset : 0;
}

QString MainWindow::shownTime(const VideoInfo &sample) const
{
    // Deliberately not the track's own clock: GPS gives UTC while the
    // picture, the file names and the drive list read the camera's clock,
    // so the dashboard follows the camera's ("Times in UTC" shows UTC).
    if (!sample.valid)
        return sample.time;
    const QDateTime shown = shownDateTime(sample);
    return shown.isValid() ? shown.toString(QStringLiteral("hh:mm:ss")) : sample.time;
}

QDateTime MainWindow::shownDateTime(const VideoInfo &sample) const
{
    if (!sample.valid)
        return QDateTime();
    const bool trackOnCameraClock = videoInfoParse->clock == QLatin1String("local") ||
                                    videoInfoParse->clock == QLatin1String("camera");
    const bool utc = actionUtcTimes->isChecked();
    const int shift = utc == trackOnCameraClock ? (utc ? -cameraOffset() : cameraOffset()) : 0;
    const QTime time = QTime::fromString(sample.time, QStringLiteral("hh:mm:ss"));
    QDate date = QDate::fromString(sample.date, QStringLiteral("yyyy:MM:dd"));
    if (!time.isValid())
        return QDateTime();
    if (!date.isValid()) // a source without dates: the time alone, on a day of no account
        date = QDate(2000, 1, 1);
    return QDateTime(date, time, Qt::UTC).addSecs(shift);
}
