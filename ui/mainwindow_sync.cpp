// MainWindow: the dashboard, slider, gauge and map, once per second of video.

#include "audiooutput.h"
#include "avplayer.h"
#include "drivelist.h"
#include "languageparse.h"
#include "mainwindow.h"
#include "maplink.h"
#include "qmeter.h"
#include "ui_mainwindow.h"
#include "videoinfoparse.h"
#include "videopreviewwidget.h"

#include <QDebug>
#include <QStackedLayout>
#include <QTime>
#include <QToolTip>
#include <QWebEnginePage>
#include <QWebEngineView>

namespace {

QString minutesSeconds(qint64 seconds)
{
    return QString::asprintf("%.2d:%.2d", int(seconds / 60), int(seconds % 60));
}

} // namespace

double MainWindow::speedFactor() const
{
    return ui->cmbSpeedUnit->currentIndex() == 1 ? 0.6213712 : 1.0;
}

void MainWindow::updateSlider(qint64)
{
    const int s = int(player->position() / 1000);
    if (s == lastSecond)
        return; // nothing is redrawn within a second
    lastSecond = s;
    ui->txtPlayTime->setText(minutesSeconds(s));
    ui->videoSlider->setValue(s);
    updateVideoInfo(s);
}

void MainWindow::updateVideoInfo(int n)
{
    if (!tripLine->isHidden())
        updateTripLine(n); // also for a clip of the drive that has no track
    const VideoInfoParse &store = *videoInfoParse;
    if (!store.isParsed) {
        ui->txtTime->display("00:00:00");
        dateLabel->clear();
        ui->txtJingdu->display("0.000000");
        ui->txtWeidu->display("0.000000");
        for (QLCDNumber *d : {ui->txtCurSpeed, ui->txtMaxSpeed, ui->txtAvgSpeed, ui->txtDistance})
            d->display("0.00");
        meter->setValue(0.0);
        return;
    }
    if (n >= store.count)
        n = store.count - 1;
    const VideoInfo *sample = store.videoInfoMap.value(n);
    if (!sample)
        return; // every key is filled by the readers; never trust it blindly
    const double factor = speedFactor();
    ui->txtTime->display(shownTime(*sample));
    // The date beside the time: the fix's own, else (NMEA logs keep dates
    // in other sentences) the day the clip was recorded, on the same clock.
    const QDateTime shown = shownDateTime(*sample);
    QDate date = QDate::fromString(sample->date, "yyyy:MM:dd").isValid() ? shown.date() : QDate();
    if (!date.isValid() && sample->valid) {
        const trip::Clip *clip = driveList->clip(player->file());
        cameraOffset(); // a video opened alone: its start worked out once
        const QDateTime start = clip ? (actionUtcTimes->isChecked() ? clip->utc : clip->start)
                                     : (actionUtcTimes->isChecked() ? loneUtc : loneStart);
        if (start.isValid() && (clip || loneOffsetVideo == player->file()))
            date = start.addSecs(n).date();
    }
    dateLabel->setText(date.isValid() ? date.toString(QStringLiteral("yyyy-MM-dd")) : QString());
    ui->txtJingdu->display(QString::number(sample->longitude, 'f', 6));
    ui->txtWeidu->display(QString::number(sample->latitude, 'f', 6));
    // Whole units on the display; the gauge gets the exact value.
    ui->txtCurSpeed->display(QString::number(double(int(sample->speed * factor)), 'f', 2));
    ui->txtMaxSpeed->display(QString::number(store.maxSpeed * factor, 'f', 2));
    const qint64 duration = player->duration();
    const double average = duration < 1
                               ? store.avgSpeed * factor
                               : store.totalDistance * 3600.0 / double(duration / 1000) * factor;
    ui->txtAvgSpeed->display(QString::number(average, 'f', 2));
    ui->txtDistance->display(QString::number(store.totalDistance * factor, 'f', 2));
    meter->setValue(sample->speed * factor);
    if (sample->valid)
        sendMapPoint("setLineNewPoint", *sample);
}

