// MainWindow: choosing videos, starting them after their track is read,
// play/pause/stop, volume, snapshots.

#include "audiooutput.h"
#include "avplayer.h"
#include "cameras.h"
#include "config.h"
#include "drivelist.h"
#include "framegrab.h"
#include "languageparse.h"
#include "loadingdialog.h"
#include "mainwindow.h"
#include "parsefilethread.h"
#include "qmeter.h"
#include "ui_mainwindow.h"
#include "videocapture.h"
#include "videoinfoparse.h"

#include <QDateTime>
#include <QDebug>
#include <QDesktopServices>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QMimeData>
#include <QSound>
#include <QStandardPaths>
#include <QTimer>
#include <QUrl>
#include <algorithm>
#include <cstdlib>

void MainWindow::on_btnOpenFile_clicked()
{
    qDebug() << "on_btnOpenFile_clicked";
    QFileDialog dialog(this);
    qDebug() << mediaDir;
    // With no folder of its own yet (or one that is gone), the dialog would
    // open at the list of drives: the user's Videos folder, or home, is
    // where videos are.
    QString start = mediaDir;
    if (start.isEmpty() || !QDir(start).exists()) {
        start = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
        if (start.isEmpty() || !QDir(start).exists())
            start = QDir::homePath();
    }
    dialog.setDirectory(start);
    dialog.setFileMode(QFileDialog::ExistingFiles);
    dialog.setNameFilters({"Video(*.MP4 *.MOV *.AVI)"});
    if (dialog.exec() != QDialog::Accepted)
        return;
    mediaDir = dialog.directory().absolutePath();
    driveList->clear();
    ui->listVideo->clear();
    ui->listVideo->addItems(dialog.selectedFiles());
    ui->listVideo->setCurrentRow(0);
    startSelected();
    saveParam();
}

bool MainWindow::videoOpen() const
{
    return player->isPlaying() || player->isPaused();
}

void MainWindow::startSelected()
{
    if (videoOpen() || opening == Opening::Starting) {
        replayRequested = true; // the stop handler starts the selection
        player->stop();
    } else if (opening == Opening::Parsing) {
        afterParse = AfterParse::OpenSelected; // once the running parse has let go of the store
    } else {
        on_btnPlay_clicked();
    }
}

void MainWindow::dragEnterEvent(QDragEnterEvent *event)
{
    qDebug() << "dragEnterEvent";
    if (event->mimeData()->hasFormat("text/uri-list"))
        event->acceptProposedAction();
    else
        event->ignore();
}

void MainWindow::dropEvent(QDropEvent *event)
{
    qDebug() << "dropEvent";
    QStringList paths;
    for (const QUrl &url : event->mimeData()->urls())
        paths << url.toLocalFile();
    openPaths(paths);
}

void MainWindow::openPaths(const QStringList &paths)
{
    if (paths.isEmpty())
        return;
    // A folder among them: its drives, with the files given beside it.
    const bool folder = std::any_of(paths.cbegin(), paths.cend(),
                                    [](const QString &p) { return QFileInfo(p).isDir(); });
    if (folder) {
        openDrives(paths);
        return;
    }
    driveList->clear();
    ui->listVideo->clear();
    for (const QString &path : paths) {
        for (const char *ext : {".MP4", ".MOV", ".AVI"})
            if (path.endsWith(ext, Qt::CaseInsensitive)) {
                ui->listVideo->addItem(path);
                break;
            }
    }
    if (ui->listVideo->count() == 0)
        return; // nothing playable: the list stays empty
    ui->listVideo->setCurrentRow(0);
    startSelected();
}

void MainWindow::on_btnPlay_clicked()
{
    qDebug() << "on_btnPlay_clicked";
    if (player->isPaused()) {
        player->pause(false);
        ui->btnPlay->setText(language->get("TXT_BTN_PAUSE"));
    } else if (player->isPlaying()) {
        player->pause(true);
        ui->btnPlay->setText(language->get("TXT_BTN_START_PLAY"));
    } else if (opening == Opening::Starting) {
        // The button reads "Pause" from the end of the parse: it pauses (or
        // not) the video whose first frame is on its way.
        pauseOnStart = !pauseOnStart;
        ui->btnPlay->setText(language->get(pauseOnStart ? "TXT_BTN_START_PLAY" : "TXT_BTN_PAUSE"));
    } else if (opening == Opening::Parsing) {
        // Already being opened; another entry chosen since replaces it.
        const QListWidgetItem *item = ui->listVideo->currentItem();
        if (item && item->text() != openingPath)
            afterParse = AfterParse::OpenSelected;
    } else if (const QListWidgetItem *item = ui->listVideo->currentItem()) {
        openVideo(item->text());
    }
}

void MainWindow::openVideo(const QString &path)
{
    loadingDialog->show();
    opening = Opening::Parsing;
    afterParse = AfterParse::Play;
    openingPath = path;
    pauseOnStart = false;
    parseThread = new ParseFileThread(path, videoInfoParse);
    connect(parseThread, &QThread::finished, parseThread, &QObject::deleteLater);
    parseThread->start();
    parseTimer->setInterval(200);
    parseTimer->start();
}

