#include "xmlgpsparse.h"

#include <QDebug>
#include <QDomDocument>
#include <QFile>
#include <QTextStream>
#include <QXmlStreamReader>

namespace {

// Well-formed and no deeper than the limit. The stream reader also refuses
// entity-expansion bombs, which the DOM parser would try to expand.
bool isSafeToLoad(const QString &xmlText, QString &why)
{
    QXmlStreamReader reader(xmlText);
    int depth = 0;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartElement:
            if (++depth > XmlGpsParse::maxDepth) {
                why = QStringLiteral("nested deeper than %1 levels at line %2")
                          .arg(XmlGpsParse::maxDepth)
                          .arg(reader.lineNumber());
                return false;
            }
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        default:
            break;
        }
    }
    if (reader.hasError()) {
        why = QStringLiteral("%1 at line %2, column %3")
                  .arg(reader.errorString())
                  .arg(reader.lineNumber())
                  .arg(reader.columnNumber());
        return false;
    }
    return true;
}

} // namespace

bool XmlGpsParse::parseFile(QString gpxPath, QString outPath)
{
    QFile file(gpxPath);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        qWarning().noquote() << "GPX: cannot open" << gpxPath;
        return false;
    }
    QTextStream in(&file);
    in.setCodec("UTF-8");
    return genGpsInfoFile(in.readAll(), outPath);
}

bool XmlGpsParse::genGpsInfoFile(QString xmlText, QString outPath)
{
    if (QFile::exists(outPath))
        QFile::remove(outPath);
    QFile out(outPath);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Text)) {
        qWarning().noquote() << "GPX: cannot write" << outPath;
        return false;
    }

    QString why;
    QDomDocument doc;
    if (!isSafeToLoad(xmlText, why) || !doc.setContent(xmlText, false, &why)) {
        qWarning().noquote() << "GPX: refused," << why;
        return false; // the empty ".map" stays
    }

    const QDomNodeList points = doc.documentElement().childNodes();
    if (points.isEmpty())
        return false;

    QTextStream stream(&out);
    stream.setCodec("UTF-8");
    for (int i = 0; i < points.size(); ++i) {
        const QDomElement pt = points.at(i).toElement(); // null for text nodes: empty values
        const QString time = pt.attribute("time");
        const QString mmddyy = time.mid(5, 2) + time.mid(8, 2) + time.mid(2, 2);
        const QString hhmmss = time.mid(11, 2) + time.mid(14, 2) + time.mid(17, 2);
        // One-pass substitution: a "%2" inside an attribute stays as it is.
        stream << QStringLiteral("B,%1,%2.000,%3,N,%4,E,%5,-08.72,+01.41,+00.59;")
                      .arg(mmddyy, hhmmss, pt.attribute("lat"), pt.attribute("lon"),
                           pt.attribute("speed"))
               << '\n';
    }
    stream.flush();
    out.close();
    return false;
}
