#pragma once

#include <QMainWindow>
#include <QString>

class QAction;
class QStackedLayout;
class QTimer;
class QWebEngineView;
class QWebSocketServer;
class LanguageParse;
class LoadingDialog;
class QMeter;
class VideoInfoParse;
namespace media {
class AVPlayer;
class VideoOutput;
class VideoPreviewWidget;
} // namespace media
namespace Ui {
class MainWindow;
}

// The player's one window: video, dashboard, gauge, map and controls.
// Construction and layout live in mainwindow.cpp, settings and languages in
// mainwindow_settings.cpp.
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

public slots:
    void on_btnExit_clicked();
    void on_cmbLanguage_currentIndexChanged(int index);
    void on_cmbSpeedUnit_currentTextChanged(const QString &text);
    void on_cmbMapType_currentIndexChanged(int index);
    void actionabout(QAction *action);

protected:
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    QString mapPage() const;  // the embedded page that cmbMapType chooses
    int layoutHeight() const; // the window's height less an in-window menu bar
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
    media::VideoPreviewWidget *previewWidget = nullptr;
    bool autoPlayNext = false;
    bool initialized = false;
    QString mediaDir;
};
