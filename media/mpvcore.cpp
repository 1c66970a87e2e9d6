#include "mpvcore.h"

#include "media.h"
#include "mpvnames.h"

#include <QDebug>
#include <QVector>
#include <clocale>

namespace media {

namespace {
LogLevel currentLogLevel = LogWarning;
}

void setLogLevel(LogLevel level)
{
    currentLogLevel = level;
}

LogLevel logLevel()
{
    return currentLogLevel;
}

namespace core {

mpv_handle *create(const char *videoOutput)
{
    // mpv parses numbers with the C library and refuses any other locale;
    // Qt sets the user's locale when the application starts.
    std::setlocale(LC_NUMERIC, "C");

    mpv_handle *mpv = mpv_create();
    if (!mpv) {
        qWarning() << "media: mpv could not be created";
        return nullptr;
    }
    mpv_set_option_string(mpv, mpv::optVo, videoOutput);
    mpv_set_option_string(mpv, mpv::optHwdec, "no");
    mpv_set_option_string(mpv, mpv::optHwdecInterop, "no");
    mpv_set_option_string(mpv, mpv::optIdle, "yes");
    mpv_set_option_string(mpv, mpv::optKeepOpen, "no");
    mpv_set_option_string(mpv, mpv::optSid, "no");
    mpv_set_option_string(mpv, mpv::optSubAuto, "no");
    mpv_set_option_string(mpv, mpv::optTerminal, "no");
    mpv_set_option_string(mpv, mpv::optInputBindings, "no");
    // Gains up to 4.0 on mpv's cubic scale: 100 * cbrt(4) = 158.7.
    mpv_set_option_string(mpv, mpv::optVolumeMax, "160");
    const QByteArray ao = qgetenv("VELOMAR_AUDIO_DRIVER"); // e.g. "null" where no device exists
    if (!ao.isEmpty())
        mpv_set_option_string(mpv, mpv::optAo, ao.constData());

    if (mpv_initialize(mpv) < 0) {
        qWarning() << "media: mpv could not be initialised";
        mpv_terminate_destroy(mpv);
        return nullptr;
    }
    switch (currentLogLevel) {
    case LogOff:
        break;
    case LogWarning:
        mpv_request_log_messages(mpv, "warn");
        break;
    case LogAll:
        mpv_request_log_messages(mpv, "v");
        break;
    }
    return mpv;
}

void forwardLog(const mpv_event_log_message *m)
{
    const QString text =
        QStringLiteral("mpv[%1] %2").arg(m->prefix, QString::fromUtf8(m->text).trimmed());
    if (m->log_level <= MPV_LOG_LEVEL_WARN)
        qWarning().noquote() << text;
    else
        qDebug().noquote() << text;
}

int setString(mpv_handle *mpv, const char *name, const QString &value)
{
    return mpv_set_property_string(mpv, name, value.toUtf8().constData());
}

int setDouble(mpv_handle *mpv, const char *name, double value)
{
    return mpv_set_property(mpv, name, MPV_FORMAT_DOUBLE, &value);
}

int setFlag(mpv_handle *mpv, const char *name, bool value)
{
    int flag = value ? 1 : 0;
    return mpv_set_property(mpv, name, MPV_FORMAT_FLAG, &flag);
}

bool getDouble(mpv_handle *mpv, const char *name, double &value)
{
    return mpv_get_property(mpv, name, MPV_FORMAT_DOUBLE, &value) >= 0;
}

QString getString(mpv_handle *mpv, const char *name)
{
    char *text = mpv_get_property_string(mpv, name);
    if (!text)
        return QString();
    const QString result = QString::fromUtf8(text);
    mpv_free(text);
    return result;
}

namespace {
QVector<const char *> argv(const std::initializer_list<QByteArray> &words)
{
    QVector<const char *> args;
    for (const QByteArray &w : words)
        args.append(w.constData());
    args.append(nullptr);
    return args;
}
} // namespace

int command(mpv_handle *mpv, std::initializer_list<QByteArray> words)
{
    QVector<const char *> args = argv(words);
    return mpv_command(mpv, args.data());
}

void commandAsync(mpv_handle *mpv, std::initializer_list<QByteArray> words, uint64_t reply)
{
    QVector<const char *> args = argv(words);
    mpv_command_async(mpv, reply, args.data());
}

} // namespace core
} // namespace media
