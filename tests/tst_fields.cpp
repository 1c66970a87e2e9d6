// The field helpers must agree with Qt's own conversions exactly.

#include "fields.h"

#include <QRandomGenerator>
#include <QTest>
#include <cmath>
#include <cstring>

namespace {

bool sameDouble(double a, double b)
{
    if (std::isnan(a) || std::isnan(b))
        return std::isnan(a) && std::isnan(b);
    return std::memcmp(&a, &b, sizeof a) == 0; // also tells -0.0 from 0.0
}

} // namespace

class FieldsTest : public QObject
{
    Q_OBJECT

private slots:
    void splitKeepsEmptyFields_data()
    {
        QTest::addColumn<QString>("line");
        QTest::newRow("empty") << "";
        QTest::newRow("one") << "abc";
        QTest::newRow("commas only") << ",,";
        QTest::newRow("trailing") << "a,b,";
        QTest::newRow("leading") << ",a,b";
        QTest::newRow("sentence")
            << "$GPRMC,123519,A,4807.038,N,01131.000,E,022.4,084.4,230394,003.1,W*6A";
        QTest::newRow("many") << QString(100, ',');
    }
    void splitKeepsEmptyFields()
    {
        QFETCH(QString, line);
        Fields fields;
        splitFields(QStringRef(&line), fields);
        const QStringList expected = line.split(',');
        QCOMPARE(fields.size(), expected.size());
        for (int i = 0; i < fields.size(); ++i)
            QCOMPARE(fields[i].toString(), expected[i]);
    }

    void splitWithALimitKeepsTheTail()
    {
        const QString line = "a,b,,d,e,f";
        Fields fields;
        splitFields(QStringRef(&line), fields, 3);
        QCOMPARE(fields.size(), 3);
        QCOMPARE(fields[0].toString(), QString("a"));
        QCOMPARE(fields[1].toString(), QString("b"));
        QCOMPARE(fields[2].toString(), QString(",d,e,f"));
        splitFields(QStringRef(&line), fields, 6);
        QCOMPARE(fields.size(), 6);
        QCOMPARE(fields[5].toString(), QString("f"));
        splitFields(QStringRef(&line), fields, 7);
        QCOMPARE(fields.size(), 6);
    }

    void toDoubleAgreesWithQt_data()
    {
        QTest::addColumn<QString>("text");
        for (const char *t : {"0",
                              "-0",
                              "22.543210",
                              "113.941234",
                              "4807.038",
                              "-33.8688",
                              "022.4",
                              ".5",
                              "5.",
                              "-.5",
                              "-",
                              ".",
                              "-.",
                              "+5",
                              " 5",
                              "5 ",
                              "1e5",
                              "1E-3",
                              "nan",
                              "-nan",
                              "inf",
                              "-inf",
                              "1e400",
                              "1,5",
                              "0x10",
                              "abc",
                              "",
                              "1.2.3",
                              "--1",
                              "5-",
                              "00000000000000000000000000000001",
                              "123456789012345678901234567890",
                              "0.1000000000000000055511151231257827",
                              "17976931348623157000000000000000000000000000000000000000000000000000"
                              "0000000000000000",
                              "\u0661\u0662",
                              "12\u00e9"})
            QTest::newRow(t) << QString::fromUtf8(t);
    }
    void toDoubleAgreesWithQt()
    {
        QFETCH(QString, text);
        const double expected = text.toDouble();
        const double actual = toDouble(QStringRef(&text));
        QVERIFY2(sameDouble(actual, expected), qPrintable(QStringLiteral("%1: %2 vs %3")
                                                              .arg(text)
                                                              .arg(actual, 0, 'g', 17)
                                                              .arg(expected, 0, 'g', 17)));
    }

    void toDoubleAgreesWithQtOnRandomDecimals()
    {
        QRandomGenerator rng(20261122);
        const QString alphabet = "0123456789.-";
        for (int n = 0; n < 200000; ++n) {
            QString text;
            const int length = 1 + int(rng.bounded(20));
            for (int i = 0; i < length; ++i)
                text += alphabet.at(int(rng.bounded(i == 0 ? alphabet.size() : 11)));
            const double expected = text.toDouble();
            const double actual = toDouble(QStringRef(&text));
            if (!sameDouble(actual, expected))
                QFAIL(qPrintable(QStringLiteral("%1: %2 vs %3")
                                     .arg(text)
                                     .arg(actual, 0, 'g', 17)
                                     .arg(expected, 0, 'g', 17)));
        }
    }

    void utf8BytesAgreeWithQt_data()
    {
        QTest::addColumn<QString>("line");
        QTest::newRow("ascii") << "$GP*17";
        QTest::newRow("empty") << "";
        QTest::newRow("latin-1") << "$GP\u00e9*17";
        QTest::newRow("replacement") << "$GP\ufffd\ufffd*17";
        QTest::newRow("surrogate pair") << QString::fromUtf8("$GP\xf0\x9f\x9a\x97*17");
    }
    void utf8BytesAgreeWithQt()
    {
        QFETCH(QString, line);
        QByteArray buffer("previous content that is longer");
        const char *bytes = utf8Bytes(QStringRef(&line), buffer);
        QCOMPARE(QByteArray(bytes), line.toUtf8());
    }
};

QTEST_GUILESS_MAIN(FieldsTest)
#include "tst_fields.moc"
