#include "libav.h"

#include <QFile>
#include <QFileInfo>

namespace videoexport::av {

void quietLogs()
{
    av_log_set_level(qEnvironmentVariableIsEmpty("VELOMAR_DEBUG") ? AV_LOG_ERROR : AV_LOG_INFO);
}

Input open(const QString &path, QString *error)
{
    AVFormatContext *raw = nullptr;
    int r = avformat_open_input(&raw, QFile::encodeName(path).constData(), nullptr, nullptr);
    if (r < 0) {
        *error = QStringLiteral("cannot open %1: %2").arg(QFileInfo(path).fileName(), errorText(r));
        return Input();
    }
    Input in(raw);
    r = avformat_find_stream_info(raw, nullptr);
    if (r < 0) {
        *error = QStringLiteral("cannot read the streams of %1: %2")
                     .arg(QFileInfo(path).fileName(), errorText(r));
        return Input();
    }
    return in;
}

} // namespace videoexport::av
