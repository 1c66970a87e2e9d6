#include "gpstime.h"

#include <cmath>

namespace gpstime {

int leapSeconds(qint64 unixSeconds)
{
    // The Unix times at which GPS time gained one more second on UTC.
    static const qint64 steps[] = {
        362793600,  // 1981-07-01
        394329600,  // 1982-07-01
        425865600,  // 1983-07-01
        489024000,  // 1985-07-01
        567993600,  // 1988-01-01
        631152000,  // 1990-01-01
        662688000,  // 1991-01-01
        709948800,  // 1992-07-01
        741484800,  // 1993-07-01
        773020800,  // 1994-07-01
        820454400,  // 1996-01-01
        867715200,  // 1997-07-01
        915148800,  // 1999-01-01
        1136073600, // 2006-01-01
        1230768000, // 2009-01-01
        1341100800, // 2012-07-01
        1435708800, // 2015-07-01
        1483228800, // 2017-01-01
    };
    int n = 0;
    for (qint64 s : steps)
        n += unixSeconds >= s;
    return n;
}

double fromUnix(double unixSeconds)
{
    return unixSeconds - double(epochUnix) + leapSeconds(qint64(std::floor(unixSeconds)));
}

double toUnix(double gpsSeconds)
{
    const double approx = gpsSeconds + double(epochUnix);
    // The leap count at the UTC moment, found from the moment less the
    // count at the GPS reading (they differ only within a second of a step).
    return approx - leapSeconds(qint64(std::floor(approx - leapSeconds(qint64(approx)))));
}

} // namespace gpstime
