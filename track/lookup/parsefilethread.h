#pragma once

#include <QString>
#include <QThread>
#include <atomic>

class VideoInfoParse;

// Runs one parseFile() off the GUI thread. The GUI polls isFinish and reads
// the store only once it is 1: the flag is the only handshake, so it is
// written with release and read with acquire order.
class ParseFileThread : public QThread
{
    Q_OBJECT
public:
    ParseFileThread(QString path, VideoInfoParse *parser);

    bool parseFinished() const { return isFinish.load(std::memory_order_acquire) == 1; }

    std::atomic<int> isFinish{0};
    QString path;
    VideoInfoParse *parser; // not owned

protected:
    void run() override;
};
