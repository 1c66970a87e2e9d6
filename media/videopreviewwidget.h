#pragma once

#include <QImage>
#include <QString>
#include <QWidget>

namespace media {

class PreviewDecoder;

// A small window showing the frame of a video at a given time, as for a
// hover over the time line. Frames are decoded off the GUI thread by a
// paused mpv core of its own; of many quick requests only the newest is
// decoded. The caller sets the window's flags and size.
class VideoPreviewWidget : public QWidget
{
    Q_OBJECT
public:
    explicit VideoPreviewWidget(QWidget *parent = nullptr);
    ~VideoPreviewWidget() override;

    void setFile(const QString &file); // "" clears the picture
    QString file() const { return path; }
    void setTimestamp(qint64 ms) { requested = ms; }
    qint64 timestamp() const { return requested; }
    void preview();

    QImage frame() const { return shown; }            // what is painted now
    qint64 frameTimestamp() const { return shownAt; } // its time, -1 when none

signals:
    void gotFrame(qint64 ms);
    void failed(const QString &why);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    friend class PreviewDecoder;
    void deliver(const QImage &image, qint64 ms, quint64 serial);

    PreviewDecoder *decoder;
    QString path;
    qint64 requested = 0;
    quint64 serial = 0;
    QImage shown;
    qint64 shownAt = -1;
};

} // namespace media
