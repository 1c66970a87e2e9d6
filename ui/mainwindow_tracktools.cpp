// MainWindow: the track against the picture (the time offset), tracks
// imported from other devices, and the track exported, for the clip that
// plays or its whole drive. Per-video settings live in the user's settings
// folder, never beside the video.

#include "avplayer.h"
#include "config.h"
#include "drivelist.h"
#include "exporters.h"
#include "languageparse.h"
#include "mainwindow.h"
#include "ui_mainwindow.h"
#include "videoinfoparse.h"
#include "videosettings.h"

#include <QCheckBox>
#include <QDebug>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QSaveFile>
#include <QShortcut>
#include <QSpinBox>
#include <QVBoxLayout>
#include <sstream>

void MainWindow::setUpTrackTools()
{
    videoSettings = std::make_unique<VideoSettings>(Config::getCustomerDir() + "/videos");
    videoInfoParse->settingsDir = videoSettings->folder();

    actionImport = driveMenu->addAction(QString(), this, &MainWindow::importTrack);
    actionImport->setObjectName("actionImportTrack");
    actionExport = driveMenu->addAction(QString(), this, &MainWindow::exportTrack);
    actionExport->setObjectName("actionExportTrack");
    actionOffset = driveMenu->addAction(QString(), this, &MainWindow::editOffset);
    actionOffset->setObjectName("actionTimeOffset");
    actionRemoveImport = driveMenu->addAction(QString(), this, &MainWindow::removeImportedTrack);
    actionRemoveImport->setObjectName("actionRemoveImportedTrack");
    driveMenu->addSeparator();
    actionTrackSource = driveMenu->addAction(QString());
    actionTrackSource->setObjectName("actionTrackSource");
    actionTrackSource->setEnabled(false); // a line to read, not to choose
    connect(driveMenu, &QMenu::aboutToShow, this, &MainWindow::updateTrackSource);
    connect(new QShortcut(QKeySequence(Qt::Key_BracketLeft), this), &QShortcut::activated, this,
            [this] { stepOffset(-1); });
    connect(new QShortcut(QKeySequence(Qt::Key_BracketRight), this), &QShortcut::activated, this,
            [this] { stepOffset(1); });

    offsetLabel = new QLabel(centralWidget()); // placed by resetUI, beside the time
    offsetLabel->setObjectName("txtOffset");
    offsetLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    offsetLabel->hide();
    dateLabel = new QLabel(centralWidget()); // placed by resetUI, as the offset
    dateLabel->setObjectName("txtDate");
    dateLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
}

void MainWindow::retranslateTrackTools()
{
    if (!actionImport)
        return;
    actionImport->setText(language->get("TXT_ACT_IMPORT"));
    actionExport->setText(language->get("TXT_ACT_EXPORT"));
    actionOffset->setText(language->get("TXT_ACT_OFFSET"));
    actionRemoveImport->setText(language->get("TXT_ACT_REMOVE_IMPORT"));
    updateTrackSource();
}

QString MainWindow::trackSourceText() const
{
    const QString video = currentVideo();
    if (video.isEmpty() || !videoOpen() || !videoInfoParse->isParsed ||
        videoInfoParse->source.isEmpty())
        return language->get("TXT_TRACK_NONE");
    const QString source = videoInfoParse->source;
    const QString base = QFileInfo(video).completeBaseName();
    if (source == QLatin1String("import"))
        return language->get("TXT_TRACK_IMPORTED")
            .arg(QFileInfo(videoSettings->importedTrackOrigin(video)).fileName());
    const struct
    {
        const char *source;
        const char *suffix;
    } sideFiles[] = {{"info", ".info"}, {"nmea", ".TXT"}, {"map", ".map"}, {"gpx", ".GPX"}};
    for (const auto &f : sideFiles)
        if (source == QLatin1String(f.source))
            return language->get("TXT_TRACK_FILE").arg(base + f.suffix);
    return language->get("TXT_TRACK_CAMERA").arg(source); // inside the video, in its layout
}

void MainWindow::updateTrackSource()
{
    if (!actionTrackSource || !language)
        return;
    actionTrackSource->setText(trackSourceText());
    const QString video = currentVideo();
    actionRemoveImport->setEnabled(!video.isEmpty() && videoSettings->hasImportedTrack(video));
}

void MainWindow::removeImportedTrack()
{
    const QString video = currentVideo();
    if (video.isEmpty() || !videoSettings->clearImportedTrack(video))
        return;
    applyTrackSettings(0);
    updateTrackSource();
}

