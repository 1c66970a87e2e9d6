// MainWindow: construction, layout, window states, closing.

#include "mainwindow.h"
#include "videosettings.h"

#include "aboutdialog.h"
#include "avplayer.h"
#include "browserpage.h"
#include "cameras.h"
#include "config.h"
#include "languageparse.h"
#include "loadingdialog.h"
#include "maplink.h"
#include "mappage.h"
#include "qmeter.h"
#include "recordingkinds.h"
#include "ui_mainwindow.h"
#include "videocapture.h"
#include "videoinfoparse.h"
#include "videooutput.h"
#include "videopreviewwidget.h"
#include "webengine.h"

#include <QCloseEvent>
#include <QDebug>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QMenuBar>
#include <QMessageBox>
#include <QScreen>
#include <QShortcut>
#include <QStackedLayout>
#include <QTimer>
#include <QVBoxLayout>
#include <QWebEnginePage>
#include <QWebEngineView>
#include <QWebSocketServer>

MainWindow::MainWindow(QWidget *parent) : QMainWindow(parent), ui(new Ui::MainWindow)
{
    qDebug() << "-----------------------------start up-----------------------------";
    ui->setupUi(this);
    setUpDriveMenu();
    autoPlayNext = true;

    player = new media::AVPlayer(this);

    ui->photoPreview->setPixmap(QPixmap(Config::getInstance()->imageDir + "/photo_dir.png")
                                    .scaled(ui->photoPreview->size(), Qt::IgnoreAspectRatio));
    logoWidget = new QWidget;

    // Start at 5/8 of the screen's short side, 16:9, centred; never smaller.
    const QRect screen = QGuiApplication::primaryScreen()->geometry();
    screenWidth = screen.width();
    const int screenHeight = screen.height();
    qDebug() << "screen width: " << screenWidth << ", height: " << screenHeight;
    int w, h;
    if (screenWidth <= screenHeight) {
        w = screenWidth * 5 / 8;
        h = w * 9 / 16;
    } else {
        h = screenHeight * 5 / 8;
        w = h * 16 / 9;
    }
    h = h + 30;
    qDebug() << "width: " << w << ", height: " << h;
    // The minimum first: the form's own (848 x 555) would stop a smaller
    // start size on a portrait screen.
    setMinimumSize(w, h);
    resize(w, h);
    move((screenWidth - w) / 2, (screenHeight - h) / 2);

    videoInfoParse = new VideoInfoParse;
    setUpTrackTools(); // before any parse: the store reads the per-video settings
    cameras = new Cameras(player, driveMenu, this);
    connect(cameras, &Cameras::layoutChosen, this, [this] { saveParam(); });
    recordingKinds = new RecordingKinds(driveMenu, this);
    connect(recordingKinds, &RecordingKinds::filterChanged, this, [this] {
        refillDriveList();
        saveParam();
    });
    setUpEvidenceExport();
    loadingDialog = new LoadingDialog;
    parseTimer = new QTimer;
    connect(parseTimer, SIGNAL(timeout()), this, SLOT(videoInfoParseEnd()));
    mapRedrawTimer = new QTimer(this);
    mapRedrawTimer->setSingleShot(true);
    mapRedrawTimer->setInterval(16); // a frame
    connect(mapRedrawTimer, &QTimer::timeout, this, &MainWindow::redrawMapNow);

    meter = new QMeter;
    auto *meterLayout = new QVBoxLayout;
    meterLayout->setContentsMargins(0, 0, 0, 0);
    meterLayout->addWidget(meter);
    ui->speedPan->setLayout(meterLayout);

    language = new LanguageParse;
    loadParam();
    resetVideoParam();

    for (QWidget *display :
         {static_cast<QWidget *>(ui->txtTime), static_cast<QWidget *>(ui->txtJingdu),
          static_cast<QWidget *>(ui->txtWeidu), static_cast<QWidget *>(ui->txtCurSpeed),
          static_cast<QWidget *>(ui->txtMaxSpeed), static_cast<QWidget *>(ui->txtAvgSpeed),
          static_cast<QWidget *>(ui->txtDistance)})
        display->setStyleSheet("color: rgb(0, 162, 232);\n");

    captureDir = player->videoCapture()->captureDir();

    stackedLayout = new QStackedLayout;
    stackedLayout->setStackingMode(QStackedLayout::StackOne);
    stackedLayout->setContentsMargins(0, 0, 0, 0);
    ui->videoOut->setLayout(stackedLayout);
    videoOutput = new media::VideoOutput(this);
    if (!videoOutput->widget()) {
        qWarning() << "no video output: the window runs without map, drops or server";
        return;
    }
    player->setRenderer(videoOutput);
    connect(videoOutput, &media::VideoOutput::pressed, cameras, &Cameras::pressedAt);
    stackedLayout->addWidget(videoOutput->widget());
    stackedLayout->addWidget(logoWidget);
    stackedLayout->setCurrentIndex(1);
    ui->audioSlider->setRange(0, 100);
    ui->audioSlider->setValue(50);

    prepareWebEngine();
    webView = new QWebEngineView;
    const QString mapDir = Config::getInstance()->mapDir;
    webView->setPage(new MapPage({mapDir + "/Google-earth.html", mapDir + "/AMap.html"}, webView));
    auto *webLayout = new QVBoxLayout;
    webLayout->setContentsMargins(0, 0, 0, 0);
    webLayout->addWidget(webView);
    ui->webBrowser->setLayout(webLayout);
    connect(webView->page(), SIGNAL(loadFinished(bool)), this, SLOT(loadFinished(bool)));
    // A page still loading has no commands defined yet; its loadFinished
    // brings it up to date.
    connect(webView->page(), &QWebEnginePage::loadStarted, this, [this] { mapPageLoaded = false; });
    qDebug() << Config::getInstance()->mapDir;
    webView->load(QUrl::fromLocalFile(mapPage()));
    webView->show();

    connect(player, SIGNAL(positionChanged(qint64)), this, SLOT(updateSlider(qint64)));
    connect(player, SIGNAL(started()), this, SLOT(videoPlayStarted()));
    connect(player, SIGNAL(stopped()), this, SLOT(videoPlayStopped()));
    connect(player, SIGNAL(error(media::AVError)), this, SLOT(handleError(media::AVError)));
    connect(player->videoCapture(), SIGNAL(imageCaptured(QImage)), this,
            SLOT(updatePreview(QImage)));
    connect(player->videoCapture(), SIGNAL(saved(QString)), this, SLOT(onCaptureSaved(QString)));
    connect(player->videoCapture(), SIGNAL(failed()), this, SLOT(onCaptureError()));
    connect(ui->videoSlider, SIGNAL(onLeave()), this, SLOT(onTimeSliderLeave()));
    connect(ui->videoSlider, SIGNAL(onHover(int, int)), this, SLOT(onTimeSliderHover(int, int)));
    connect(ui->menumenubar, SIGNAL(triggered(QAction *)), this, SLOT(actionabout(QAction *)));
    // As in other players: F11 switches full screen, Escape leaves it.
    connect(new QShortcut(QKeySequence(Qt::Key_F11), this), &QShortcut::activated, this,
            &MainWindow::on_btnFullScreen_clicked);
    connect(new QShortcut(QKeySequence(Qt::Key_Escape), this), &QShortcut::activated, this, [this] {
        if (isFullScreen())
            on_btnFullScreen_clicked();
    });
    setAcceptDrops(true);
    initialized = true;

    startMapServer();
    // The map in the user's browser too, on every start, through a page of
    // this run's own that carries the token its connection is let in with.
    browserPage = std::make_unique<BrowserPage>();
    if (browserPage->create(mapDir + "/Google-earth.html", mapToken))
        QDesktopServices::openUrl(QUrl::fromLocalFile(browserPage->path()));
}

