#pragma once

// Shared by the benchmarks.

#include <QByteArray>
#include <QElapsedTimer>
#include <QProcess>
#include <QStringList>
#include <algorithm>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

extern char **environ;

namespace benchutil {

// The middle value (the upper one of an even count); 0 for none.
inline double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

// A program run to its end with its output thrown away: how long it took,
// its peak resident size in MiB and its exit status (-1: it did not run).
// The kernel counts the spawning process's own peak into the child's (they
// share memory until the exec), so the caller keeps small.
struct Spawned
{
    double wallSeconds = 0;
    double peakMiB = -1;
    int exitCode = -1;
};
inline Spawned spawnMeasured(const std::vector<QByteArray> &args)
{
    std::vector<char *> argv;
    for (const QByteArray &a : args)
        argv.push_back(const_cast<char *>(a.constData()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    Spawned r;
    QElapsedTimer wall;
    wall.start();
    pid_t pid;
    const int failed = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed)
        return r;
    int status;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) != pid)
        return r;
    r.wallSeconds = wall.elapsed() / 1000.0;
    r.peakMiB = double(usage.ru_maxrss) / 1024.0; // ru_maxrss is in KiB
    r.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

// The peak resident size of one `velomar-track dump VIDEO` run by `tool`,
// in MiB, or -1 when it did not run.
inline double dumpPeakMiB(const QByteArray &tool, const QByteArray &video)
{
    return spawnMeasured({tool, "dump", video}).peakMiB;
}

// CPU seconds of this process (RUSAGE_SELF) or its finished children
// (RUSAGE_CHILDREN).
inline double cpuSeconds(int who)
{
    rusage u{};
    getrusage(who, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           double(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// mpv's own player on a file to its end, with the OpenGL output the media
// layer uses, in a 1280x720 window: the media benchmarks' yardstick.
struct MpvRun
{
    double cpuSeconds = 0;
    double wallSeconds = 0;
    QByteArray stderrText;
};
inline MpvRun runMpv(const QString &path, const QStringList &extra = {}, int timeoutMs = 180000)
{
    MpvRun r;
    const double child0 = cpuSeconds(RUSAGE_CHILDREN);
    QProcess mpv;
    mpv.setStandardInputFile(QProcess::nullDevice());
    QElapsedTimer wall;
    wall.start();
    mpv.start("mpv", QStringList{"--no-config", "--vo=gpu", "--gpu-api=opengl", "--hwdec=no",
                                 "--gpu-hwdec-interop=no", "--gpu-sw=yes", "--ao=null", "--sid=no",
                                 "--geometry=1280x720", "--no-terminal"} +
                         extra + QStringList{path});
    mpv.waitForFinished(timeoutMs);
    r.wallSeconds = wall.elapsed() / 1000.0;
    r.cpuSeconds = cpuSeconds(RUSAGE_CHILDREN) - child0;
    r.stderrText = mpv.readAllStandardError();
    return r;
}

} // namespace benchutil
