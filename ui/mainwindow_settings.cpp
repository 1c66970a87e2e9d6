// MainWindow: the settings file and the interface language.

#include "avplayer.h"
#include "cameras.h"
#include "config.h"
#include "evidenceexport.h"
#include "languageparse.h"
#include "mainwindow.h"
#include "qmeter.h"
#include "recordingkinds.h"
#include "ui_mainwindow.h"

#include <QDebug>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>
#include <QTextStream>
#include <QUrl>
#include <QWebEngineView>

QString MainWindow::settingsPath()
{
    return Config::getCustomerDir() + "/config.ini";
}

void MainWindow::loadParam()
{
    QString lang;
    int speedUnit = 0;
    int map = 0;
    QFile file(settingsPath());
    if (file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        QTextStream in(&file);
        in.setCodec("UTF-8");
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(in.readAll().toUtf8(), &error);
        if (error.error == QJsonParseError::NoError) {
            const QJsonObject o = doc.object();
            const QStringList keys = o.keys();
            for (int i = 0; i < keys.size(); ++i)
                qDebug() << "key" << i << " is:" << keys[i];
            if (o.contains("language"))
                lang = o.value("language").toString();
            if (o.contains("speed_unit"))
                speedUnit = o.value("speed_unit").toInt(0);
            if (o.contains("map"))
                map = o.value("map").toInt(0);
            if (o.contains("media_dir"))
                mediaDir = o.value("media_dir").toString();
            if (o.contains("utc_times"))
                actionUtcTimes->setChecked(o.value("utc_times").toBool());
            if (o.contains("channel_layout"))
                cameras->setLayout(Cameras::layoutOf(o.value("channel_layout").toString()));
            if (o.contains("recordings_shown"))
                recordingKinds->setShownKinds(
                    o.value("recordings_shown").toVariant().toStringList());
        }
    }
    if (lang.isEmpty())
        lang = "default";
    setUp_Language(lang);
    if (speedUnit < 0 || speedUnit >= ui->cmbSpeedUnit->count())
        speedUnit = 0;
    ui->cmbSpeedUnit->setCurrentIndex(speedUnit);
    meter->setUnits(ui->cmbSpeedUnit->currentText());
    if (map < 0 || map >= ui->cmbMapType->count())
        map = 0;
    ui->cmbMapType->setCurrentIndex(map);
}

void MainWindow::saveParam()
{
    QJsonObject o;
    o.insert("language", ui->cmbLanguage->itemData(ui->cmbLanguage->currentIndex()).toString());
    o.insert("speed_unit", ui->cmbSpeedUnit->currentIndex());
    o.insert("map", ui->cmbMapType->currentIndex());
    o.insert("media_dir", mediaDir);
    o.insert("channel_layout", Cameras::layoutKey(cameras->layout()));
    o.insert("utc_times", actionUtcTimes->isChecked());
    o.insert("recordings_shown", QJsonArray::fromStringList(recordingKinds->shownKinds()));
    // Written aside and renamed: a crash mid-write never leaves half a file.
    QSaveFile file(settingsPath());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return;
    QTextStream out(&file);
    out.setCodec("UTF-8");
    out << QString::fromUtf8(QJsonDocument(o).toJson(QJsonDocument::Compact));
    out.flush();
    file.commit();
}

void MainWindow::setUp_Language(QString lang)
{
    const QString resolved = language->loadLanguage(lang);
    setWindowTitle(language->get("APP_TITLE") + "(" + Config::getVersion() + ")");
    const struct
    {
        QWidget *widget;
        const char *key;
    } texts[] = {{ui->txtTimeTip, "TXT_TIP_TIME"},
                 {ui->txtJingduTip, "TXT_TIP_LON"},
                 {ui->txtWeiduTip, "TXT_TIP_LAN"},
                 {ui->txtCurSpeedTip, "TXT_TIP_CUR_SPEED"},
                 {ui->txtMaxSpeedTip, "TXT_TIP_MAX_SPEED"},
                 {ui->txtAvgSpeedTip, "TXT_TIP_AVG_SPEED"},
                 {ui->txtDistanceTip, "TXT_TIP_DISTANCE"},
                 {ui->btnOpenFile, "TXT_BTN_OPEN_FILE"},
                 {ui->btnStop, "TXT_BTN_STOP_PLAY"},
                 {ui->btnSnap, "TXT_BTN_SNAP"},
                 {ui->btnExit, "TXT_BTN_EXIT"}};
    for (const auto &t : texts)
        t.widget->setProperty("text", language->get(t.key));
    const bool running =
        player && (player->isPlaying() || (opening == Opening::Starting && !pauseOnStart));
    ui->btnPlay->setText(language->get(running ? "TXT_BTN_PAUSE" : "TXT_BTN_START_PLAY"));
    ui->btnFullScreen->setText(
        language->get(isFullScreen() ? "TXT_BTN_NORMAL_SCREEN" : "TXT_BTN_FULL_SCREEN"));

    ui->cmbLanguage->clear();
    for (auto it = language->languageList.cbegin(); it != language->languageList.cend(); ++it)
        ui->cmbLanguage->addItem(language->get(it.value()), it.key());
    ui->cmbLanguage->setCurrentText(language->get(language->languageList.value(resolved)));
    retranslateDriveTexts();
    retranslateTrackTools();
    cameras->retranslate(language);
    recordingKinds->retranslate(language);
    evidence->retranslate(language);
    refillDriveList(); // the headers' and badges' words
}

void MainWindow::on_cmbLanguage_currentIndexChanged(int index)
{
    qDebug() << "on_cmbLanguage_currentIndexChanged";
    if (!initialized)
        return;
    ui->cmbLanguage->blockSignals(true); // the refill below would come back here
    setUp_Language(ui->cmbLanguage->itemData(index).toString());
    saveParam();
    ui->cmbLanguage->blockSignals(false);
}

void MainWindow::on_cmbSpeedUnit_currentTextChanged(const QString &)
{
    if (!initialized)
        return;
    meter->setUnits(ui->cmbSpeedUnit->currentText());
    saveParam();
}