MainWindow::~MainWindow()
{
    if (previewWidget) {
        previewWidget->close();
        delete previewWidget;
    }
    delete videoOutput;
    delete player;
    delete wsServer; // frees the port for a window made after this one
    delete ui;
}

void MainWindow::resetUI(int w, int h)
{
    Ui::MainWindow &u = *ui;
    const int vh = h - 225;
    const int vw = vh * 16 / 9;
    const int rw = w - vw;

    logoWidget->setGeometry(0, 0, vw, vh);
    logoWidgetInit();
    u.videoOut->setGeometry(0, 0, vw, vh);

    u.cmbLanguage->setGeometry(vw, h - 35, rw, 35);
    u.speedPan->setGeometry(vw, u.cmbLanguage->y() - 211, rw, 211);
    const int half = (rw - 4) / 2;
    u.cmbSpeedUnit->setGeometry(vw, u.speedPan->y() - 35, half, 35);
    u.cmbMapType->setGeometry(vw + rw / 2 + 2, u.speedPan->y() - 35, half, 35);

    if (h >= 601)
        u.listVideo->setGeometry(vw, 0, rw, u.cmbSpeedUnit->y() / 2);
    else
        u.listVideo->setGeometry(vw, 0, rw, 70);
    // The drive's line, while a clip of a drive plays, sits between the
    // list and the map.
    const int tripHeight = tripLine && !tripLine->isHidden() ? 24 : 0;
    if (tripLine)
        tripLine->setGeometry(vw, u.listVideo->y() + u.listVideo->height(), rw, tripHeight);
    u.webBrowser->setGeometry(vw, u.listVideo->height() + tripHeight, rw,
                              u.cmbSpeedUnit->y() - u.listVideo->height() - tripHeight);

    // The first button starts 6 pixels off the edge to hide its left border.
    const int bw = (vw + 2) / 6;
    const int by = h - 37;
    u.btnOpenFile->setGeometry(-6, by, bw, 41);
    QWidget *previous = u.btnOpenFile;
    for (QWidget *button :
         {static_cast<QWidget *>(u.btnPlay), static_cast<QWidget *>(u.btnStop),
          static_cast<QWidget *>(u.btnSnap), static_cast<QWidget *>(u.btnFullScreen),
          static_cast<QWidget *>(u.btnExit)}) {
        button->setGeometry(previous->x() + bw + 2, by, bw, 41);
        previous = button;
    }

    const int c3 = (vw - 52) / 3;
    u.txtTimeTip->setGeometry(0, vh, c3 + 14, 30);
    u.txtWeiduTip->setGeometry(u.txtTimeTip->x() + u.txtTimeTip->width(), vh, c3 + 14, 30);
    u.txtJingduTip->setGeometry(u.txtWeiduTip->x() + u.txtTimeTip->width(), vh, c3, 30);
    u.txtTime->setGeometry(0, u.txtTimeTip->y() + 30, c3, 40);
    if (offsetLabel) // the track's offset, at the end of the time's title
        offsetLabel->setGeometry(c3 - 70, vh, 70, 30);
    if (dateLabel) // the date, before the offset
        dateLabel->setGeometry(c3 - 70 - 96, vh, 96, 30);
    u.txtWeidu->setGeometry(u.txtTime->x() + c3 + 14, u.txtWeiduTip->y() + 30, c3, 40);
    u.txtJingdu->setGeometry(u.txtWeidu->x() + c3 + 14, u.txtWeidu->y(), c3, 40);

    u.audioSlider->setGeometry(28 + 3 * c3, vh, vw - 3 * c3 - 28, 140);

    const int c4 = (vw - 60) / 4;
    const int y2 = u.txtTime->y() + 40;
    u.txtCurSpeedTip->setGeometry(0, y2, c4 + 12, 30);
    u.txtMaxSpeedTip->setGeometry(u.txtCurSpeedTip->x() + u.txtCurSpeedTip->width(), y2, c4 + 12,
                                  30);
    u.txtAvgSpeedTip->setGeometry(u.txtMaxSpeedTip->x() + u.txtMaxSpeedTip->width(), y2, c4 + 12,
                                  30);
    u.txtDistanceTip->setGeometry(u.txtAvgSpeedTip->x() + u.txtAvgSpeedTip->width(), y2, c4, 30);
    u.txtCurSpeed->setGeometry(0, u.txtCurSpeedTip->y() + 30, c4, 40);
    u.txtMaxSpeed->setGeometry(u.txtCurSpeed->x() + c4 + 12, u.txtMaxSpeedTip->y() + 30, c4, 40);
    u.txtAvgSpeed->setGeometry(u.txtMaxSpeed->x() + c4 + 12, u.txtAvgSpeedTip->y() + 30, c4, 40);
    u.txtDistance->setGeometry(u.txtAvgSpeed->x() + c4 + 12, u.txtDistanceTip->y() + 30, c4, 40);

    const int gap = (u.btnExit->y() - u.audioSlider->y() - u.audioSlider->height() - 45) / 2 + 2;
    u.photoPreview->setGeometry(vw - 80, u.audioSlider->y() + u.audioSlider->height() + gap, 80,
                                45);

    const int y3 = u.photoPreview->y() + 11;
    u.txtPlayTime->setGeometry(0, y3, 50, 22);
    u.txtTotalTime->setGeometry(u.photoPreview->x() - 50, y3, 50, 22);
    u.videoSlider->setGeometry(u.txtPlayTime->x() + 50, y3, u.txtTotalTime->x() - 50, 22);
}

