// The camera's flat XML track, read as a stream: one line for each child of
// the document element, as a DOM parser without namespace processing lists
// them (elements, text that is not only blanks, comments and processing
// instructions), the others as lines of empty values. A stream keeps memory
// at one chunk of the file, where a DOM of a 13 MB file took half a GB.
// Attribute values are normalised as XML asks: a line break in one reads as
// a blank, where the DOM parser kept it and so cut the track line in two.

#include "xmlgpsparse.h"

#include "linereader.h"
#include "sidefile.h"
#include "tracklimits.h"

#include <QDebug>
#include <QFile>
#include <QTextStream>
#include <QXmlStreamReader>
#include <functional>
#include <memory>

namespace {

class Converter
{
public:
    Converter(QXmlStreamReader &xml, QTextStream &out) : xml(xml), out(out) {}

    // Runs to the end of the document. `more` adds the next piece of the
    // document to the reader, false when there is none.
    bool run(const std::function<bool()> &more)
    {
        // Without namespace processing, as the camera's files are read:
        // a prefix that is never declared (gpxtpx:hr) is just part of a name.
        xml.setNamespaceProcessing(false);
        for (;;) {
            const QXmlStreamReader::TokenType token = xml.readNext();
            if (token == QXmlStreamReader::Invalid) {
                if (xml.error() == QXmlStreamReader::PrematureEndOfDocumentError && more())
                    continue;
                return fail(xml.errorString());
            }
            if (token != QXmlStreamReader::Characters || xml.isCDATA())
                endText();
            switch (token) {
            case QXmlStreamReader::StartElement:
                if (depth == 1 && !child(xml.attributes()))
                    return false;
                if (++depth > XmlGpsParse::maxDepth)
                    return fail(
                        QStringLiteral("nested deeper than %1 levels").arg(XmlGpsParse::maxDepth));
                break;
            case QXmlStreamReader::EndElement:
                --depth;
                break;
            case QXmlStreamReader::Characters:
                if (depth != 1)
                    break;
                if (xml.isCDATA()) {
                    if (!child())
                        return false;
                } else {
                    inText = true;
                    textHasContent = textHasContent || !xml.isWhitespace();
                }
                break;
            case QXmlStreamReader::Comment:
            case QXmlStreamReader::ProcessingInstruction:
            case QXmlStreamReader::EntityReference:
                if (depth == 1 && !child())
                    return false;
                break;
            case QXmlStreamReader::EndDocument:
                return true;
            default:
                break;
            }
        }
    }

    int children = 0;
    QString why;

private:
    bool fail(const QString &reason)
    {
        why = QStringLiteral("%1 at line %2, column %3")
                  .arg(reason)
                  .arg(xml.lineNumber())
                  .arg(xml.columnNumber());
        return false;
    }

    // A run of text between two other nodes is one child, and none when it
    // is only blanks.
    void endText()
    {
        if (inText && textHasContent)
            child();
        inText = textHasContent = false;
    }

    bool child(const QXmlStreamAttributes &a = QXmlStreamAttributes())
    {
        if (++children > tracklimits::maxSamples)
            return fail(QStringLiteral("more than %1 points").arg(tracklimits::maxSamples));
        const QString time = a.value(QLatin1String("time")).toString();
        // One-pass substitution: a "%2" inside an attribute stays as it is.
        out << QStringLiteral("B,%1,%2.000,%3,N,%4,E,%5,-08.72,+01.41,+00.59;")
                   .arg(time.mid(5, 2) + time.mid(8, 2) + time.mid(2, 2),
                        time.mid(11, 2) + time.mid(14, 2) + time.mid(17, 2),
                        a.value(QLatin1String("lat")).toString(),
                        a.value(QLatin1String("lon")).toString(),
                        a.value(QLatin1String("speed")).toString())
            << '\n';
        return true;
    }

    QXmlStreamReader &xml;
    QTextStream &out;
    int depth = 0;
    bool inText = false;
    bool textHasContent = false;
};

// Writes outPath from the document that `more` hands to the reader piece by
// piece. The ".map" is kept only when the whole document was converted and
// had children: a broken or empty one leaves none, so no later opening
// trusts it.
bool convert(QXmlStreamReader &xml, const std::function<bool()> &more, const QString &outPath)
{
    const std::unique_ptr<QSaveFile> file = sidefile::replace(outPath, "GPX");
    if (!file)
        return false;
    QTextStream out(file.get());
    out.setCodec("UTF-8");
    Converter converter(xml, out);
    if (!converter.run(more)) {
        qWarning().noquote() << "GPX: refused," << converter.why;
        file->cancelWriting();
        return false;
    }
    out.flush();
    if (converter.children == 0) {
        file->cancelWriting();
        return false;
    }
    sidefile::commit(*file, "GPX");
    return false; // read from the ".map" at the next opening
}

} // namespace

bool XmlGpsParse::parseFile(QString gpxPath, QString outPath)
{
    if (!tracklimits::fileSizeAcceptable(gpxPath, "GPX"))
        return false;
    DecodedFile text;
    if (!text.open(gpxPath)) {
        qWarning().noquote() << "GPX: cannot open" << gpxPath;
        return false;
    }
    QXmlStreamReader xml;
    QString piece;
    return convert(
        xml,
        [&] {
            if (!text.read(piece))
                return false;
            xml.addData(piece);
            return true;
        },
        outPath);
}

bool XmlGpsParse::genGpsInfoFile(QString xmlText, QString outPath)
{
    QXmlStreamReader xml(xmlText);
    return convert(
        xml, [] { return false; }, outPath);
}
