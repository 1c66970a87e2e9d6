#include "videoinfoparse.h"

#include "config.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QProcess>
#include <memory>
#include <vector>

namespace {

// Children that outlived the wait keep running; their QProcess objects are
// parked here rather than destroyed, since destroying one kills its child.
void park(QProcess *process)
{
    static QMutex mutex;
    static std::vector<std::unique_ptr<QProcess>> *parked =
        new std::vector<std::unique_ptr<QProcess>>;
    QMutexLocker lock(&mutex);
    parked->emplace_back(process);
}

} // namespace

int VideoInfoParse::genGpsFile(QString videoPath, QString srtPath)
{
    if (ffmpegPath.isEmpty())
        ffmpegPath = Config::getInstance()->resDir + "/ffmpeg";

    if (!QFileInfo(ffmpegPath).isExecutable()) {
        qWarning().noquote() << "ffmpeg not found at" << ffmpegPath;
        return QFile::exists(srtPath) ? 0 : -1;
    }

    auto *process = new QProcess;
    process->start(ffmpegPath, {"-i", videoPath, "-map", "0:s:0", srtPath}, QIODevice::ReadWrite);
    // With its input open, ffmpeg would ask whether to overwrite a stale
    // ".srt" and wait for an answer; closed, it declines at once.
    process->closeWriteChannel();

    for (int slice = 0; slice < 40; ++slice) {
        if (process->waitForFinished(500))
            break;
        if (process->state() == QProcess::NotRunning)
            break; // failed to start: nothing to wait for
    }

    if (process->state() == QProcess::NotRunning) {
        delete process;
    } else {
        qWarning().noquote() << "ffmpeg still running after 20 s, left to finish:" << videoPath;
        park(process);
    }
    return QFile::exists(srtPath) ? 0 : -1;
}