void MainWindow::videoInfoParseEnd()
{
    // A thread gone already has finished; one still here tells by its flag.
    if (parseThread && !parseThread->parseFinished())
        return;
    parseTimer->stop();
    opening = Opening::None;
    if (afterParse == AfterParse::OpenSelected) {
        const QListWidgetItem *item = ui->listVideo->currentItem();
        if (!item) {
            loadingDialog->hide(); // the newer choice left no entry to open
            return;
        }
        if (item->text() != openingPath) {
            openVideo(item->text());
            return;
        }
    }
    loadingDialog->hide();
    // The file that was parsed, whatever the selection shows by now.
    ui->btnPlay->setText(language->get("TXT_BTN_PAUSE"));
    opening = Opening::Starting;
    // With the other cameras of its moment, where a drive has them.
    const DriveList::Place at = driveList->place(openingPath);
    player->play(openingPath,
                 cameras->channelsFor(at.valid() ? &driveList->drives()[at.drive] : nullptr,
                                      driveList->clip(openingPath), openingPath));
}

void MainWindow::on_btnStop_clicked()
{
    qDebug() << "on_btnStop_clicked";
    playButtonSound();
    autoPlayNext = false; // a stop by the user does not go on to the next video
    if (videoOpen() || opening == Opening::Starting)
        player->stop();
}

void MainWindow::playButtonSound()
{
    // Kept as a hook for a click sound; the buttons play none.
}

void MainWindow::on_btnFullScreen_clicked()
{
    qDebug() << "on_btnFullScreen_clicked";
    playButtonSound();
    if (isFullScreen()) {
        showNormal();
        ui->btnFullScreen->setText(language->get("TXT_BTN_FULL_SCREEN"));
    } else {
        showFullScreen();
        ui->btnFullScreen->setText(language->get("TXT_BTN_NORMAL_SCREEN"));
    }
}

void MainWindow::setVolume()
{
    const double step = static_cast<double>(0.04f); // 0.03999999910593033
    media::AudioOutput *audio = player ? player->audio() : nullptr;
    const double target = ui->audioSlider->value() * step;
    if (!audio)
        return;
    // Within two slider units of what is set: leave it.
    const int current = int(audio->volume() / step);
    if (std::abs(current - ui->audioSlider->value()) < int(0.1 / step))
        return;
    audio->setVolume(target);
}

void MainWindow::on_audioSlider_sliderMoved(int)
{
    qDebug() << "on_audioSlider_sliderMoved";
    setVolume();
}

void MainWindow::on_audioSlider_sliderPressed()
{
    qDebug() << "on_audioSlider_sliderPressed";
    setVolume();
}

void MainWindow::on_listVideo_currentRowChanged(int)
{
    // Selecting an entry does not start it; a double-click does.
}

void MainWindow::on_listVideo_itemDoubleClicked(QListWidgetItem *)
{
    qDebug() << "on_listVideo_itemDoubleClicked";
    startSelected();
}

QString MainWindow::checkPhotoDir()
{
    const QString dir = captureDir + "/" + Config::customer();
    if (QDir(dir).exists() || QDir().mkdir(dir))
        return dir;
    return captureDir;
}

void MainWindow::on_btnSnap_clicked()
{
    qDebug() << "on_btnSnap_clicked";
    if (!player->isPlaying())
        return;
    QSound::play(Config::getInstance()->soundDir + "/beep_take_photo.wav");
    media::VideoCapture *capture = player->videoCapture();
    capture->setCaptureDir(checkPhotoDir());
    capture->setCaptureName(QDateTime::currentDateTime().toString("yyyyMMddhhmmss"));
    // A moment of several cameras: the main camera's own frame, decoded at
    // its full size, not the composed picture with the others over it. A
    // decode from the key frame before: a fraction of a second, once.
    const media::ChannelSet &set = player->channels();
    if (set.files.size() > 1 && !set.files.value(set.main).isEmpty()) {
        const QString file = set.files[set.main];
        const double at = player->position() / 1000.0;
        capture->setFrameSource([file, at] { return videoexport::frameAt(file, at); });
    } else {
        capture->setFrameSource({});
    }
    capture->capture();
}

void MainWindow::updatePreview(const QImage &image)
{
    ui->photoPreview->setPixmap(
        QPixmap::fromImage(image).scaled(ui->photoPreview->size(), Qt::IgnoreAspectRatio));
}

void MainWindow::onCaptureSaved(const QString &path)
{
    setWindowTitle(tr("saved to: ") + path);
}

void MainWindow::onCaptureError()
{
    QMessageBox::warning(nullptr, "QtAV video capture", tr("Failed to capture video frame"));
}

void MainWindow::on_photoPreview_Clicked()
{
    qDebug() << "on_photoPreview_Clicked";
    QDesktopServices::openUrl(QUrl::fromLocalFile(checkPhotoDir()));
}

void MainWindow::handleError(const media::AVError &error)
{
    qDebug() << "player error:" << error.string();
    videoPlayStopped();
    // The player's own stop comes next; this one was it.
    stopAfterError = true;
}

void MainWindow::changeChannel(int layout)
{
    media::AudioOutput *audio = player->audio();
    if (!audio) {
        qWarning("No audio output!");
        return;
    }
    if (!audio->close()) {
        qWarning("close audio failed");
        return;
    }
    media::AudioFormat format = audio->audioFormat();
    format.setChannelLayout(static_cast<media::AudioFormat::ChannelLayout>(layout));
    audio->setAudioFormat(format);
    if (!audio->open())
        qWarning("open audio failed");
}
