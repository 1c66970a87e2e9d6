#pragma once

// What the readers of GPS kept inside videos produce: fixes placed on the
// video's timeline, before they become the one-a-second store.

#include <QString>
#include <QVector>
#include <cmath>
#include <limits>

class VideoInfoParse;

namespace embedded {

class Container;

enum class Clock
{
    None,  // the layout has no clock of its own
    Utc,   // NMEA, GPMF, Novatek, CAMM
    Local, // the camera's own clock setting (Nextbase text, BlackVue, DJI)
};

struct Fix
{
    static constexpr double none = std::numeric_limits<double>::quiet_NaN();

    double at = 0.0; // s on the video's timeline
    bool valid = false;
    double latitude = 0.0; // signed degrees
    double longitude = 0.0;
    double speedKmh = 0.0;
    qint64 clockMs = -1;                  // ms since 1970 on the fix's own clock, -1 without one
    double altitude = none;               // m
    double course = none;                 // degrees from north
    double accel[3] = {none, none, none}; // g
};

struct Telemetry
{
    QString source; // "novatek", "gpmf", ... as velomar-track prints it
    Clock clock = Clock::None;
    QVector<Fix> fixes;
    // The file's creation time (Unix s) where it has one: the clock of
    // layouts without their own.
    qint64 fileCreation = -1;
    // The video's length in seconds where the container gives it: the store
    // has no second past it.
    double videoDuration = 0.0;
    // Set with Outcome::Refused: what went wrong and at which file offset.
    QString error;
};

enum class Outcome
{
    Absent,   // the file does not carry this layout
    Read,     // fixes are in the telemetry (maybe none valid)
    Refused,  // the layout is there but cannot be read; error says why
    Deferred, // there, but the subtitle path reads it (NMEA text as ffmpeg converts it)
};

// One layout of GPS inside a video.
class LayoutReader
{
public:
    virtual ~LayoutReader() = default;
    virtual const char *source() const = 0;
    // One line for `velomar-track formats`: the layout and the cameras.
    virtual const char *description() const = 0;
    virtual Outcome read(Container &file, Telemetry &out) = 0;
};

// Every layout, in the order a video is inspected.
const QVector<LayoutReader *> &layoutReaders();

// Inspects the video's container and reads the first layout it carries.
// Absent for a file that is no MP4/MOV or carries none of them; Deferred
// when its track is an NMEA subtitle stream.
Outcome readVideo(const QString &path, Telemetry &out);

// Fills the store with one sample a playback second from the fixes: second k
// holds the valid fix nearest to k s within half a second, else an invalid
// placeholder. Fixes no vehicle can reach are made invalid first. Returns 0,
// or -1 when fewer than two fixes are valid (the store's own rule).
int fillStore(Telemetry &telemetry, VideoInfoParse &store);

// Marks invalid the fixes that are out of range or that jump farther from
// the fixes around them than 300 km/h allows.
void rejectImpossible(QVector<Fix> &fixes);

// Metres along the earth's surface between two positions (signed degrees).
double metresBetween(double lat1, double lon1, double lat2, double lon2);

// Fills the speed of valid fixes that have none from the distance to the
// fix about a second before (layouts that keep no speed).
void speedsFromPositions(QVector<Fix> &fixes);

constexpr double kmhPerKnot = 1.852;
constexpr double kmhPerMps = 3.6;
constexpr double kmhPerMph = 1.609344;

} // namespace embedded