QString MainWindow::currentVideo() const
{
    if (videoOpen() || opening != Opening::None)
        return player->file().isEmpty() ? openingPath : player->file();
    const QListWidgetItem *item = ui->listVideo->currentItem();
    return item && !DriveList::isHeader(item) ? item->text() : QString();
}

QStringList MainWindow::scopeVideos(const QString &title)
{
    const QString video = currentVideo();
    if (video.isEmpty())
        return {};
    const DriveList::Place at = driveList->place(video);
    if (!at.valid() || driveList->drives()[at.drive].clips.size() < 2)
        return {video};
    QMessageBox ask(QMessageBox::Question, title, title, QMessageBox::Cancel, this);
    QPushButton *clip = ask.addButton(language->get("TXT_SCOPE_CLIP"), QMessageBox::AcceptRole);
    QPushButton *drive = ask.addButton(language->get("TXT_SCOPE_DRIVE"), QMessageBox::AcceptRole);
    ask.setDefaultButton(clip);
    ask.exec();
    if (ask.clickedButton() == clip)
        return {video};
    if (ask.clickedButton() != drive)
        return {};
    QStringList all;
    for (const trip::Clip &c : driveList->drives()[at.drive].clips)
        all << c.path;
    return all;
}

void MainWindow::showOffset()
{
    const QString video = currentVideo();
    const int seconds = video.isEmpty() ? 0 : videoSettings->offset(video);
    offsetLabel->setText(
        seconds == 0
            ? QString()
            : QStringLiteral("%1%2 s").arg(seconds > 0 ? "+" : "−").arg(std::abs(seconds)));
    offsetLabel->setVisible(seconds != 0 && videoOpen());
}

void MainWindow::applyTrackSettings(int offsetChange)
{
    const QString video = currentVideo();
    driveList->refreshClip(video, videoSettings->folder());
    showOffset();
    if (!videoOpen() || opening != Opening::None)
        return; // read as it opens
    const int second = int(player->position() / 1000);
    // Read again beside the store the window shows, then taken over: no
    // parse runs while a video is open, so nothing else touches the store.
    VideoInfoParse fresh;
    fresh.settingsDir = videoInfoParse->settingsDir;
    fresh.ffmpegPath = videoInfoParse->ffmpegPath;
    if (fresh.parseFile(video) < 0 && offsetChange != 0) {
        videoInfoParse->shiftSamples(offsetChange); // no track read now: shift what is shown
    } else {
        videoInfoParse->videoInfoMap.swap(fresh.videoInfoMap);
        videoInfoParse->maxSpeed = fresh.maxSpeed;
        videoInfoParse->avgSpeed = fresh.avgSpeed;
        videoInfoParse->totalDistance = fresh.totalDistance;
        videoInfoParse->isParsed = fresh.isParsed;
        videoInfoParse->count = fresh.count;
        videoInfoParse->source = fresh.source;
        videoInfoParse->clock = fresh.clock;
    }
    updateVideoInfo(second);
    showDriveOnMap();
    redrawMapAt(second);
}

void MainWindow::stepOffset(int delta)
{
    if (!videoOpen())
        return;
    const QString video = currentVideo();
    const int target = videoSettings->offset(video) + delta;
    if (!videoSettings->setOffset(video, target))
        return;
    applyTrackSettings(delta);
}

void MainWindow::editOffset()
{
    const QString video = currentVideo();
    if (video.isEmpty())
        return;
    QDialog dialog(this);
    dialog.setObjectName("offsetDialog");
    dialog.setWindowTitle(language->get("TXT_ACT_OFFSET").remove(QChar(0x2026)));
    auto *layout = new QVBoxLayout(&dialog);
    layout->addWidget(new QLabel(language->get("TXT_OFFSET_TEXT"), &dialog));
    auto *seconds = new QSpinBox(&dialog);
    seconds->setObjectName("offsetSeconds");
    seconds->setRange(-VideoSettings::maxOffset, VideoSettings::maxOffset);
    seconds->setSuffix(" s");
    seconds->setValue(videoSettings->offset(video));
    layout->addWidget(seconds);
    const DriveList::Place at = driveList->place(video);
    auto *wholeDrive = new QCheckBox(language->get("TXT_OFFSET_DRIVE"), &dialog);
    wholeDrive->setObjectName("offsetWholeDrive");
    const bool driveOffered = at.valid() && driveList->drives()[at.drive].clips.size() > 1;
    wholeDrive->setVisible(driveOffered);
    layout->addWidget(wholeDrive);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    layout->addWidget(buttons);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const int before = videoSettings->offset(video);
    QStringList videos{video};
    // (Asked of the offer, not of the box: a closed dialog's boxes are all
    // hidden.)
    if (driveOffered && wholeDrive->isChecked()) {
        videos.clear();
        for (const trip::Clip &c : driveList->drives()[at.drive].clips)
            videos << c.path;
    }
    for (const QString &v : qAsConst(videos)) {
        videoSettings->setOffset(v, seconds->value());
        if (v != video)
            driveList->refreshClip(v, videoSettings->folder());
    }
    applyTrackSettings(videoSettings->offset(video) - before);
}

