#pragma once

#include <QMetaType>
#include <QString>

namespace media {

// Why a file could not be opened or played.
class AVError
{
public:
    enum ErrorCode
    {
        NoError = 0,
        OpenError,
        DecodeError
    };

    AVError() = default;
    AVError(ErrorCode code, const QString &message) : code(code), message(message) {}

    ErrorCode error() const { return code; }
    QString string() const { return message; }

private:
    ErrorCode code = NoError;
    QString message;
};

} // namespace media

Q_DECLARE_METATYPE(media::AVError)
