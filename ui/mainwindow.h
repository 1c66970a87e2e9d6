#pragma once

#include <QDateTime>
#include <QElapsedTimer>
#include <QMainWindow>
#include <QPointer>
#include <QString>
#include <memory>

class BrowserPage;
class Cameras;
class RecordingKinds;
class DriveList;
namespace trip {
struct Clip;
}
class EvidenceExport;
class QAction;
class QLabel;
class QMenu;
class QProgressDialog;
class QListWidgetItem;
class ParseFileThread;
class QStackedLayout;
class QTimer;
class QWebEngineView;
class QWebSocket;
class QWebSocketServer;
class LanguageParse;
class LoadingDialog;
class QMeter;
struct VideoInfo;
class VideoInfoParse;
class VideoSettings;
namespace media {
class AVError;
class AVPlayer;
class VideoOutput;
class VideoPreviewWidget;
} // namespace media
namespace Ui {
class MainWindow;
}

// The player's one window: video, dashboard, gauge, map and controls.
// Construction and layout live in mainwindow.cpp, settings and languages in
// mainwindow_settings.cpp, playback control in mainwindow_playback.cpp and the
// per-second dashboard and map in mainwindow_sync.cpp.
class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

    // Places every widget for a window of w x h pixels.
    void resetUI(int w, int h);
    void logoWidgetInit();

    void loadParam();
    void saveParam();
    void setUp_Language(QString language);
    void resetVideoParam();

    void quitApp();

    // Where config.ini lies.
    static QString settingsPath();

    // Videos to play, or folders read as their drives: a drop, or the paths
    // given on the command line.
    void openPaths(const QStringList &paths);

public slots:
    // Playback control.
    void on_btnOpenFile_clicked();
    void on_btnPlay_clicked();
    void videoInfoParseEnd();
    void on_btnStop_clicked();
    void playButtonSound();
    void on_btnSnap_clicked();
    QString checkPhotoDir();
    void on_btnFullScreen_clicked();
    void setVolume();
    void on_audioSlider_sliderMoved(int position);
    void on_audioSlider_sliderPressed();
    void on_listVideo_currentRowChanged(int row);
    void on_listVideo_itemDoubleClicked(QListWidgetItem *item);
    void updatePreview(const QImage &image);
    void onCaptureSaved(const QString &path);
    void onCaptureError();
    void on_photoPreview_Clicked();
    void handleError(const media::AVError &error);
    void changeChannel(int layout);

    // The dashboard and map, second by second.
    void updateSlider(qint64 position);
    void updateVideoInfo(int second);
    void videoPlayStarted();
    void videoPlayStopped();
    void seekBySlider(int second);
    void on_videoSlider_sliderMoved(int value);
    void on_videoSlider_sliderPressed();
    void on_videoSlider_valueChanged(int value);
    void onTimeSliderHover(int x, int value);
    void onTimeSliderLeave();

    // The map: the embedded page and the browser copy.
    void drawGpsRoadMap();
    void runRemoteScript(const QString &script);
    void onNewConnection();
    void loadFinished(bool ok);

    void on_btnExit_clicked();
    void on_cmbLanguage_currentIndexChanged(int index);
    void on_cmbSpeedUnit_currentTextChanged(const QString &text);
    void on_cmbMapType_currentIndexChanged(int index);
    void actionabout(QAction *action);
    void fileDownloadProgress(qint64 done, qint64 total);

    // Drives: a folder's clips in recording order, played as one.
    void openFolder();                         // the menu's "Open folder…"
    void openDrives(const QStringList &paths); // files and folders, read in the background
    void onDrivesRead(bool cancelled);
    void onMapClick(double latitude, double longitude); // play the clip and second nearest
    // The track against the picture, imports and exports (mainwindow_tracktools.cpp).
    void editOffset();          // the menu's "Time offset…"
    void stepOffset(int delta); // keys [ and ]
    void importTrack();         // the menu's "Import track…"
    void exportTrack();         // the menu's "Export track…"
    void removeImportedTrack(); // the menu's "Remove imported track"

