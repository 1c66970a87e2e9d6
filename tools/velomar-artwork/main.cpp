// velomar-artwork OUTDIR: draws the program's images and synthesises its
// snapshot sound, so that every resource is made from this source.
//   image/banner.png     shown while no video plays: a night road and a dial
//   image/photo_dir.png  the snapshot folder button
//   image/logo.png       About dialog; also the desktop icon
//   image/loading/NN.png frames of the busy spinner (the build joins them into loading.gif)
//   sound/beep_take_photo.wav  a short shutter click

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QtEndian>
#include <QtMath>
#include <cstdio>

namespace {

const QColor accent(0, 162, 232); // the dashboard's read-out blue
const QColor amber(255, 176, 32);

void drawDial(QPainter &p, QPointF centre, qreal radius, qreal needleDegrees)
{
    p.save();
    p.translate(centre);
    QRadialGradient face(QPointF(0, 0), radius);
    face.setColorAt(0.0, QColor(30, 36, 48));
    face.setColorAt(1.0, QColor(10, 12, 18));
    p.setPen(QPen(QColor(70, 80, 96), radius * 0.04));
    p.setBrush(face);
    p.drawEllipse(QPointF(0, 0), radius, radius);
    // Scale from 225 to -45 degrees, the gauge's own.
    for (int i = 0; i <= 40; ++i) {
        const qreal a = qDegreesToRadians(225.0 - i * 270.0 / 40);
        const qreal inner = radius * (i % 4 == 0 ? 0.78 : 0.85);
        p.setPen(QPen(i > 30 ? QColor(220, 60, 60) : QColor(190, 200, 215),
                      radius * (i % 4 == 0 ? 0.035 : 0.018), Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(inner * qCos(a), -inner * qSin(a)),
                   QPointF(radius * 0.92 * qCos(a), -radius * 0.92 * qSin(a)));
    }
    const qreal a = qDegreesToRadians(needleDegrees);
    p.setPen(QPen(amber, radius * 0.05, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(0, 0), QPointF(radius * 0.75 * qCos(a), -radius * 0.75 * qSin(a)));
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(200, 205, 215));
    p.drawEllipse(QPointF(0, 0), radius * 0.08, radius * 0.08);
    p.restore();
}

QImage banner()
{
    const int w = 1280, h = 720;
    QImage image(w, h, QImage::Format_RGB32);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    // Night sky over a dark land, horizon at 45 %.
    const qreal horizon = h * 0.45;
    QLinearGradient sky(0, 0, 0, horizon);
    sky.setColorAt(0.0, QColor(6, 10, 22));
    sky.setColorAt(1.0, QColor(28, 44, 78));
    p.fillRect(QRectF(0, 0, w, horizon), sky);
    QLinearGradient land(0, horizon, 0, h);
    land.setColorAt(0.0, QColor(14, 18, 24));
    land.setColorAt(1.0, QColor(4, 5, 8));
    p.fillRect(QRectF(0, horizon, w, h - horizon), land);
    // The road running to the vanishing point.
    const QPointF vanish(w * 0.5, horizon);
    QPainterPath road;
    road.moveTo(vanish + QPointF(-6, 0));
    road.lineTo(vanish + QPointF(6, 0));
    road.lineTo(w * 0.95, h);
    road.lineTo(w * 0.05, h);
    road.closeSubpath();
    QLinearGradient asphalt(0, horizon, 0, h);
    asphalt.setColorAt(0.0, QColor(40, 44, 52));
    asphalt.setColorAt(1.0, QColor(22, 24, 28));
    p.fillPath(road, asphalt);
    // Edge lines and a dashed centre line, narrowing with distance.
    p.setPen(QPen(QColor(230, 230, 230, 200), 4));
    p.drawLine(vanish + QPointF(-5, 0), QPointF(w * 0.07, h));
    p.drawLine(vanish + QPointF(5, 0), QPointF(w * 0.93, h));
    for (int i = 0; i < 14; ++i) {
        const qreal t0 = qPow((i + 0.0) / 14.0, 2.2), t1 = qPow((i + 0.5) / 14.0, 2.2);
        const qreal y0 = horizon + (h - horizon) * t0, y1 = horizon + (h - horizon) * t1;
        p.setPen(QPen(amber, 2 + 10 * t1));
        p.drawLine(QPointF(vanish.x(), y0), QPointF(vanish.x(), y1));
    }
    // A glow at the horizon, like headlights far ahead.
    QRadialGradient glow(vanish, w * 0.25);
    glow.setColorAt(0.0, QColor(255, 190, 90, 90));
    glow.setColorAt(1.0, QColor(255, 190, 90, 0));
    p.fillRect(QRectF(0, 0, w, h), glow); // fades out within its radius
    // The dashboard: a dial at lower right, a track line at lower left.
    drawDial(p, QPointF(w * 0.84, h * 0.8), h * 0.15, 150);
    QPainterPath track;
    track.moveTo(w * 0.06, h * 0.9);
    track.cubicTo(w * 0.1, h * 0.72, w * 0.16, h * 0.95, w * 0.22, h * 0.76);
    p.setPen(QPen(accent, 5, Qt::SolidLine, Qt::RoundCap));
    p.setBrush(Qt::NoBrush);
    p.drawPath(track);
    p.setPen(Qt::NoPen);
    p.setBrush(amber);
    p.drawEllipse(QPointF(w * 0.22, h * 0.76), 8, 8);
    // The name.
    QFont title("Liberation Sans", 1);
    title.setPixelSize(h / 7);
    title.setBold(true);
    title.setLetterSpacing(QFont::PercentageSpacing, 108);
    p.setFont(title);
    p.setPen(QColor(240, 244, 250));
    p.drawText(QRectF(0, h * 0.08, w, h * 0.2), Qt::AlignCenter, "VELOMAR");
    QFont tagline("Liberation Sans", 1);
    tagline.setPixelSize(h / 28);
    tagline.setLetterSpacing(QFont::PercentageSpacing, 130);
    p.setFont(tagline);
    p.setPen(accent);
    p.drawText(QRectF(0, h * 0.27, w, h * 0.08), Qt::AlignCenter, "DASH CAM VIDEO  ·  GPS TRACK");
    return image;
}

QImage photoDir()
{
    QImage image(160, 90, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    // A folder...
    QPainterPath back;
    back.addRoundedRect(QRectF(40, 14, 80, 62), 6, 6);
    back.addRoundedRect(QRectF(40, 8, 32, 14), 4, 4);
    p.fillPath(back.simplified(), QColor(214, 150, 40));
    QPainterPath front;
    front.addRoundedRect(QRectF(36, 26, 88, 52), 6, 6);
    QLinearGradient fill(0, 26, 0, 78);
    fill.setColorAt(0, QColor(255, 200, 80));
    fill.setColorAt(1, QColor(240, 168, 40));
    p.fillPath(front, fill);
    // ...holding a photo: a small camera lens on it.
    p.setPen(QPen(QColor(90, 60, 10), 3));
    p.setBrush(QColor(60, 66, 80));
    p.drawEllipse(QPointF(80, 52), 14, 14);
    p.setBrush(accent);
    p.setPen(Qt::NoPen);
    p.drawEllipse(QPointF(80, 52), 7, 7);
    p.setBrush(QColor(255, 255, 255, 180));
    p.drawEllipse(QPointF(77, 49), 2.5, 2.5);
    return image;
}

QImage logo()
{
    QImage image(256, 256, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    drawDial(p, QPointF(128, 128), 120, 60);
    QFont f("Liberation Sans", 1);
    f.setPixelSize(96);
    f.setBold(true);
    p.setFont(f);
    p.setPen(QColor(240, 244, 250));
    p.drawText(QRectF(0, 110, 256, 120), Qt::AlignHCenter | Qt::AlignTop, "V");
    return image;
}

QImage spinnerFrame(int frame, int frames)
{
    QImage image(100, 100, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.translate(50, 50);
    const int dots = 12;
    for (int i = 0; i < dots; ++i) {
        // The head of the trail turns one dot a frame.
        const int age = (frame * dots / frames - i + dots) % dots;
        QColor c = accent;
        c.setAlpha(255 - age * 200 / dots);
        p.setPen(Qt::NoPen);
        p.setBrush(c);
        const qreal a = qDegreesToRadians(90.0 - i * 360.0 / dots);
        p.drawEllipse(QPointF(32 * qCos(a), -32 * qSin(a)), 7 - age * 0.35, 7 - age * 0.35);
    }
    return image;
}

// A camera shutter: two short bursts of decaying noise, 16-bit mono WAV.
QByteArray shutterWav()
{
    const int rate = 44100;
    const int samples = rate * 18 / 100;
    QByteArray pcm(samples * 2, '\0');
    quint32 seed = 0x1234567u;
    qreal low = 0;
    for (int i = 0; i < samples; ++i) {
        const qreal t = qreal(i) / rate;
        seed = seed * 1664525u + 1013904223u;
        const qreal noise = (qreal(seed >> 8) / (1 << 24)) * 2.0 - 1.0;
        low += 0.35 * (noise - low); // soften the hiss into a click
        qreal envelope = qExp(-t / 0.012);
        if (t > 0.07)
            envelope += 0.7 * qExp(-(t - 0.07) / 0.018);
        const qint16 v = qint16(qBound(-1.0, low * envelope * 1.6, 1.0) * 30000);
        qToLittleEndian(v, pcm.data() + 2 * i);
    }
    QByteArray wav;
    auto u32 = [&wav](quint32 v) {
        char b[4];
        qToLittleEndian(v, b);
        wav.append(b, 4);
    };
    auto u16 = [&wav](quint16 v) {
        char b[2];
        qToLittleEndian(v, b);
        wav.append(b, 2);
    };
    wav += "RIFF";
    u32(36 + pcm.size());
    wav += "WAVEfmt ";
    u32(16);
    u16(1); // PCM
    u16(1); // mono
    u32(rate);
    u32(rate * 2);
    u16(2);
    u16(16);
    wav += "data";
    u32(pcm.size());
    return wav + pcm;
}

bool save(const QImage &image, const QString &path)
{
    if (image.save(path))
        return true;
    std::fprintf(stderr, "velomar-artwork: cannot write %s\n", qPrintable(path));
    return false;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen"); // drawing only: no display needed
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: velomar-artwork OUTDIR\n");
        return 2;
    }
    const QDir out(QString::fromLocal8Bit(argv[1]));
    for (const char *sub : {"image", "image/loading", "sound"})
        QDir().mkpath(out.filePath(sub));
    bool ok = save(banner(), out.filePath("image/banner.png")) &&
              save(photoDir(), out.filePath("image/photo_dir.png")) &&
              save(logo(), out.filePath("image/logo.png"));
    const int frames = 24;
    for (int i = 0; ok && i < frames; ++i)
        ok = save(
            spinnerFrame(i, frames),
            out.filePath(QStringLiteral("image/loading/%1.png").arg(i, 2, 10, QLatin1Char('0'))));
    QFile wav(out.filePath("sound/beep_take_photo.wav"));
    ok = ok && wav.open(QIODevice::WriteOnly) && wav.write(shutterWav()) > 0;
    return ok ? 0 : 1;
}
