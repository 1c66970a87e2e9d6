#pragma once

// Test videos that carry a known track the way cameras keep it inside the
// file: an ffmpeg-made clip, rewritten with one camera layout added. The
// output plays (its video track is untouched) and is read by exiftool -ee.

#include "trackgen.h"

#include <QString>
#include <QStringList>
#include <QVector>

namespace embedgen {

// The layouts, by the names the track reader reports as its source (with a
// variant after a dash where one source has several).
//   novatek         classic freeGPS record (hour at 0x30, status at 0x48)
//   novatek-v3      newer freeGPS record (hour at 0x10, status at 0x28)
//   novatek-xor     the XOR-0xAA text variant (reported as encrypted)
//   gpmf            GoPro GPS5 + SCAL + GPSU + GPSF + GPSP, 18 fixes a payload
//   gpmf9           GoPro GPS9 (HERO11 and later), 10 fixes a payload
//   texttrack       Thinkware "gsensori,...;GNRMC,...;CAR,..." text samples
//   texttrack-nextbase  Nextbase 288-byte binary tx3g samples
//   blackvue        top-level free box with [ms]$GPRMC lines
//   camm            Google CAMM packets type 6 (and 5 with --camm5)
//   70mai           top-level GPS box of 36-byte records
//   garmin          PNDM samples in a text track
//   dji             old drones' subtitle text "GPS (lon, lat, alt)" per second
//   dji-srt         the .SRT written beside the video by newer drones
//
// Where each layout goes. The file is ftyp, [free], [GPS ], moov, mdat with
// moovFirst, else ftyp, [free], mdat, [GPS ], moov. Media data keeps the
// clip's samples in their order; a layout's per-second record for second i
// goes right in front of the first sample that plays at i s or later, so
// records and video interleave (tracks' chunks are split there).
//   novatek*        block i in the media data: 0x4000 bytes, 0x8000 without
//                   the index (exiftool's scan misses blocks closer than
//                   32 KiB apart); index: moov/"gps " after the last trak.
//                   Time: block order, one a second; clock: UTC fields.
//   gpmf, gpmf9     trak: hdlr 'meta' "GoPro MET", sample entry 'gpmd',
//                   timescale 1000, sample i at i s lasting 1 s (until the
//                   next sample, across a gap). Fix j of payload i at
//                   i + j/18 s (GPS9: j/10), on the line from fix i to fix
//                   i + 1 (the last fix holds). GPSU: UTC of fix i.
//   texttrack*, garmin, dji
//                   trak: hdlr 'text' (exiftool decodes text only under it),
//                   sample entry 'tx3g' (mp4) or 'text' (mov), samples as
//                   for gpmf. Samples: u16 BE length + text, except the
//                   Nextbase 288-byte records (length field 0x0120 counting
//                   itself; camera local time written as UTC; checksums
//                   over the "$" too, so they do not validate) and Garmin's
//                   u16 length + 20-byte PNDM record (mph at 8, semicircles
//                   at 12 and 16, big-endian).
//   camm            trak: hdlr 'meta', sample entry 'camm'; one packet a
//                   sample; type 6 time = Unix time - 315964800 (GPS epoch,
//                   no leap seconds).
//   blackvue        top-level free box right after ftyp: cprt, sttm (ms of
//                   fix 0, the cameras' local time, here UTC), ptnm,
//                   "gps " ("[ms]$GPRMC...*HH\n", ms of fix i = sttm +
//                   1000 i), "3gf " (10 a second, ends 0xFFFFFFFF).
//   70mai           top-level "GPS " box right in front of moov (after
//                   moov, exiftool is still under udta's handler), 36-byte
//                   LE records: u32 1, u32 1, u32 i, u32 km/h x 1000, then
//                   the reference letter as one byte at 16 with the
//                   DDMM.MMM x 1000 latitude right after it at 17, the same
//                   at 21 and 22 for longitude (unaligned, as exiftool and
//                   other 70mai readers decode it), 10 zero bytes; an
//                   all-zero record ends the list.
//   dji-srt         the clip rewritten with nothing added, NAME.SRT beside
//                   it: 30 blocks a second, block n at n/30 s (times
//                   truncated to ms), position on the line from fix i to
//                   fix i + 1.
// The moov's mvhd creation time is set to the first fix (UTC).
// No fix (coldStart, invalidSeconds): status 'V' (novatek; NMEA with empty
// fields), GPSF 0 or fix 0 (GoPro, camm type 6); positions are zero during
// a cold start and the last valid fix later. Layouts without a status
// write zero positions (camm type 5, 70mai with letters 0, Garmin, DJI,
// the XOR variant with fix byte 0). A gap: no record at all; a timed track
// whose first record comes later than second 0 starts with an empty edit
// (exiftool ignores edit lists and places it at 0).
QStringList layouts();

struct Options
{
    QString layout = "novatek";
    QString container = "mp4"; // "mp4" or "mov" (brand and handler names)
    bool index = true;         // novatek: the moov/gps index; false: blocks found by scanning
    bool moovFirst = false;    // moov before mdat (else after, as ffmpeg writes it)
    bool largeSizes = false;   // 64-bit box sizes (size field 1) for mdat and the added boxes
    bool co64 = false;         // chunk offsets of every track as co64
    // A sparse hole of this many bytes at the start of mdat, before all media
    // and GPS data. mdat takes a 64-bit size and all tracks co64 when the
    // file then passes 4 GiB (the novatek index cannot: write() fails).
    qint64 padBytes = 0;
    bool padAtEnd = false;       // the hole after the media data instead of before it
    QVector<int> invalidSeconds; // fixes written with status invalid / no lock
    int coldStart = 0;           // first N seconds: no lock, zeros or stale positions
    int gapFrom = -1;            // seconds [gapFrom, gapTo) carry no fix at all
    int gapTo = -1;
    QString date = "2023-05-14"; // UTC date of the first fix
    bool camm5 = false;          // camm: type-5 packets (position only) in place of type 6
    bool cammUnix = false;       // camm: type-6 times in Unix time, not GPS time
    bool cammMotion = false;     // camm: orientation and gyro packets before each fix
    bool gps5Beside = false;     // gpmf9: a GPS5 stream too, its GPSU 1.4 s late (HERO11)
};

// The altitude (m) and course (degrees) written with fix i of the drive.
double altitudeAt(int i);
double courseAt(const QVector<trackgen::Fix> &fixes, int i);

// Writes `out`: the video of `clip` (an MP4/MOV made by trackgen::makeClip)
// with the fixes (fix i belongs to second i of the video) in the layout of
// `options`. For "dji-srt" NAME.SRT is written beside it. The clip's own
// free/wide boxes are dropped and ftyp is written for options.container.
// False with a message in `error` when it cannot.
bool write(const QString &clip, const QString &out, const QVector<trackgen::Fix> &fixes,
           const Options &options, QString *error = nullptr);

// Clip and layout in one step: a clip of fixes.size() seconds made with
// ffmpeg next to `out`, then write().
bool make(const QString &out, const QVector<trackgen::Fix> &fixes, const Options &options,
          QString *error = nullptr);

} // namespace embedgen
