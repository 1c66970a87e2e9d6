// The background parse and its finished flag, polled as the window polls it.

#include "parsefilethread.h"
#include "testutil.h"
#include "videoinfoparse.h"

class ParseFileThreadTest : public QObject
{
    Q_OBJECT

private slots:
    void flagRisesAfterTheStoreIsFilled()
    {
        Scratch s;
        QStringList lines;
        for (const trackgen::Fix &f : trackgen::drive(600))
            lines << trackgen::rmcLine(f);
        s.lines("clip.TXT", lines);

        VideoInfoParse store;
        ParseFileThread thread(s.path("clip.MP4"), &store);
        QCOMPARE(thread.parseFinished(), false);
        QCOMPARE(thread.path, s.path("clip.MP4"));
        QCOMPARE(thread.parser, &store);
        thread.start();
        QTRY_VERIFY_WITH_TIMEOUT(thread.parseFinished(), 30000);
        // Seen the flag: the store is complete.
        QCOMPARE(store.isParsed, 1);
        QCOMPARE(store.count, 600);
        QVERIFY(store.videoInfoMap.value(599) != nullptr);
        QVERIFY(thread.wait(5000));
    }

    void flagRisesAlsoWhenNothingIsFound()
    {
        Scratch s;
        s.lines("clip.TXT", {"nothing"});
        VideoInfoParse store;
        ParseFileThread thread(s.path("clip.MP4"), &store);
        thread.start();
        QTRY_VERIFY_WITH_TIMEOUT(thread.parseFinished(), 30000);
        QCOMPARE(store.isParsed, 0);
        QVERIFY(thread.wait(5000));
    }

    void oneThreadPerOpeningOverTheSameStore()
    {
        Scratch s;
        s.lines("a.TXT", twoConvertedFixes());
        QStringList three = twoConvertedFixes();
        three << "B,061517,120002.000,22.5002,N,113.9002,E,50,0,0,0;";
        s.lines("b.TXT", three);
        VideoInfoParse store;
        for (const char *name : {"a.MP4", "b.MP4", "a.MP4"}) {
            ParseFileThread thread(s.path(name), &store);
            thread.start();
            QTRY_VERIFY_WITH_TIMEOUT(thread.parseFinished(), 30000);
            QVERIFY(thread.wait(5000));
            QCOMPARE(store.count, name == QLatin1String("b.MP4") ? 3 : 2);
        }
    }
};

QTEST_GUILESS_MAIN(ParseFileThreadTest)
#include "tst_parsefilethread.moc"