void MainWindow::logoWidgetInit()
{
    logoWidget->setAutoFillBackground(true);
    QPalette palette = logoWidget->palette();
    palette.setBrush(
        QPalette::Window,
        QBrush(QPixmap(Config::getInstance()->imageDir + "/banner.png")
                   .scaled(logoWidget->size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation)));
    logoWidget->setPalette(palette);
}

int MainWindow::layoutHeight() const
{
    // Where the menu bar sits inside the window (not a global one), the
    // widgets have that much less height.
    return height() - (menuBar()->isNativeMenuBar() ? 0 : menuBar()->height());
}

void MainWindow::resizeEvent(QResizeEvent *)
{
    // Every size is laid out, full screen too: under a window manager the
    // state change comes before the new size, so laying out only on the
    // state change would keep the old places.
    resetUI(width(), layoutHeight());
}

void MainWindow::changeEvent(QEvent *event)
{
    if (event->type() != QEvent::WindowStateChange)
        return;
    if (windowState() == Qt::WindowFullScreen) {
        resetUI(width(), layoutHeight());
        ui->btnFullScreen->setText(language->get("TXT_BTN_NORMAL_SCREEN"));
    } else if (windowState() == Qt::WindowNoState) {
        resetUI(width(), layoutHeight());
        ui->btnFullScreen->setText(language->get("TXT_BTN_FULL_SCREEN"));
    }
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    const int choice =
        QMessageBox::information(this, language->get("TXT_TIP"), language->get("TXT_TIP_EXIT"),
                                 language->get("TXT_TIP_YES"), language->get("TXT_TIP_NO"));
    if (choice == 0)
        quitApp();
    event->ignore(); // the application ends through quitApp only
}