void MainWindow::importTrack()
{
    const QStringList videos = scopeVideos(language->get("TXT_ACT_IMPORT").remove(QChar(0x2026)));
    if (videos.isEmpty())
        return;
    const QString file = QFileDialog::getOpenFileName(
        this, language->get("TXT_ACT_IMPORT"), QFileInfo(videos.first()).path(),
        "GPX, KML, CSV, NMEA (*.gpx *.GPX *.kml *.KML *.csv *.CSV *.nmea *.NMEA *.txt *.TXT *.log "
        "*.LOG);;* (*)");
    if (file.isEmpty())
        return;
    QStringList failed;
    QStringList outside; // clips of the drive the track does not reach
    for (const QString &v : videos) {
        QString error;
        if (!videoSettings->importTrack(v, file, &error))
            (error.contains(QLatin1String("covers no second")) ? outside : failed)
                << QFileInfo(v).fileName() + ": " + error;
        else if (v != currentVideo())
            driveList->refreshClip(v, videoSettings->folder());
    }
    // A track that covers part of a drive is laid on that part; one that
    // covers none of it is refused with both time ranges.
    if (outside.size() == videos.size())
        failed << outside;
    if (!failed.isEmpty())
        QMessageBox::warning(this, language->get("TXT_TIP"),
                             language->get("TXT_IMPORT_FAILED").arg(failed.join('\n')));
    if (failed.size() < videos.size())
        applyTrackSettings(0);
    updateTrackSource();
}

void MainWindow::exportTrack()
{
    const QStringList videos = scopeVideos(language->get("TXT_ACT_EXPORT").remove(QChar(0x2026)));
    if (videos.isEmpty())
        return;
    // The drive's clips as the drive list read them (offsets applied); the
    // clip that plays from the store the dashboard shows.
    QVector<exporters::Segment> segments;
    for (const QString &v : videos) {
        exporters::Segment segment{QFileInfo(v).fileName(), {}};
        if (v == currentVideo() && videoInfoParse->isParsed && opening == Opening::None) {
            for (auto it = videoInfoParse->videoInfoMap.cbegin();
                 it != videoInfoParse->videoInfoMap.cend(); ++it)
                if (it.value()->valid)
                    segment.points.append({it.key(), it.value()});
        } else if (const trip::Clip *clip = driveList->clip(v)) {
            for (const trip::Point &p : clip->points)
                segment.points.append({p.second, &p.sample});
        }
        segments.append(segment);
    }
    int points = 0;
    for (const exporters::Segment &s : segments)
        points += s.points.size();
    if (points == 0) {
        QMessageBox::information(this, language->get("TXT_TIP"), language->get("TXT_NO_TRACK"));
        return;
    }
    QString filter;
    const QString base = QFileInfo(videos.first()).completeBaseName();
    const QString path = QFileDialog::getSaveFileName(
        this, language->get("TXT_ACT_EXPORT"),
        QFileInfo(videos.first()).dir().filePath(base + ".gpx"),
        "GPX (*.gpx);;KML (*.kml);;CSV (*.csv);;GeoJSON (*.geojson)", &filter);
    if (path.isEmpty())
        return;
    QString format = QFileInfo(path).suffix().toLower();
    if (!exporters::isFormat(format))
        format = filter.section(' ', 0, 0).toLower();
    std::ostringstream text;
    if (segments.size() == 1)
        exporters::write(format, segments.first().name, segments.first().points, text);
    else
        exporters::writeSegments(format, base, segments, text);
    const std::string bytes = text.str();
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) ||
        out.write(bytes.data(), qint64(bytes.size())) != qint64(bytes.size()) || !out.commit())
        QMessageBox::warning(this, language->get("TXT_TIP"),
                             language->get("TXT_EXPORT_FAILED").arg(out.errorString()));
}
