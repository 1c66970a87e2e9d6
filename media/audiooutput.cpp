#include "audiooutput.h"

#include "mpvcore.h"
#include "mpvnames.h"

#include <algorithm>
#include <cmath>

namespace media {

double AudioOutput::gainToMpvVolume(double gain)
{
    return 100.0 * std::cbrt(std::max(0.0, gain));
}

double AudioOutput::mpvVolumeToGain(double volume)
{
    const double v = volume / 100.0;
    return v * v * v;
}

qreal AudioOutput::volume() const
{
    double v = 100.0;
    if (mpv)
        core::getDouble(mpv, mpv::propVolume, v);
    // mpv keeps the volume as a float: compare within its precision.
    if (lastGain >= 0.0 && std::abs(v - lastMpvVolume) <= 1e-6 * std::max(1.0, lastMpvVolume))
        return lastGain;
    return mpvVolumeToGain(v);
}

bool AudioOutput::setVolume(qreal gain)
{
    if (!mpv || !std::isfinite(gain))
        return false;
    gain = std::max<qreal>(0.0, std::min<qreal>(gain, 4.0));
    const double v = gainToMpvVolume(gain);
    if (core::setDouble(mpv, mpv::propVolume, v) < 0)
        return false;
    lastGain = gain;
    lastMpvVolume = v;
    return true;
}

bool AudioOutput::close()
{
    if (!mpv)
        return false;
    if (!opened)
        return true;
    closedTrack = core::getString(mpv, mpv::propAudioTrack);
    opened = core::setString(mpv, mpv::optAid, "no") < 0;
    return !opened;
}

bool AudioOutput::open()
{
    if (!mpv)
        return false;
    QString filter;
    QString channels = "stereo";
    switch (format.channelLayout()) {
    case AudioFormat::ChannelLayout_Left:
        filter = "lavfi=[pan=stereo|c0=c0|c1=c0]";
        break;
    case AudioFormat::ChannelLayout_Right:
        filter = "lavfi=[pan=stereo|c0=c1|c1=c1]";
        break;
    case AudioFormat::ChannelLayout_Center:
        filter = "lavfi=[pan=stereo|c0=FC|c1=FC]";
        break;
    case AudioFormat::ChannelLayout_Mono:
        channels = "mono";
        break;
    case AudioFormat::ChannelLayout_Stereo:
        break;
    case AudioFormat::ChannelLayout_Unsupported:
        return false;
    }
    if (core::setString(mpv, mpv::optAf, filter) < 0 ||
        core::setString(mpv, mpv::optAudioChannels, channels) < 0)
        return false;
    const QString track = closedTrack.isEmpty() ? QStringLiteral("auto") : closedTrack;
    opened = core::setString(mpv, mpv::optAid, track) >= 0;
    return opened;
}

} // namespace media
