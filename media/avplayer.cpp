#include "avplayer.h"

#include "audiooutput.h"
#include "mpvcore.h"
#include "mpvnames.h"
#include "videocapture.h"
#include "videooutput.h"

#include <QDebug>
#include <algorithm>
#include <cmath>
#include <vector>

namespace media {

namespace {
enum Observed : uint64_t
{
    ObsTimePos = 1,
    ObsDuration,
    ObsPause,
    ObsDecoderDrops,
    ObsOutputDrops
};

qint64 toMs(double seconds)
{
    return std::isfinite(seconds) ? qint64(std::llround(seconds * 1000.0)) : 0;
}
} // namespace

AVPlayer::AVPlayer(QObject *parent)
    : QObject(parent), audioOutput(new AudioOutput(this)), capture(new VideoCapture(this))
{
    qRegisterMetaType<media::AVError>("media::AVError");
    mpv = core::create("null");
    if (!mpv)
        return;
    mpv_observe_property(mpv, ObsTimePos, mpv::propTimePos, MPV_FORMAT_DOUBLE);
    mpv_observe_property(mpv, ObsDuration, mpv::propDuration, MPV_FORMAT_DOUBLE);
    mpv_observe_property(mpv, ObsPause, mpv::propPause, MPV_FORMAT_FLAG);
    mpv_observe_property(mpv, ObsDecoderDrops, mpv::propDecoderDrops, MPV_FORMAT_INT64);
    mpv_observe_property(mpv, ObsOutputDrops, mpv::propOutputDrops, MPV_FORMAT_INT64);
    // mpv wakes us from its own thread; events are read on ours.
    mpv_set_wakeup_callback(
        mpv,
        [](void *self) {
            QMetaObject::invokeMethod(static_cast<AVPlayer *>(self), "drainEvents",
                                      Qt::QueuedConnection);
        },
        this);
    audioOutput->attach(mpv);
    capture->attach(mpv);
}

AVPlayer::~AVPlayer()
{
    if (!mpv)
        return;
    mpv_set_wakeup_callback(mpv, nullptr, nullptr);
    if (renderer)
        renderer->detach(); // the render context must go before the core
    mpv_terminate_destroy(mpv);
}

void AVPlayer::play(const QString &file)
{
    play(file, ChannelSet{{file}, 0, channelSet.layout});
}

namespace {

// A value in a per-file option list, whatever characters it holds.
QByteArray escaped(const QString &value)
{
    const QByteArray bytes = value.toUtf8();
    return '%' + QByteArray::number(bytes.size()) + '%' + bytes;
}

} // namespace

void AVPlayer::play(const QString &file, const ChannelSet &channels)
{
    if (!mpv) {
        emit error(AVError(AVError::OpenError, QStringLiteral("media: no mpv core")));
        emit stopped(); // as for any file that cannot be played
        return;
    }
    path = file;
    channelSet = channels;
    loadedChannel = std::max(0, int(channels.files.indexOf(file)));
    capture->setMainArea(channels.rect(channels.main));
    // Options of this file alone: the next one starts without them.
    QByteArrayList options;
    for (const QString &other : channels.externalFiles(loadedChannel))
        options << mpv::optExternalFile + QByteArray("=") + escaped(other);
    const QString graph = channels.graph(loadedChannel);
    if (!graph.isEmpty())
        options << mpv::optLavfiComplex + QByteArray("=") + escaped(graph);
    core::setFlag(mpv, mpv::optPause, false);
    requests.push_back({++lastCommand});
    core::commandAsync(mpv, {mpv::cmdLoadFile, file.toUtf8(), "replace", options.join(',')},
                       lastCommand);
}

void AVPlayer::setMainChannel(int channel)
{
    if (channel < 0 || channel >= channelSet.files.size() || channelSet.files[channel].isEmpty() ||
        channel == channelSet.main)
        return;
    channelSet.main = channel;
    applyGraph();
}

void AVPlayer::setChannelLayout(ChannelLayout layout)
{
    if (layout == channelSet.layout)
        return;
    channelSet.layout = layout;
    applyGraph();
}

int AVPlayer::channelAt(QPoint pos, QSize area) const
{
    double w = 0.0, h = 0.0;
    if (!mpv || !hasStarted || !core::getDouble(mpv, mpv::propPictureWidth, w) ||
        !core::getDouble(mpv, mpv::propPictureHeight, h) || w <= 0 || h <= 0 || area.isEmpty())
        return -1;
    const double scale = std::min(area.width() / w, area.height() / h);
    const double left = (area.width() - w * scale) / 2;
    const double top = (area.height() - h * scale) / 2;
    return channelSet.channelAt(
        QPointF((pos.x() - left) / (w * scale), (pos.y() - top) / (h * scale)));
}

void AVPlayer::applyGraph()
{
    capture->setMainArea(channelSet.rect(channelSet.main));
    if (mpv && entry >= 0 && channelSet.several())
        core::setString(mpv, mpv::propLavfiComplex, channelSet.graph(loadedChannel));
}

void AVPlayer::pause(bool p)
{
    if (mpv && entry >= 0)
        core::setFlag(mpv, mpv::propPause, p);
}

bool AVPlayer::isPaused() const
{
    return hasStarted && paused;
}

bool AVPlayer::isPlaying() const
{
    return hasStarted && !paused;
}

void AVPlayer::stop()
{
    if (mpv)
        core::commandAsync(mpv, {mpv::cmdStop}, ++lastCommand);
}

void AVPlayer::seek(qint64 ms)
{
    if (!mpv || !loaded)
        return;
    core::commandAsync(
        mpv, {mpv::cmdSeek, QByteArray::number(double(ms) / 1000.0, 'f', 3), "absolute+exact"});
}

qint64 AVPlayer::position() const
{
    return positionMs;
}

qint64 AVPlayer::duration() const
{
    return durationMs;
}

QString AVPlayer::file() const
{
    return path;
}

void AVPlayer::setRenderer(VideoOutput *output)
{
    if (renderer == output || !mpv)
        return;
    if (renderer)
        renderer->detach();
    renderer = output;
    const bool rendering = output && output->attach(mpv);
    mpv_set_property_string(mpv, mpv::optVo, rendering ? "libmpv" : "null");
}

AudioOutput *AVPlayer::audio() const
{
    if (!mpv || core::getString(mpv, mpv::propCurrentAo).isEmpty())
        return nullptr;
    return audioOutput;
}

VideoCapture *AVPlayer::videoCapture() const
{
    return capture;
}

void AVPlayer::drainEvents()
{
    while (mpv) {
        const mpv_event *event = mpv_wait_event(mpv, 0);
        if (event->event_id == MPV_EVENT_NONE)
            break;
        handle(event);
    }
}

void AVPlayer::commandDone(uint64_t command, int error)
{
    if (command == 0)
        return; // seeks and the like
    std::vector<Request> neverStarted;
    for (auto it = requests.begin(); it != requests.end();) {
        if (it->command < command && it->entryId < 0) {
            neverStarted.push_back(*it);
            it = requests.erase(it);
        } else {
            if (it->command == command)
                it->done = true;
            ++it;
        }
    }
    if (error < 0) {
        for (auto it = requests.begin(); it != requests.end(); ++it)
            if (it->command == command) {
                neverStarted.push_back(*it);
                requests.erase(it);
                emit this->error(
                    AVError(AVError::OpenError,
                            QStringLiteral("cannot play %1: %2")
                                .arg(path, QString::fromUtf8(mpv_error_string(error)))));
                break;
            }
    }
    for (std::size_t i = 0; i < neverStarted.size(); ++i)
        emit stopped();
}

void AVPlayer::fileStarted(qint64 entryId)
{
    // Older requests still waiting were dropped when this one's loadfile
    // was done; the file that starts is the newest one mpv has taken.
    for (auto it = requests.rbegin(); it != requests.rend(); ++it)
        if (it->done && it->entryId < 0) {
            it->entryId = entryId;
            break;
        }
    entry = entryId;
    loaded = false;
    hasStarted = false;
    positionMs = 0;
    durationMs = 0;
    decoderDrops = 0;
    outputDrops = 0;
}

void AVPlayer::fileEnded(const mpv_event_end_file *end)
{
    auto request = std::find_if(requests.begin(), requests.end(), [end](const Request &r) {
        return r.entryId == end->playlist_entry_id;
    });
    if (end->playlist_entry_id == entry) {
        entry = -1;
        loaded = false;
        hasStarted = false;
    }
    if (request == requests.end())
        return;
    requests.erase(request);
    if (end->reason == MPV_END_FILE_REASON_ERROR)
        emit error(AVError(AVError::OpenError,
                           QStringLiteral("cannot play %1: %2")
                               .arg(path, QString::fromUtf8(mpv_error_string(end->error)))));
    emit stopped();
}

void AVPlayer::handle(const mpv_event *event)
{
    switch (event->event_id) {
    case MPV_EVENT_COMMAND_REPLY:
        commandDone(event->reply_userdata, event->error);
        break;
    case MPV_EVENT_START_FILE:
        fileStarted(static_cast<mpv_event_start_file *>(event->data)->playlist_entry_id);
        break;
    case MPV_EVENT_FILE_LOADED: {
        loaded = true;
        double seconds = 0.0;
        if (core::getDouble(mpv, mpv::propDuration, seconds))
            durationMs = toMs(seconds);
        break;
    }
    case MPV_EVENT_PLAYBACK_RESTART:
        // The first restart after loading: the first frame is decoded and up.
        if (loaded && !hasStarted) {
            hasStarted = true;
            emit started();
        }
        break;
    case MPV_EVENT_END_FILE:
        fileEnded(static_cast<mpv_event_end_file *>(event->data));
        break;
    case MPV_EVENT_PROPERTY_CHANGE: {
        const auto *p = static_cast<mpv_event_property *>(event->data);
        if (event->reply_userdata == ObsTimePos && p->format == MPV_FORMAT_DOUBLE) {
            positionMs = toMs(*static_cast<double *>(p->data));
            if (hasStarted)
                emit positionChanged(positionMs);
        } else if (event->reply_userdata == ObsDuration && p->format == MPV_FORMAT_DOUBLE) {
            durationMs = toMs(*static_cast<double *>(p->data));
        } else if (event->reply_userdata == ObsPause && p->format == MPV_FORMAT_FLAG) {
            paused = *static_cast<int *>(p->data) != 0;
        } else if (p->format == MPV_FORMAT_INT64) {
            const qint64 n = *static_cast<int64_t *>(p->data);
            (event->reply_userdata == ObsDecoderDrops ? decoderDrops : outputDrops) = n;
        }
        break;
    }
    case MPV_EVENT_LOG_MESSAGE:
        core::forwardLog(static_cast<mpv_event_log_message *>(event->data));
        break;
    default:
        break;
    }
}

} // namespace media
