// Language list and tables: the line rules, the fallbacks, and the shipped data.

#include "config.h"
#include "languageparse.h"
#include "testutil.h"

#include <QDir>

class LanguageParseTest : public QObject
{
    Q_OBJECT

private slots:
    void lineRules()
    {
        Scratch s;
        s.bytes("language.list", "en:TXT_LANG_EN\n\"de\":\"TXT_LANG_DE\"\n:nokey\nnoname:\nfr:TXT_"
                                 "FR:extra\nen:TXT_EN2\n");
        s.bytes(
            "default.txt",
            "TXT_BTN_SNAP=Snap=shot\n\"TXT_TIP\"=\"Quoted\"\nTXT_BTN_EXIT=\nTXT_BTN_PAUSE=Ex\"it\n"
            " TXT_BTN_STOP_PLAY=padded \nTXT_BTN_SNAP2=first\nTXT_BTN_SNAP2=second\n");
        LanguageParse lp(s.path(""));
        QCOMPARE(lp.languageList.keys(), QStringList({"de", "en", "fr"}));
        QCOMPARE(lp.languageList.value("de"), QString("TXT_LANG_DE"));
        QCOMPARE(lp.languageList.value("en"), QString("TXT_EN2")); // a later line wins
        QCOMPARE(lp.languageList.value("fr"), QString("TXT_FR"));

        QCOMPARE(lp.loadLanguage("xx"), QString("default"));
        QCOMPARE(lp.get("TXT_BTN_SNAP"), QString("Snap"));
        QCOMPARE(lp.get("TXT_TIP"), QString("Quoted"));
        QCOMPARE(lp.get("TXT_BTN_EXIT"), QString("unknown"));
        QCOMPARE(lp.get("TXT_BTN_PAUSE"), QString("Ex\"it"));
        QCOMPARE(lp.get(" TXT_BTN_STOP_PLAY"), QString("padded ")); // no trimming
        QCOMPARE(lp.get("TXT_BTN_SNAP2"), QString("second"));
        QCOMPARE(lp.get("missing"), QString("unknown"));
    }

    void emptyOrUnknownIdentifierIsDefault()
    {
        Scratch s;
        s.bytes("language.list", "en:TXT_LANG_EN\n");
        s.bytes("default.txt", "K=default\n");
        s.bytes("en.txt", "K=english\n");
        LanguageParse lp(s.path(""));
        QCOMPARE(lp.loadLanguage(""), QString("default"));
        QCOMPARE(lp.get("K"), QString("default"));
        QCOMPARE(lp.loadLanguage("EN"), QString("default")); // case matters
        QCOMPARE(lp.loadLanguage("en"), QString("en"));
        QCOMPARE(lp.get("K"), QString("english"));
    }

    void missingTableKeepsThePreviousTexts()
    {
        Scratch s;
        s.bytes("language.list", "en:TXT_LANG_EN\nde:TXT_LANG_DE\n");
        s.bytes("en.txt", "K=english\n");
        LanguageParse lp(s.path(""));
        lp.loadLanguage("en");
        QCOMPARE(lp.loadLanguage("de"), QString("de")); // the identifier still counts
        QCOMPARE(lp.get("K"), QString("english"));
    }

    void missingListAndTables()
    {
        Scratch s;
        LanguageParse lp(s.path(""));
        QVERIFY(lp.languageList.isEmpty());
        QCOMPARE(lp.loadLanguage("en"), QString("default"));
        QCOMPARE(lp.get("APP_TITLE"), QString("unknown"));
    }

    void shippedTablesAreComplete()
    {
        const QStringList keys{
            "APP_TITLE", "TXT_TIP_TIME", "TXT_TIP_LON", "TXT_TIP_LAN", "TXT_TIP_CUR_SPEED",
            "TXT_TIP_MAX_SPEED", "TXT_TIP_AVG_SPEED", "TXT_TIP_DISTANCE", "TXT_BTN_OPEN_FILE",
            "TXT_BTN_PAUSE", "TXT_BTN_START_PLAY", "TXT_BTN_STOP_PLAY", "TXT_BTN_SNAP",
            "TXT_BTN_NORMAL_SCREEN", "TXT_BTN_FULL_SCREEN", "TXT_BTN_EXIT", "TXT_TIP",
            "TXT_TIP_EXIT", "TXT_TIP_YES", "TXT_TIP_NO",
            // Drives
            "TXT_MENU_DRIVE", "TXT_ACT_OPEN_FOLDER", "TXT_ACT_IMPORT", "TXT_ACT_EXPORT",
            "TXT_ACT_OFFSET", "TXT_READING_DRIVES", "TXT_TRIP_LINE", "TXT_OFFSET_TEXT",
            "TXT_OFFSET_DRIVE", "TXT_SCOPE_CLIP", "TXT_SCOPE_DRIVE", "TXT_IMPORT_FAILED",
            "TXT_EXPORT_FAILED", "TXT_NO_TRACK"};
        LanguageParse lp; // the build's res/language
        QCOMPARE(lp.languageList.size(), 7);
        // English is the default table, listed so that the chooser shows it.
        QVERIFY(lp.languageList.contains("default"));
        const QStringList ids = lp.languageList.keys();
        QSet<QString> names;
        for (const QString &id : ids) {
            QCOMPARE(lp.loadLanguage(id), id);
            for (const QString &key : keys + lp.languageList.values()) {
                QVERIFY2(lp.get(key) != "unknown", qPrintable(id + ": " + key));
                QVERIFY2(!lp.get(key).contains('='), qPrintable(id + ": " + key));
            }
            names << lp.get(lp.languageList.value(id));
        }
        QCOMPARE(names.size(), 7); // each language named differently
        lp.loadLanguage("zh_CN");
        QCOMPARE(lp.get("TXT_BTN_SNAP"), QString("截图"));
        lp.loadLanguage("de_DE");
        QCOMPARE(lp.get("TXT_LANG_DE"), QString("Deutsch"));
    }
};

QTEST_GUILESS_MAIN(LanguageParseTest)
#include "tst_languageparse.moc"
