#pragma once

#include "videoinfo.h"

#include <QMap>
#include <QMutex>
#include <QString>

// The track store: one sample a second of the video being played, keyed by
// second from 0 to count - 1, plus the summary figures. It also holds the
// readers that fill it; which reader runs is decided by parseFile().
//
// Written only by the parse thread, read by the GUI thread only after the
// thread's finished flag is seen (see ParseFileThread).
class VideoInfoParse
{
public:
    VideoInfoParse();
    ~VideoInfoParse();
    VideoInfoParse(const VideoInfoParse &) = delete;
    VideoInfoParse &operator=(const VideoInfoParse &) = delete;

    QMap<int, VideoInfo *> videoInfoMap; // owned
    double maxSpeed = 0.0;               // km/h
    double avgSpeed = 0.0;               // km/h
    double totalDistance = 0.0;          // metres while filling, km once parsed
    int isParsed = 0;
    int count = 0;
    // Where the last lookup took the track from: "info", "nmea", "map",
    // "gpx", "subtitle", or the layout inside the video ("gpmf", ...).
    QString source;
    // Which clock the samples' date and time read: "utc", "local", "camera"
    // (the file's creation time counted on) or empty when unknown.
    QString clock;

    void resetVideoInfo();

    static double DDTran(double ddmm);
    double get2PointDistance(double lat1, double lon1, double lat2, double lon2);

    // Track source lookup for a video, with the "...B" to "...A" fallback.
    // With settingsDir set, the video's imported track comes before every
    // other source, and its offset is applied to whichever was read.
    int parseFile(QString videoPath);
    int parseFileImpl(QString videoPath);

    // The folder of per-video settings (VideoSettings); empty for none.
    QString settingsDir;
    // The video's imported track laid on it by time, `offset` seconds later:
    // 0 read, 1 when there is none or it cannot be used.
    int parseImportedTrack(const QString &videoPath, int offset);
    // Sample s becomes sample s + seconds; the seconds left without one hold
    // placeholders. Maximum, average and distance stay the track's.
    void shiftSamples(int seconds);

    // The track the video keeps inside its container, in one of the
    // cameras' layouts (or a DJI flight record beside it): 0 read, -1
    // refused, 1 when there is none and the subtitle path should look.
    int parseEmbeddedTrack(const QString &videoPath);
    // A standard GPX (a phone's or a logger's) laid on the video by the
    // times of its points: 0 read, -1 when it cannot be placed or read, 1
    // when it has no point with a time (the camera's own flat XML).
    int parseTimedGpx(const QString &gpxPath, const QString &videoPath);

    // Readers. Each expects resetVideoInfo() just before.
    int parseGpsInfoFile(QString path);     // NMEA $GPRMC and converted lines
    int parseMarlGpsInfoFile(QString path); // camera ".info"
    // Copies the video's first subtitle stream to srtPath with ffmpeg, which
    // is ended when it has not finished within extractSlices half seconds.
    int genGpsFile(QString videoPath, QString srtPath);
    // The track in the video's subtitle stream, converted in a private
    // folder, read, and kept as mapPath for the next opening where it can be.
    int parseSubtitleTrack(const QString &videoPath, const QString &mapPath);

    // 1 when the NUL-terminated line carries a correct "*HH" checksum.
    static int checkNmeaSum(const char *line);

    // ffmpeg used by genGpsFile(); defaults to the resource directory's.
    QString ffmpegPath;
    int extractSlices = 40; // 20 s

    // Held by a parse thread while it fills the store: a newer opening waits
    // for the running parse instead of writing beside it.
    QMutex parseMutex;

private:
    friend class TrackAccumulator;
    void clearSamples();
};
