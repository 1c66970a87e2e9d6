#pragma once

// The cameras of a moment in the window: which channels a clip of a drive
// plays with, which one shows large, and how they share the picture (a
// choice of the menu, kept in the settings).

#include "channelgraph.h"

#include <QObject>
#include <QPoint>
#include <QSize>
#include <QString>

class LanguageParse;
class QAction;
class QActionGroup;
class QMenu;
namespace media {
class AVPlayer;
}
namespace trip {
struct Clip;
struct Drive;
} // namespace trip

class Cameras : public QObject
{
    Q_OBJECT
public:
    // Adds its submenu to `menu`.
    Cameras(media::AVPlayer *player, QMenu *menu, QObject *parent = nullptr);

    void retranslate(LanguageParse *language);

    media::ChannelLayout layout() const { return chosen; }
    void setLayout(media::ChannelLayout layout); // as the settings say
    static QString layoutKey(media::ChannelLayout layout);
    static media::ChannelLayout layoutOf(const QString &key);

    // What `path` plays with: every camera the drive has, this clip's file
    // for each or "" where it has none (a placeholder keeps its place); the
    // channel the user last made large shows large where the clip has it.
    media::ChannelSet channelsFor(const trip::Drive *drive, const trip::Clip *clip,
                                  const QString &path);

public slots:
    // A press on the picture: a small picture there becomes the large one.
    void pressedAt(QPoint pos, QSize area);

signals:
    void layoutChosen(); // by the user: to be saved

private:
    media::AVPlayer *player;
    QMenu *submenu;
    QActionGroup *group;
    QAction *pictureInPicture;
    QAction *sideBySide;
    QAction *grid;
    media::ChannelLayout chosen = media::ChannelLayout::PictureInPicture;
    QString preferred = QStringLiteral("front"); // the channel shown large
    QStringList names;                           // of the channels playing now
};
