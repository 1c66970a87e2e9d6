#pragma once

#include <QHash>
#include <QMap>
#include <QString>

// The interface languages: language.list names them (identifier:name key),
// and <identifier>.txt holds each one's texts (key=text). Both live in the
// resource directory's language folder.
class LanguageParse
{
public:
    // Reads the list; a missing list leaves it empty.
    explicit LanguageParse(const QString &languageDir = QString());

    // Makes `language` current and returns the identifier used: "default"
    // for one not in the list. A table that cannot be read leaves the
    // previous texts in force.
    QString loadLanguage(QString language);
    // The text of `key` in the current table, or "unknown".
    QString get(QString key) const;

    QMap<QString, QString> languageList; // identifier -> name key, by identifier
    QHash<QString, QString> languageTable;

private:
    QString dir;
};
