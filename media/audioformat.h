#pragma once

namespace media {

// The output's channel routing.
class AudioFormat
{
public:
    enum ChannelLayout
    {
        ChannelLayout_Left,   // the left channel on both speakers
        ChannelLayout_Right,  // the right channel on both speakers
        ChannelLayout_Center, // the centre channel, else a mix, on both speakers
        ChannelLayout_Mono,   // everything mixed down to one channel
        ChannelLayout_Stereo, // as recorded, down-mixed to two channels
        ChannelLayout_Unsupported
    };

    ChannelLayout channelLayout() const { return layout; }
    void setChannelLayout(ChannelLayout l) { layout = l; }
    bool operator==(const AudioFormat &o) const { return layout == o.layout; }

private:
    ChannelLayout layout = ChannelLayout_Stereo;
};

} // namespace media
