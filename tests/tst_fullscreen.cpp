// Full screen as a desktop makes it, under a real window manager (openbox;
// run by tests/with-window-manager.sh on a 1920x1080 display): the widgets
// fill the screen, leaving restores the window and its layout, and the
// button's caption fits it in every language.

#include "appfont.h"
#include "config.h"
#include "desktopurls.h"
#include "languageparse.h"
#include "mainwindow.h"
#include "media.h"
#include "windowfixture.h"

#include <QApplication>
#include <QComboBox>
#include <QListWidget>
#include <QMenuBar>
#include <QPushButton>
#include <QScreen>
#include <QStyleOptionButton>
#include <QTemporaryDir>
#include <memory>

using windowfixture::child;

namespace {

// The width the style needs to show `text` whole on `button`.
int neededWidth(QPushButton *button, const QString &text)
{
    QStyleOptionButton option;
    option.initFrom(button);
    option.text = text;
    const QSize content = button->fontMetrics().size(Qt::TextShowMnemonic, text);
    return button->style()
        ->sizeFromContents(QStyle::CT_PushButton, &option, content, button)
        .width();
}

} // namespace

class FullScreenTest : public QObject
{
    Q_OBJECT

    std::unique_ptr<MainWindow> window;
    DesktopUrls desktop;

    QString text(const QString &language, const char *key)
    {
        LanguageParse table;
        table.loadLanguage(language);
        return table.get(key);
    }

    // Where resetUI puts the video area and the bottom row for the window's
    // current size.
    void expectLayoutFor(const QSize &size)
    {
        const int h = size.height() -
                      (window->menuBar()->isNativeMenuBar() ? 0 : window->menuBar()->height());
        const int vh = h - 225;
        const int vw = vh * 16 / 9;
        QCOMPARE(child<QWidget>(window.get(), "videoOut")->geometry(), QRect(0, 0, vw, vh));
        QCOMPARE(child<QComboBox>(window.get(), "cmbLanguage")->geometry(),
                 QRect(vw, h - 35, size.width() - vw, 35));
        QCOMPARE(child<QPushButton>(window.get(), "btnExit")->y(), h - 37);
    }

private slots:
    void init()
    {
        window = std::make_unique<MainWindow>();
        // As start-up shows it.
        window->setWindowFlags(window->windowFlags() & ~Qt::WindowMaximizeButtonHint &
                               ~Qt::WindowMinimizeButtonHint);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
    }
    void cleanup() { window.reset(); }

    void theWidgetsFillTheScreen()
    {
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        QCOMPARE(screen.size(), QSize(1920, 1080));
        const QSize normal = window->size();
        QCOMPARE(normal, QSize(1200, 705));
        QTRY_COMPARE(child<QWidget>(window.get(), "videoOut")->width(),
                     (normal.height() - window->menuBar()->height() - 225) * 16 / 9);

        QTest::mouseClick(child<QPushButton>(window.get(), "btnFullScreen"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(window->isFullScreen() && window->geometry() == screen, 10000);
        QTRY_COMPARE(child<QWidget>(window.get(), "videoOut")->height(),
                     1080 - window->menuBar()->height() - 225);
        expectLayoutFor(screen.size());
        QCOMPARE(child<QPushButton>(window.get(), "btnFullScreen")->text(),
                 text("default", "TXT_BTN_NORMAL_SCREEN"));

        // Back: the window's size and its layout again.
        QTest::mouseClick(child<QPushButton>(window.get(), "btnFullScreen"), Qt::LeftButton);
        QTRY_VERIFY_WITH_TIMEOUT(!window->isFullScreen() && window->size() == normal, 10000);
        QTRY_COMPARE(child<QWidget>(window.get(), "videoOut")->height(),
                     normal.height() - window->menuBar()->height() - 225);
        expectLayoutFor(normal);
        QCOMPARE(child<QPushButton>(window.get(), "btnFullScreen")->text(),
                 text("default", "TXT_BTN_FULL_SCREEN"));
    }

    // As in other players: F11 switches, Escape leaves.
    void keysSwitchFullScreen()
    {
        QTest::keyClick(window.get(), Qt::Key_F11);
        QTRY_VERIFY_WITH_TIMEOUT(window->isFullScreen() && window->width() == 1920, 10000);
        QTest::keyClick(window.get(), Qt::Key_Escape);
        QTRY_VERIFY_WITH_TIMEOUT(!window->isFullScreen() && window->width() == 1200, 10000);
        expectLayoutFor(window->size());
    }

    // At the smallest window, both captions of the button fit it whole in
    // every language.
    void theCaptionFitsInEveryLanguage()
    {
        QCOMPARE(window->size(), window->minimumSize());
        auto *button = child<QPushButton>(window.get(), "btnFullScreen");
        auto *languages = child<QComboBox>(window.get(), "cmbLanguage");
        QCOMPARE(languages->count(), 7);
        QStringList cut;
        for (int i = 0; i < languages->count(); ++i) {
            languages->setCurrentIndex(i);
            const QString id = languages->itemData(languages->currentIndex()).toString();
            for (const char *key : {"TXT_BTN_FULL_SCREEN", "TXT_BTN_NORMAL_SCREEN"}) {
                const QString caption = text(id, key);
                if (neededWidth(button, caption) > button->width())
                    cut << QStringLiteral("%1 %2 \"%3\" needs %4 px")
                               .arg(id, key, caption)
                               .arg(neededWidth(button, caption));
            }
        }
        QVERIFY2(cut.isEmpty(),
                 qPrintable(QStringLiteral("the button has %1 px: ").arg(button->width()) +
                            cut.join("; ")));
    }
};

int main(int argc, char **argv)
{
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qunsetenv("XDG_CONFIG_HOME");
    media::Widgets::registerRenderers();
    media::setLogLevel(media::LogOff);
    QApplication app(argc, argv);
    applyApplicationFont(); // the font the captions are measured in
    FullScreenTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_fullscreen.moc"
