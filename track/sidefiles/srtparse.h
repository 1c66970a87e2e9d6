#pragma once

#include <QString>
#include <QStringList>

// One subtitle block.
struct SrtInfoItem
{
    int index = 0;
    QString startTime;
    QString endTime;
    QString text; // all text lines joined, markup removed
};

// Turns a ".srt" whose subtitles are track lines into a ".map" file of those
// lines, then deletes the ".srt".
class SrtParse
{
public:
    static bool parseFile(QString srtPath, QString outPath);
    static bool LoadSrt(QString srtPath, QString outPath);
    // Null when the block has too few lines. The caller owns the item.
    static SrtInfoItem *ParseOneSrt(QStringList *lines);
    static void ParseSrtFormat(SrtInfoItem *item);
};
