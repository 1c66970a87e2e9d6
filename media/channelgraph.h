#pragma once

// How the cameras of one moment share the picture: the main channel large,
// the others beside or over it. One mpv core plays them all (the others as
// external files, composed by one filter graph), so they keep one clock:
// seeking, pausing and speed act on all of them at once.

#include <QRectF>
#include <QString>
#include <QStringList>
#include <QVector>

namespace media {

enum class ChannelLayout
{
    PictureInPicture, // the others small, top right, over the main picture
    SideBySide,       // all at the main picture's size, in a row
    Grid              // all at the main picture's size, two columns
};

// The channels of a moment: a file a channel ("" where that camera has no
// file for this moment: a plain placeholder takes its place), and which is
// shown large.
struct ChannelSet
{
    QStringList files;
    int main = 0;
    ChannelLayout layout = ChannelLayout::PictureInPicture;

    bool several() const { return files.size() > 1; }
    // The order the channels show in: the main first, then the others.
    QVector<int> shown() const;
    // mpv's filter graph ("[vid1]…[vo]") when `loaded` is the file opened
    // and the other present files are its external files, in order; empty
    // for a single channel.
    QString graph(int loaded) const;
    // The files to add beside the loaded one, in the order graph() counts them.
    QStringList externalFiles(int loaded) const;
    // Where each channel sits in the composed picture, as fractions of it;
    // an empty rectangle for none.
    QRectF rect(int channel) const;
    // The channel shown on top at that point of the picture (fractions), -1
    // for none.
    int channelAt(QPointF at) const;
};

} // namespace media
