#include "parsefilethread.h"

#include "videoinfoparse.h"

#include <QDebug>

ParseFileThread::ParseFileThread(QString path, VideoInfoParse *parser)
    : path(std::move(path)), parser(parser)
{
    qDebug().noquote() << "ParseFileThread:" << this->path;
}

void ParseFileThread::run()
{
    {
        QMutexLocker lock(&parser->parseMutex);
        parser->parseFile(path); // a failed parse plays the video without a track
    }
    isFinish.store(1, std::memory_order_release);
}