protected:
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    QString mapPage() const;  // the embedded page that cmbMapType chooses
    int layoutHeight() const; // the window's height less an in-window menu bar
    void startSelected();     // play the selected entry now, or after the current one stops
    bool videoOpen() const;   // playing or paused: what Stop, a new choice and a page load act on
    void openVideo(const QString &path);         // read the track, then play
    void sendMapCommand(const QString &command); // the embedded page, then the browser copy
    void sendMapPoint(const char *command, const VideoInfo &sample);
    void sendTravelledLine(int upTo); // setLineNewPoint for each valid sample before upTo
    // A seek's route and travelled line, drawn at most once a frame, and not
    // before the page has run the last drawing; the last asked for always.
    void redrawMapAt(int second);
    void redrawMapNow();
    bool mapRedrawInFlight() const;
    class PageBatch;
    double speedFactor() const; // 1 for km/h, 0.6213712 for miles
    void startMapServer();

    Ui::MainWindow *ui;
    media::AVPlayer *player = nullptr;
    QWidget *logoWidget = nullptr;
    int screenWidth = 0;
    VideoInfoParse *videoInfoParse = nullptr; // never deleted: a parse may still run at exit
    LoadingDialog *loadingDialog = nullptr;
    QTimer *parseTimer = nullptr;
    QMeter *meter = nullptr;
    LanguageParse *language = nullptr;
    QString captureDir;
    QStackedLayout *stackedLayout = nullptr;
    media::VideoOutput *videoOutput = nullptr;
    QWebEngineView *webView = nullptr;
    QWebSocketServer *wsServer = nullptr;
    QPointer<QWebSocket> wsClient;            // the browser copy; a newer one replaces it
    QString mapToken;                         // proves a browser page was opened by this run
    std::unique_ptr<BrowserPage> browserPage; // what the desktop opens for it
    bool mapPageLoaded = false;               // the embedded page can take commands
    QStringList *pageBatch = nullptr;         // commands gathered for one script (PageBatch)
    QTimer *mapRedrawTimer = nullptr;
    int mapRedrawSecond = -1;    // the seek still to be drawn
    QElapsedTimer mapRedrawSent; // valid while the page has not run the last drawing
    std::shared_ptr<bool> windowAlive = std::make_shared<bool>(true); // gone before the widgets
    media::VideoPreviewWidget *previewWidget = nullptr;
    bool autoPlayNext = false;
    bool initialized = false;
    QString mediaDir;
    QPointer<ParseFileThread> parseThread; // deletes itself once finished
    bool replayRequested = false;

    // From a choice to its first frame the player is neither playing nor
    // paused: first the track is read (Parsing), then the player opens the
    // file (Starting). A new parse starts only once nothing is open, so the
    // store is never refilled while the window reads it.
    enum class Opening
    {
        None,
        Parsing,
        Starting
    };
    enum class AfterParse
    {
        Play,        // the video that was parsed
        OpenSelected // a newer choice came meanwhile: parse it instead
    };
    Opening opening = Opening::None;
    AfterParse afterParse = AfterParse::Play;
    QString openingPath;
    bool pauseOnStart = false;   // Play, reading "Pause", was pressed before the first frame
    bool stopAfterError = false; // the player's stop that follows an error was handled already
    int lastSecond = -1;

    // The drive on the map
public:
    // Both maps show the drive, routes[i] clip i's route as QPointF(latitude,
    // longitude), under clip `current`, which plays; current -1 takes the
    // drive off the maps. The same routes with another current keep the
    // drive drawn and only move the playing clip on.
    void setMapDrive(const QVector<QVector<QPointF>> &routes, int current);
signals:
    // A click on the drive's route (or the playing clip's) on either map.
    void mapClicked(double latitude, double longitude);

private:
    void sendMapDrive();             // the drive last set, to the targets of sendMapCommand
    void bringBrowserCopyUpToDate(); // a new client: the drive, route and line so far
    void onMapClientMessage(QWebSocket *socket, const QString &message);
    QVector<QVector<QPointF>> mapDrive;    // the drive shown; empty: none
    int mapDriveCurrent = -1;              // its clip that plays
    bool mapCommandsToBrowserOnly = false; // sendMapCommand leaves the embedded page out

    // Drives of an opened folder (mainwindow_trip.cpp).
    void setUpDriveMenu();
    void retranslateDriveTexts();
    void updateTripLine(int second);
    void showDriveOnMap();
    bool nextInDrive() const; // the entry after the current one continues its drive
    int nextPlayableRow(int from) const;
    DriveList *driveList = nullptr;
    QProgressDialog *driveProgress = nullptr;
    QLabel *tripLine = nullptr;
    QMenu *driveMenu = nullptr;
    QAction *actionOpenFolder = nullptr;
    // Times on the camera's clock (the one the picture shows), or in UTC.
    QAction *actionUtcTimes = nullptr;
    int cameraOffset() const;        // seconds from UTC to the open clip's camera clock
    mutable QString loneOffsetVideo; // a video opened alone, and its camera's offset
    mutable int loneOffset = 0;
    mutable QDateTime loneStart, loneUtc; // when it began, on its camera's clock and in UTC
    QString shownTime(const VideoInfo &sample) const;
    // The sample's date and time on that clock; invalid without a fix.
    QDateTime shownDateTime(const VideoInfo &sample) const;
    QLabel *dateLabel = nullptr; // the date, in the time's title row
    void refillDriveList();
    int pendingSeek = -1;         // a map click's second, for the clip being opened
    bool continuingDrive = false; // the clip that stopped goes on in the next one

    // Offsets and imported tracks, kept per video in the settings folder.
    void setUpTrackTools();
    void retranslateTrackTools();
    QString currentVideo() const;                  // the video open, else the selected entry
    QStringList scopeVideos(const QString &title); // this clip or its whole drive; empty: cancelled
    void applyTrackSettings(int offsetChange); // read the open video's track again, keep playing
    void showOffset();
    std::unique_ptr<VideoSettings> videoSettings;
    Cameras *cameras = nullptr;               // the channels of a moment, and their layout
    RecordingKinds *recordingKinds = nullptr; // badges and the filter of the list
    QLabel *offsetLabel = nullptr;
    QAction *actionImport = nullptr;
    QAction *actionExport = nullptr;
    QAction *actionOffset = nullptr;
    QAction *actionTrackSource = nullptr;  // which track is shown: a line of the menu
    QAction *actionRemoveImport = nullptr; // "Remove imported track"
    QString trackSourceText() const;
    void updateTrackSource(); // the two above, for the video open

    // Evidence clips: the stretch marked with I and O, "Export video…"
    // (mainwindow_export.cpp).
    void setUpEvidenceExport();
    void showMarks();            // the marked stretch on the slider and the maps
    void sendMarkedRoute();      // to a page that has just loaded or connected
    trip::Clip loneClip() const; // the video open, when it belongs to no drive
    EvidenceExport *evidence = nullptr;
    QVector<QPointF> markedRoute; // on the maps now
};
