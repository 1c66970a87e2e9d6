#pragma once

// exiftool -ee as the reference reader of GPS inside videos: every fix it
// finds, with the sample time it gives it.

#include <QMap>
#include <QProcess>
#include <QStandardPaths>
#include <QVector>

namespace exiftool {

struct Fix
{
    double latitude = 0.0;
    double longitude = 0.0;
};

inline bool available()
{
    return !QStandardPaths::findExecutable("exiftool").isEmpty();
}

// The fixes exiftool reads from the file, in its order. Empty when it reads
// none (or is missing: check available()).
inline QVector<Fix> fixes(const QString &path, QString *error = nullptr)
{
    QProcess p;
    p.setStandardInputFile(QProcess::nullDevice());
    // Text, not JSON: JSON keeps one value per tag and document, and GoPro
    // documents hold many fixes.
    p.start("exiftool", {"-ee", "-n", "-G3", "-a", "-s", "-GPSLatitude", "-GPSLongitude", path});
    QVector<Fix> out;
    if (!p.waitForFinished(120000)) {
        p.kill();
        p.waitForFinished();
        if (error)
            *error = "exiftool did not finish";
        return out;
    }
    // "[Doc3]          GPSLatitude                     : 33.125424": a
    // document's latitudes come together, then its longitudes.
    QMap<int, QPair<QVector<double>, QVector<double>>> docs;
    for (const QByteArray &line : p.readAllStandardOutput().split('\n')) {
        const int colon = line.indexOf(':');
        const int bracket = line.indexOf(']');
        if (!line.startsWith("[Doc") || colon < 0 || bracket < 0)
            continue;
        const int doc = line.mid(4, bracket - 4).toInt();
        const QByteArray tag = line.left(colon).mid(bracket + 1).trimmed();
        const double value = line.mid(colon + 1).trimmed().toDouble();
        if (tag == "GPSLatitude")
            docs[doc].first.append(value);
        else if (tag == "GPSLongitude")
            docs[doc].second.append(value);
    }
    for (const auto &doc : qAsConst(docs))
        for (int i = 0; i < qMin(doc.first.size(), doc.second.size()); ++i)
            out.append({doc.first[i], doc.second[i]});
    return out;
}

} // namespace exiftool
