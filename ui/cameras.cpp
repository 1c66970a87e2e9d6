#include "cameras.h"

#include "avplayer.h"
#include "languageparse.h"
#include "recording.h"
#include "trip.h"

#include <QActionGroup>
#include <QMenu>
#include <algorithm>

Cameras::Cameras(media::AVPlayer *player, QMenu *menu, QObject *parent)
    : QObject(parent), player(player)
{
    submenu = menu->addMenu(QString());
    submenu->setObjectName("menuCameras");
    group = new QActionGroup(this);
    auto add = [&](const char *name, media::ChannelLayout layout) {
        QAction *a = submenu->addAction(QString());
        a->setObjectName(name);
        a->setCheckable(true);
        group->addAction(a);
        connect(a, &QAction::triggered, this, [this, layout] {
            setLayout(layout);
            emit layoutChosen();
        });
        return a;
    };
    pictureInPicture = add("actionPictureInPicture", media::ChannelLayout::PictureInPicture);
    sideBySide = add("actionSideBySide", media::ChannelLayout::SideBySide);
    grid = add("actionGrid", media::ChannelLayout::Grid);
    pictureInPicture->setChecked(true);
}

void Cameras::retranslate(LanguageParse *language)
{
    submenu->setTitle(language->get("TXT_MENU_CAMERAS"));
    pictureInPicture->setText(language->get("TXT_ACT_PIP"));
    sideBySide->setText(language->get("TXT_ACT_SIDE_BY_SIDE"));
    grid->setText(language->get("TXT_ACT_GRID"));
}

QString Cameras::layoutKey(media::ChannelLayout layout)
{
    switch (layout) {
    case media::ChannelLayout::SideBySide:
        return QStringLiteral("side_by_side");
    case media::ChannelLayout::Grid:
        return QStringLiteral("grid");
    case media::ChannelLayout::PictureInPicture:
        break;
    }
    return QStringLiteral("picture_in_picture");
}

media::ChannelLayout Cameras::layoutOf(const QString &key)
{
    if (key == QLatin1String("side_by_side"))
        return media::ChannelLayout::SideBySide;
    if (key == QLatin1String("grid"))
        return media::ChannelLayout::Grid;
    return media::ChannelLayout::PictureInPicture;
}

void Cameras::setLayout(media::ChannelLayout layout)
{
    chosen = layout;
    (layout == media::ChannelLayout::SideBySide ? sideBySide
     : layout == media::ChannelLayout::Grid     ? grid
                                                : pictureInPicture)
        ->setChecked(true);
    player->setChannelLayout(layout);
}

media::ChannelSet Cameras::channelsFor(const trip::Drive *drive, const trip::Clip *clip,
                                       const QString &path)
{
    media::ChannelSet set{{path}, 0, chosen};
    if (!drive || !clip)
        return set;
    // Every camera of the drive keeps its place, also where a clip lacks it.
    QStringList all;
    for (const trip::Clip &c : drive->clips)
        for (const trip::Channel &ch : c.channels)
            if (!all.contains(ch.name))
                all << ch.name;
    std::stable_sort(all.begin(), all.end(), [](const QString &a, const QString &b) {
        return trip::channelRank(a) < trip::channelRank(b);
    });
    if (all.size() < 2)
        return set;
    set.files.clear();
    for (const QString &name : all) {
        QString file;
        for (const trip::Channel &ch : clip->channels)
            if (ch.name == name)
                file = ch.path;
        set.files << file;
    }
    if (!set.files.contains(path))
        return media::ChannelSet{{path}, 0, chosen};
    const int wanted = all.indexOf(preferred);
    set.main = wanted >= 0 && !set.files[wanted].isEmpty() ? wanted : set.files.indexOf(path);
    names = all;
    return set;
}

void Cameras::pressedAt(QPoint pos, QSize area)
{
    if (!player->channels().several())
        return;
    const int channel = player->channelAt(pos, area);
    if (channel < 0 || channel == player->channels().main)
        return;
    player->setMainChannel(channel);
    if (player->channels().main == channel && channel < names.size())
        preferred = names[channel];
}