void MainWindow::quitApp()
{
    if (videoOpen()) {
        qDebug() << "quitApp stop record";
        player->stop();
    }
    QCoreApplication::quit();
}

void MainWindow::on_btnExit_clicked()
{
    qDebug() << "on_btnExit_clicked";
    close();
}

void MainWindow::actionabout(QAction *)
{
    qDebug() << "about";
    (new AboutDialog)->show(); // each one stays until the program ends
}

void MainWindow::resetVideoParam()
{
    ui->videoSlider->setValue(0);
    meter->setValue(0.0);
    ui->btnPlay->setText(language->get("TXT_BTN_START_PLAY"));
    ui->txtTime->display("00:00:00");
    ui->txtJingdu->display("0.000000");
    ui->txtWeidu->display("0.000000");
    ui->txtCurSpeed->display("0.00");
    ui->txtMaxSpeed->display("0.00");
    ui->txtAvgSpeed->display("0.00");
    ui->txtDistance->display("0.00");
    ui->txtPlayTime->setText("00:00");
    ui->txtTotalTime->setText("00:00");
    ui->btnPlay->setEnabled(ui->listVideo->count() > 0);
    ui->btnStop->setEnabled(false);
    ui->btnSnap->setEnabled(false);
    ui->videoSlider->setEnabled(false);
}
