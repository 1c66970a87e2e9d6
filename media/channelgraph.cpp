#include "channelgraph.h"

namespace media {

namespace {

constexpr double pipScale = 0.25;  // a small picture is a quarter of the main's size
constexpr double pipMargin = 0.02; // its distance from the edges and the next one
const char *const placeholderColour = "0x303030";

QString label(const char *stem, int n)
{
    return QStringLiteral("[%1%2]").arg(QLatin1String(stem)).arg(n);
}

} // namespace

QVector<int> ChannelSet::shown() const
{
    QVector<int> order{main};
    for (int i = 0; i < files.size(); ++i)
        if (i != main)
            order << i;
    return order;
}

QStringList ChannelSet::externalFiles(int loaded) const
{
    QStringList out;
    for (int i = 0; i < files.size(); ++i)
        if (i != loaded && !files[i].isEmpty())
            out << files[i];
    return out;
}

QString ChannelSet::graph(int loaded) const
{
    if (!several())
        return QString();
    // mpv's video inputs: vid1 the loaded file, then the external files.
    QVector<int> vid(files.size(), 0);
    int next = 2;
    for (int i = 0; i < files.size(); ++i)
        if (i == loaded)
            vid[i] = 1;
        else if (!files[i].isEmpty())
            vid[i] = next++;

    const bool small = layout == ChannelLayout::PictureInPicture;
    const QString size = small ? QStringLiteral("w=iw/4:h=ih/4") : QStringLiteral("w=iw:h=ih");
    QStringList steps;
    // The main picture is passed along each scaling as its reference, so
    // every other channel takes its size from it.
    QString ref = label("vid", vid[main]);
    int refs = 0;
    QStringList others;
    for (int channel : shown().mid(1)) {
        const QString out = label("c", channel);
        const QString nextRef = label("ref", ++refs);
        if (vid[channel] > 0) {
            steps << label("vid", vid[channel]) + ref + "scale2ref=" + size + out + nextRef;
        } else {
            const QString copy = label("blank", channel);
            steps << ref + "split" + nextRef + copy;
            steps << copy + "scale=" + size + ",drawbox=t=fill:c=" + placeholderColour + out;
        }
        ref = nextRef;
        others << out;
    }

    switch (layout) {
    case ChannelLayout::PictureInPicture: {
        QString base = ref;
        for (int k = 0; k < others.size(); ++k) {
            const QString out = k + 1 == others.size() ? QStringLiteral("[vo]") : label("pip", k);
            steps << base + others[k] +
                         QStringLiteral("overlay=x=W-w-W*%1:y=H*%1+%2*(h+H*%1)")
                             .arg(pipMargin)
                             .arg(k);
            steps.last() += out;
            base = out;
        }
        break;
    }
    case ChannelLayout::SideBySide:
        steps << ref + others.join(QString()) +
                     QStringLiteral("hstack=inputs=%1[vo]").arg(others.size() + 1);
        break;
    case ChannelLayout::Grid: {
        QStringList inputs{ref};
        inputs << others;
        if (inputs.size() % 2) {
            // An even count: the last cell a placeholder too.
            const QString nextRef = label("ref", ++refs);
            steps << ref + "split" + nextRef + "[fill]";
            steps << "[fill]drawbox=t=fill:c=" + QString(placeholderColour) + "[cfill]";
            inputs[0] = nextRef;
            inputs << "[cfill]";
        }
        QStringList cells;
        for (int i = 0; i < inputs.size(); ++i) {
            const QString x = i % 2 ? QStringLiteral("w0") : QStringLiteral("0");
            QStringList y;
            for (int r = 0; r < i / 2; ++r)
                y << QStringLiteral("h0");
            cells << x + '_' + (y.isEmpty() ? QStringLiteral("0") : y.join('+'));
        }
        steps << inputs.join(QString()) + QStringLiteral("xstack=inputs=%1:layout=%2[vo]")
                                              .arg(inputs.size())
                                              .arg(cells.join('|'));
        break;
    }
    }
    return steps.join(';');
}

QRectF ChannelSet::rect(int channel) const
{
    const QVector<int> order = shown();
    const int place = order.indexOf(channel);
    if (place < 0)
        return QRectF();
    if (!several())
        return QRectF(0, 0, 1, 1);
    switch (layout) {
    case ChannelLayout::PictureInPicture:
        if (place == 0)
            return QRectF(0, 0, 1, 1);
        return QRectF(1 - pipScale - pipMargin, pipMargin + (place - 1) * (pipScale + pipMargin),
                      pipScale, pipScale);
    case ChannelLayout::SideBySide:
        return QRectF(double(place) / order.size(), 0, 1.0 / order.size(), 1);
    case ChannelLayout::Grid: {
        const int rows = (order.size() + 1) / 2;
        return QRectF((place % 2) * 0.5, double(place / 2) / rows, 0.5, 1.0 / rows);
    }
    }
    return QRectF();
}

int ChannelSet::channelAt(QPointF at) const
{
    // Small pictures lie over the main one: the last drawn is on top.
    const QVector<int> order = shown();
    for (int k = order.size() - 1; k >= 0; --k)
        if (rect(order[k]).contains(at))
            return order[k];
    return -1;
}

} // namespace media
