#include "languageparse.h"

#include "config.h"

#include <QFile>
#include <QTextStream>
#include <functional>

namespace {

// One "a<sep>b" line: the first two parts, both non-empty; a part that
// starts with a quote loses all its quotes. No trimming.
bool splitEntry(const QString &line, QChar separator, QString &first, QString &second)
{
    const QStringList parts = line.split(separator);
    if (parts.size() < 2 || parts[0].isEmpty() || parts[1].isEmpty())
        return false;
    auto unquote = [](QString part) {
        if (part.startsWith(QLatin1Char('"')))
            part.remove(QLatin1Char('"'));
        return part;
    };
    first = unquote(parts[0]);
    second = unquote(parts[1]);
    return true;
}

bool readEntries(const QString &path, QChar separator,
                 const std::function<void(const QString &, const QString &)> &add,
                 const std::function<void()> &beforeFirst)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return false;
    beforeFirst();
    QTextStream in(&file);
    in.setCodec("UTF-8");
    while (!in.atEnd()) {
        const QString line = in.readLine();
        QString a, b;
        if (!line.isEmpty() && splitEntry(line, separator, a, b))
            add(a, b);
    }
    return true;
}

} // namespace

LanguageParse::LanguageParse(const QString &languageDir)
    : dir(languageDir.isEmpty() ? Config::getInstance()->languageDir : languageDir)
{
    readEntries(
        dir + "/language.list", QLatin1Char(':'),
        [this](const QString &id, const QString &nameKey) { languageList.insert(id, nameKey); },
        [this] { languageList.clear(); });
}

QString LanguageParse::loadLanguage(QString language)
{
    QString resolved;
    for (auto it = languageList.cbegin(); it != languageList.cend(); ++it)
        if (it.key() == language) {
            resolved = it.key();
            break;
        }
    if (resolved.isEmpty())
        resolved = QStringLiteral("default");
    readEntries(
        dir + "/" + resolved + ".txt", QLatin1Char('='),
        [this](const QString &key, const QString &text) { languageTable.insert(key, text); },
        [this] { languageTable.clear(); });
    return resolved;
}

QString LanguageParse::get(QString key) const
{
    return languageTable.value(key, QStringLiteral("unknown"));
}