void MainWindow::videoPlayStarted()
{
    opening = Opening::None;
    if (pauseOnStart) {
        pauseOnStart = false;
        player->pause(true);
    }
    stackedLayout->setCurrentIndex(0);
    ui->cmbMapType->setEnabled(false);
    lastSecond = -1;
    playButtonSound();
    const qint64 d = player->duration() / 1000;
    ui->txtPlayTime->setText("00:00");
    ui->txtTotalTime->setText(minutesSeconds(d));
    ui->videoSlider->setRange(0, int(d));
    showMarks();
    for (QWidget *w :
         {static_cast<QWidget *>(ui->btnPlay), static_cast<QWidget *>(ui->btnStop),
          static_cast<QWidget *>(ui->btnSnap), static_cast<QWidget *>(ui->videoSlider)})
        w->setEnabled(true);
    setVolume();
    updateVideoInfo(0);
    drawGpsRoadMap();
    continuingDrive = false;
    showDriveOnMap();
    if (pendingSeek >= 0) {
        // A click on the drive's route chose this clip at this second.
        player->seek(qint64(pendingSeek) * 1000);
        pendingSeek = -1;
    }
}

void MainWindow::videoPlayStopped()
{
    if (stopAfterError) {
        stopAfterError = false;
        return;
    }
    opening = Opening::None;
    mapRedrawSecond = -1; // a seek of the video that ended
    if (media::AudioOutput *audio = player->audio())
        audio->setVolume(0.0);
    if (previewWidget && !previewWidget->isHidden())
        previewWidget->close();
    // A clip that ends inside its drive hands over to the next one with the
    // picture, dashboard and map kept as they are until it starts.
    continuingDrive = autoPlayNext && !replayRequested && nextInDrive();
    if (!continuingDrive) {
        stackedLayout->setCurrentIndex(1);
        ui->cmbMapType->setEnabled(true);
        resetVideoParam();
        sendMapCommand(maplink::defaultView());
        tripLine->hide();
        offsetLabel->hide();
        setMapDrive({}, -1);
    }
    if (previewWidget)
        previewWidget->setFile("");
    if (replayRequested) {
        replayRequested = false;
        on_btnPlay_clicked();
        return;
    }
    // Drive headers are no entries to play.
    const int next = nextPlayableRow(ui->listVideo->currentRow() + 1);
    if (autoPlayNext && next >= 0) {
        ui->listVideo->setCurrentRow(next);
        on_btnPlay_clicked();
    }
    autoPlayNext = true;
}

void MainWindow::seekBySlider(int s)
{
    if (!player->isPlaying())
        return;
    if (qint64(s + 2) * 1000 > player->duration()) {
        // Milliseconds into a slider of seconds: it pins to its end until
        // the next tick. The seek itself lands two seconds earlier.
        ui->videoSlider->setValue((s - 2) * 1000);
        s = s - 2;
    }
    if (s < 0)
        s = 0;
    player->seek(qint64(s) * 1000);
    if (!previewWidget)
        return;
    previewWidget->setTimestamp(qint64(s) * 1000);
    previewWidget->preview();
    previewWidget->setWindowFlags(previewWidget->windowFlags() | Qt::FramelessWindowHint |
                                  Qt::WindowStaysOnTopHint);
    previewWidget->resize(160, 90);
    previewWidget->show();
    if (!videoInfoParse->isParsed)
        return;
    // A drag moves the slider many times a frame: the map follows at the
    // pace the page keeps (the route drawn anew for every move stalled the
    // window for seconds on an hour-long clip).
    redrawMapAt(s);
}

void MainWindow::on_videoSlider_sliderMoved(int value)
{
    qDebug() << "on_videoSlider_sliderMoved";
    seekBySlider(value);
}

void MainWindow::on_videoSlider_sliderPressed()
{
    qDebug() << "on_videoSlider_sliderPressed";
    seekBySlider(ui->videoSlider->value());
}

void MainWindow::on_videoSlider_valueChanged(int)
{
    // The slider follows the video; only the user's moves seek.
}

void MainWindow::onTimeSliderHover(int x, int value)
{
    // Centred over the pointer, just above the slider's top edge.
    const QPoint anchor = ui->videoSlider->mapToGlobal(QPoint(x, 0));
    QToolTip::hideText();
    QToolTip::showText(anchor, QTime(0, 0, 0, 0).addMSecs(value * 1000).toString("HH:mm:ss"));
    if (!previewWidget)
        previewWidget = new media::VideoPreviewWidget;
    previewWidget->setFile(player->file());
    previewWidget->setTimestamp(qint64(value) * 1000);
    previewWidget->preview();
    previewWidget->setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    previewWidget->resize(160, 90);
    previewWidget->move(anchor - QPoint(80, 90));
    previewWidget->show();
}

void MainWindow::onTimeSliderLeave()
{
    if (!previewWidget)
        return;
    if (previewWidget->isVisible())
        previewWidget->close();
    delete previewWidget;
    previewWidget = nullptr;
}
