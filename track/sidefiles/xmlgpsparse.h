#pragma once

#include <QString>

// Converts a camera's GPX file (track points as attributed children of the
// document element) into a converted-track ".map" file of "B" lines.
class XmlGpsParse
{
public:
    static bool parseFile(QString gpxPath, QString outPath);
    // Always false, also after writing the whole file: callers read the
    // ".map" on the next opening.
    static bool genGpsInfoFile(QString xmlText, QString outPath);

    // Deeper documents are refused: no track nests so deep, and every level
    // costs the reader memory.
    static const int maxDepth = 1000;
};
