#include "videoinfoparse.h"

#include "config.h"
#include "sidefile.h"
#include "srtparse.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

int VideoInfoParse::genGpsFile(QString videoPath, QString srtPath)
{
    if (ffmpegPath.isEmpty())
        ffmpegPath = Config::getInstance()->resDir + "/ffmpeg";

    if (!QFileInfo(ffmpegPath).isExecutable()) {
        qWarning().noquote() << "ffmpeg not found at" << ffmpegPath;
        return -1;
    }

    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(ffmpegPath, {"-i", videoPath, "-map", "0:s:0", srtPath}, QIODevice::ReadWrite);
    // With its input open, ffmpeg would ask whether to overwrite an existing
    // ".srt" and wait for an answer; closed, it declines at once.
    process.closeWriteChannel();

    for (int slice = 0; slice < extractSlices; ++slice) {
        if (process.waitForFinished(500))
            break;
        if (process.state() == QProcess::NotRunning)
            break; // failed to start: nothing to wait for
    }

    if (process.state() != QProcess::NotRunning) {
        // Its time is up: a child left running would go on reading the
        // video unseen, and what it wrote so far is no whole track.
        qWarning().noquote() << QStringLiteral("ffmpeg ended after %1 s without finishing: %2")
                                    .arg(extractSlices / 2)
                                    .arg(videoPath);
        process.kill();
        process.waitForFinished(-1);
        QFile::remove(srtPath);
        return -1;
    }
    if (!QFile::exists(srtPath)) {
        const QList<QByteArray> said = process.readAllStandardError().trimmed().split('\n');
        qDebug().noquote() << "ffmpeg extracted no subtitles from" << videoPath << "-"
                           << QString::fromUtf8(said.last()).trimmed();
        return -1;
    }
    return 0;
}

int VideoInfoParse::parseSubtitleTrack(const QString &videoPath, const QString &mapPath)
{
    // The subtitle stream goes to a private folder, never beside the video:
    // a ".srt" there is the user's own subtitles, which must be neither read
    // as a track nor deleted. (A ".srt" left beside the video no longer
    // counts as an extraction.)
    QTemporaryDir work(QDir::tempPath() + "/velomar-track-XXXXXX");
    if (!work.isValid()) {
        qWarning().noquote() << "no private folder for the subtitle track:" << work.errorString();
        return -1;
    }
    const QString srt = work.filePath("track.srt");
    const QString converted = work.filePath("track.map");
    if (genGpsFile(videoPath, srt) < 0 || !SrtParse::parseFile(srt, converted) ||
        !QFile::exists(converted))
        return -1;
    // Kept beside the video for the next opening where the folder allows;
    // on read-only media the track is read all the same.
    if (!sidefile::copy(converted, mapPath, "subtitle track"))
        qDebug().noquote() << "subtitle track read without keeping" << mapPath;
    return parseGpsInfoFile(converted);
}
