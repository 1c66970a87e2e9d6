#include "sidefile.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>

namespace sidefile {

bool isLink(const QString &path)
{
    return QFileInfo(path).isSymLink();
}

std::unique_ptr<QSaveFile> create(const QString &path, const char *who)
{
    if (isLink(path)) {
        qWarning().noquote() << QStringLiteral("%1: refused to write %2: it is a symbolic link")
                                    .arg(QLatin1String(who), path);
        return nullptr;
    }
    auto file = std::make_unique<QSaveFile>(path);
    if (!file->open(QIODevice::WriteOnly)) {
        qWarning().noquote() << QStringLiteral("%1: cannot write %2: %3")
                                    .arg(QLatin1String(who), path, file->errorString());
        return nullptr;
    }
    return file;
}

bool commit(QSaveFile &file, const char *who)
{
    // A link put in place while the file was written is not followed
    // either: the rename replaces the link itself.
    if (file.commit())
        return true;
    qWarning().noquote() << QStringLiteral("%1: cannot write %2: %3")
                                .arg(QLatin1String(who), file.fileName(), file.errorString());
    return false;
}

std::unique_ptr<QSaveFile> replace(const QString &path, const char *who)
{
    if (!isLink(path) && QFile::exists(path))
        QFile::remove(path);
    return create(path, who);
}

bool copy(const QString &from, const QString &to, const char *who)
{
    QFile in(from);
    if (!in.open(QIODevice::ReadOnly))
        return false;
    const std::unique_ptr<QSaveFile> file = create(to, who);
    if (!file)
        return false;
    while (!in.atEnd()) {
        const QByteArray chunk = in.read(1 << 20);
        if (chunk.isEmpty() || file->write(chunk) != chunk.size()) {
            file->cancelWriting();
            break;
        }
    }
    return commit(*file, who);
}

} // namespace sidefile
