#pragma once

// Every mpv option, property and command the media layer uses, in one place.
namespace media::mpv {

// Options set before the core starts.
inline constexpr const char *optVo = "vo";       // "libmpv" with a VideoOutput, else "null"
inline constexpr const char *optHwdec = "hwdec"; // "no": the render API copes either way
inline constexpr const char *optHwdecInterop =
    "gpu-hwdec-interop";                                // "no": no probing for CUDA and the like
inline constexpr const char *optIdle = "idle";          // "yes": the core outlives each file
inline constexpr const char *optKeepOpen = "keep-open"; // "no": the end of a file ends it
inline constexpr const char *optSid = "sid"; // "no": a track subtitle is data, not text to show
inline constexpr const char *optSubAuto = "sub-auto";     // "no": no ".srt" beside the video either
inline constexpr const char *optVolumeMax = "volume-max"; // room for a gain of 4
inline constexpr const char *optTerminal = "terminal";    // "no"
inline constexpr const char *optInputBindings = "input-default-bindings"; // "no"
inline constexpr const char *optAo = "ao";                                // audio driver list
inline constexpr const char *optHrSeek = "hr-seek"; // "yes": exact seeks (preview)
inline constexpr const char *optAid = "aid";        // "no" closes the audio output
inline constexpr const char *optAudioChannels = "audio-channels";
inline constexpr const char *optAf = "af"; // audio filters (channel routing)
inline constexpr const char *optPause = "pause";
// Per-file options of loadfile: the other cameras' files of a moment, and
// the filter graph that composes them with the loaded one.
inline constexpr const char *optExternalFile = "external-file"; // appends one file
inline constexpr const char *optLavfiComplex = "lavfi-complex"; // "[vid1]…[vo]"

// Properties read or observed.
inline constexpr const char *propTimePos = "time-pos";     // seconds, double
inline constexpr const char *propDuration = "duration";    // seconds, double
inline constexpr const char *propPause = "pause";          // flag
inline constexpr const char *propVolume = "volume";        // percent, cubic gain
inline constexpr const char *propCurrentAo = "current-ao"; // unavailable without an audio output
inline constexpr const char *propAudioTrack = "current-tracks/audio/id";
inline constexpr const char *propDecoderDrops = "frame-drop-count";    // frames the decoder skipped
inline constexpr const char *propOutputDrops = "vo-drop-frame-count";  // frames never shown
inline constexpr const char *propPictureWidth = "video-out-params/dw"; // after the filters
inline constexpr const char *propPictureHeight = "video-out-params/dh";
inline constexpr const char *propLavfiComplex = "lavfi-complex"; // set while playing: new layout

// Commands.
inline constexpr const char *cmdLoadFile = "loadfile"; // path, "replace"[, per-file options]
inline constexpr const char *cmdStop = "stop";
inline constexpr const char *cmdSeek = "seek";                    // seconds, "absolute+exact"
inline constexpr const char *cmdScreenshotRaw = "screenshot-raw"; // "video": the decoded frame

} // namespace media::mpv
