// MainWindow: evidence clips. The marks of the stretch to export, on the
// slider and the maps' routes, and "Export video…" (EvidenceExport).

#include "avplayer.h"
#include "drivelist.h"
#include "evidenceexport.h"
#include "mainwindow.h"
#include "maplink.h"
#include "slider.h"
#include "ui_mainwindow.h"
#include "videoinfoparse.h"

#include <QMenu>

void MainWindow::setUpEvidenceExport()
{
    driveMenu->addSeparator();
    evidence = new EvidenceExport(driveMenu, this);
    evidence->setLocator([this](EvidenceExport::Position *p) {
        if (!videoOpen())
            return false;
        const QString file = player->file();
        const DriveList::Place at = driveList->place(file);
        if (at.valid()) {
            p->drive = driveList->drives()[at.drive];
            p->driveIndex = at.drive;
            p->clip = at.clip;
        } else {
            p->drive.clips = {loneClip()};
            p->driveIndex = -1;
            p->clip = 0;
        }
        p->second = player->position() / 1000.0;
        evidence->setUnit(speedFactor() == 1.0 ? dashboard::Unit::Kmh : dashboard::Unit::Mph);
        return true;
    });
    connect(evidence, &EvidenceExport::marksChanged, this, &MainWindow::showMarks);
}

void MainWindow::showMarks()
{
    double from = 0.0, to = -1.0;
    QVector<QPointF> route;
    if (evidence && videoOpen()) {
        const QString file = player->file();
        const DriveList::Place at = driveList->place(file);
        if (at.valid()) {
            const trip::Drive &drive = driveList->drives()[at.drive];
            evidence->markedWithin(at.drive, at.clip, drive, &from, &to);
            route = evidence->markedRoute(at.drive, drive);
        } else {
            trip::Drive alone;
            alone.clips = {loneClip()};
            evidence->markedWithin(-1, 0, alone, &from, &to);
            route = evidence->markedRoute(-1, alone);
        }
    }
    ui->videoSlider->setMarked(from, to);
    if (route != markedRoute) {
        markedRoute = route;
        sendMapCommand(maplink::markedRouteCommand(markedRoute));
    }
}

trip::Clip MainWindow::loneClip() const
{
    // A clip opened alone is a drive of its own: its track as the store holds
    // it (read already, with its offset and import), placed on its camera's
    // clock as cameraOffset() worked out.
    trip::Clip clip;
    clip.path = player->file();
    clip.seconds = int(player->duration() / 1000);
    cameraOffset();
    if (loneOffsetVideo == clip.path) {
        clip.start = loneStart;
        clip.utc = loneUtc;
    }
    for (auto i = videoInfoParse->videoInfoMap.cbegin(); i != videoInfoParse->videoInfoMap.cend();
         ++i)
        if (i.value()->valid)
            clip.points.append({i.key(), *i.value()});
    return clip;
}

void MainWindow::sendMarkedRoute()
{
    if (!markedRoute.isEmpty())
        sendMapCommand(maplink::markedRouteCommand(markedRoute));
}
