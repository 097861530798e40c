#include "number.h"

#include <QCoreApplication>
#include <QTest>

#include <cmath>

class TestNumber : public QObject
{
    Q_OBJECT

private slots:
    void read_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("value");
        QTest::newRow("integer") << "100" << 100.0;
        QTest::newRow("exponent") << "1e2" << 100.0;
        QTest::newRow("trailing point") << "100." << 100.0;
        QTest::newRow("leading point") << ".5" << 0.5;
        QTest::newRow("plus sign") << "+100" << 100.0;
        QTest::newRow("minus") << "-5" << -5.0;
        QTest::newRow("fraction") << "1.5" << 1.5;
        QTest::newRow("hexadecimal") << "0x10" << 16.0;
        QTest::newRow("big") << "1000000000.01" << 1000000000.01;
    }

    void read()
    {
        QFETCH(QString, text);
        QFETCH(double, value);
        const auto number = numberFromText(text);
        QVERIFY(number.has_value());
        QCOMPARE(*number, value);
    }

    void nonFinite_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("inf") << "inf";
        QTest::newRow("Infinity") << "Infinity";
        QTest::newRow("-INF") << "-INF";
        QTest::newRow("nan") << "nan";
        QTest::newRow("NaN") << "NaN";
    }

    // Read as numbers; the callers refuse them as not finite.
    void nonFinite()
    {
        QFETCH(QString, text);
        const auto number = numberFromText(text);
        QVERIFY(number.has_value());
        QVERIFY(!std::isfinite(*number));
    }

    void refused_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << "";
        QTest::newRow("comma decimal") << "1,5";
        QTest::newRow("percent") << "10%";
        QTest::newRow("leading blank") << " 100";
        QTest::newRow("trailing blank") << "100 ";
        QTest::newRow("leading tab") << "\t100";
        QTest::newRow("leading line feed") << "\n100";
        QTest::newRow("unit") << "100 USD";
        QTest::newRow("sign alone") << "-";
        QTest::newRow("point alone") << ".";
        QTest::newRow("embedded NUL") << QString(QStringLiteral("1") + QChar(0) + QStringLiteral("2"));
        QTest::newRow("arabic digits") << QString::fromUtf8("\u0661\u0662");
        QTest::newRow("word") << "abc";
    }

    void refused()
    {
        QFETCH(QString, text);
        QVERIFY(!numberFromText(text).has_value());
    }
};

// QCoreApplication takes LC_NUMERIC from the environment, as the app does; the suite is also
// run under a comma-decimal locale to prove the reading ignores it.
QTEST_GUILESS_MAIN(TestNumber)
#include "tst_number.moc"
