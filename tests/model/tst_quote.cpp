#include "quote.h"

#include <QTest>

class TestQuote : public QObject
{
    Q_OBJECT

private slots:
    void derived_data()
    {
        QTest::addColumn<QString>("pair");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("symbol");
        QTest::newRow("bitcoin") << "BTC-USD"
                                 << "Bitcoin"
                                 << "BTC";
        QTest::newRow("ethereum") << "ETH-USD"
                                  << "Ethereum"
                                  << "ETH";
        QTest::newRow("solana") << "SOL-USD"
                                << "Solana"
                                << "SOL";
        // The catalogue lookup is exact and case-sensitive.
        QTest::newRow("lower case") << "btc-usd"
                                    << "btc-usd"
                                    << "btc";
        QTest::newRow("not catalogued") << "DOGE-USD"
                                        << "DOGE-USD"
                                        << "DOGE";
        QTest::newRow("first dash only") << "BTC-USD-PERP"
                                         << "BTC-USD-PERP"
                                         << "BTC";
        QTest::newRow("no dash") << "BTC"
                                 << "BTC"
                                 << "BTC";
        QTest::newRow("leading dash") << "-USD"
                                      << "-USD"
                                      << "";
        QTest::newRow("empty") << ""
                               << ""
                               << "";
    }

    void derived()
    {
        QFETCH(QString, pair);
        QFETCH(QString, name);
        QFETCH(QString, symbol);
        const Quote quote(pair, 1, 0, 1, 1, 0, 1, 1, QStringLiteral("not a date"));
        QCOMPARE(quote.id(), pair);
        QCOMPARE(quote.name(), name);
        QCOMPARE(quote.symbol(), symbol);
        // The time text is kept as received, never parsed.
        QCOMPARE(quote.time(), QStringLiteral("not a date"));
    }
};

QTEST_GUILESS_MAIN(TestQuote)
#include "tst_quote.moc"
