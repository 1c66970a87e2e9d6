#pragma once

#include <QString>
#include <limits>

// One track sample: the fix of one second of video. Latitude and longitude
// are magnitudes when the hemisphere flags carry the sign (NMEA sources).
struct VideoInfo
{
    QString date; // "YYYY:MM:DD", or "FFFF:FF:FF" when the source has none
    QString time; // "hh:mm:ss"
    double latitude = 0.0;
    int isNorth = 0;
    double longitude = 0.0;
    int isEast = 0;
    double speed = 0.0; // km/h
    int valid = 0;

    // Kept beside the fix where the video carries them (NaN where not); the
    // dashboard does not show them.
    static constexpr double none = std::numeric_limits<double>::quiet_NaN();
    double altitude = none;               // m
    double course = none;                 // degrees from north
    double accel[3] = {none, none, none}; // g

    // An invalid sample still holds its second, with neutral values.
    void makePlaceholder()
    {
        date = QStringLiteral("FFFF:FF:FF");
        time = QStringLiteral("00:00:00");
        latitude = 0.0;
        longitude = 0.0;
        speed = 0.0;
    }

    double signedLatitude() const { return isNorth ? latitude : -latitude; }
    double signedLongitude() const { return isEast ? longitude : -longitude; }
};
