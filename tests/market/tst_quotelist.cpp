#include "markets.h"
#include "quiet.h"
#include "quotelist.h"
#include "regionformat.h"
#include "testservice.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>

namespace {

Quote quote(const QString &pair, double change = 0)
{
    return Quote(pair, 100, change, 100, 100, 0, 100, 100, QStringLiteral("2025-05-01T12:34:56Z"));
}

QJsonObject row(const QString &pair)
{
    return {{"pair", pair}, {"price", 64000.5}, {"change", -0.5}, {"time", "2025-05-01T12:34:56Z"}};
}

} // namespace

class TestQuoteList : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    void search_data()
    {
        QTest::addColumn<QString>("pair");
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("locale");
        QTest::addColumn<bool>("listed");
        QTest::newRow("empty query") << "BTC-USD"
                                     << ""
                                     << "en_US" << true;
        QTest::newRow("symbol, lower case") << "BTC-USD"
                                            << "btc"
                                            << "en_US" << true;
        QTest::newRow("symbol, upper case") << "BTC-USD"
                                            << "BTC"
                                            << "en_US" << true;
        QTest::newRow("name part") << "BTC-USD"
                                   << "coin"
                                   << "en_US" << true;
        QTest::newRow("name and symbol") << "ETH-USD"
                                         << "eth"
                                         << "en_US" << true;
        // The pair is not searched as such...
        QTest::newRow("quote asset of a catalogued pair") << "BTC-USD"
                                                          << "USD"
                                                          << "en_US" << false;
        // ...but a pair outside the catalogue is its own name.
        QTest::newRow("uncatalogued pair by name") << "DOGE-USD"
                                                   << "usd"
                                                   << "en_US" << true;
        QTest::newRow("trailing blank kept") << "SOL-USD"
                                             << "sol "
                                             << "en_US" << false;
        QTest::newRow("leading blank kept") << "SOL-USD"
                                            << " sol"
                                            << "en_US" << false;
        QTest::newRow("accents not folded") << "ETH-USD" << QString::fromUtf8("éth") << "en_US" << false;
        QTest::newRow("no match") << "SOL-USD"
                                  << "xrp"
                                  << "en_US" << false;
        // Case rules are the user's locale's: the regions the suite runs under fold ASCII
        // letters alike, and a dotted capital İ is an i with a dot above outside Turkish...
        QTest::newRow("upper case, C") << "SOL-USD"
                                       << "SOLANA"
                                       << "C" << true;
        QTest::newRow("mixed case, German") << "ETH-USD"
                                            << "eThEr"
                                            << "de_DE" << true;
        QTest::newRow("upper case, French") << "BTC-USD"
                                            << "BTC"
                                            << "fr_FR" << true;
        QTest::newRow("dotted İ, English") << "BTC-USD" << QString::fromUtf8("BİTCOİN") << "en_US" << false;
        // ...while in Turkish, I lowers to a dotless ı.
        QTest::newRow("dotless I, English") << "BTC-USD"
                                            << "BITCOIN"
                                            << "en_US" << true;
        QTest::newRow("dotless I, Turkish") << "BTC-USD"
                                            << "BITCOIN"
                                            << "tr_TR" << false;
        QTest::newRow("dotted İ, Turkish") << "BTC-USD" << QString::fromUtf8("BİTCOİN") << "tr_TR" << true;
    }

    void search()
    {
        QFETCH(QString, pair);
        QFETCH(QString, query);
        QFETCH(QString, locale);
        QFETCH(bool, listed);
        QCOMPARE(QuoteList::matches(quote(pair), query, QLocale(locale)), listed);
    }

    void change_data()
    {
        QTest::addColumn<double>("change");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("rising");
        QTest::newRow("gain") << 1.234 << QString::fromUtf8("+1.23% · 24h") << true;
        QTest::newRow("loss") << -0.5 << QString::fromUtf8("-0.50% · 24h") << false;
        QTest::newRow("flat") << 0.0 << QString::fromUtf8("+0.00% · 24h") << true;
        QTest::newRow("rounds half away") << 2.005 << QString::fromUtf8("+2.00% · 24h") << true;
        QTest::newRow("large") << 1234.5 << QString::fromUtf8("+1234.50% · 24h") << true;
    }

    // Fixed texts: the same bytes under every process locale.
    void change()
    {
        QFETCH(double, change);
        QFETCH(QString, text);
        QFETCH(bool, rising);
        QCOMPARE(QuoteList::changeText(change), text);
        QCOMPARE(QuoteList::rising(change), rising);
    }

    // The model follows the store and the query, keeps the store's order and shows duplicates.
    void followsStore()
    {
        TestService service;
        QNetworkAccessManager client;
        Markets markets(&client, Service{service.origin()});
        QuoteList list;
        list.setMarket(&markets);
        QCOMPARE(list.rowCount(), 0);

        service.onJson("/market-data",
                       QJsonObject{{"quotes", QJsonArray{row("SOL-USD"), row("BTC-USD"), row("BTC-USD")}}});
        QSignalSpy count(&list, &QuoteList::countChanged);
        QCoro::waitFor(markets.load());
        QCOMPARE(list.rowCount(), 3);
        QCOMPARE(count.count(), 1);
        QCOMPARE(list.data(list.index(0), QuoteList::NameRole).toString(), QStringLiteral("Solana"));
        QCOMPARE(list.data(list.index(2), QuoteList::SymbolRole).toString(), QStringLiteral("BTC"));
        QCOMPARE(list.data(list.index(0), QuoteList::ChangeRole).toString(),
                 QString::fromUtf8("-0.50% · 24h"));
        QVERIFY(!list.data(list.index(0), QuoteList::RisingRole).toBool());
        QCOMPARE(list.data(list.index(0), QuoteList::PriceRole).toString(), usd(64000.5));

        list.setQuery(QStringLiteral("bitcoin"));
        QCOMPARE(list.rowCount(), 2);
        list.setQuery(QStringLiteral("usd"));
        QCOMPARE(list.rowCount(), 0);

        list.setQuery(QString());
        service.onJson("/market-data", QJsonObject{}, 500);
        QCoro::waitFor(markets.load());
        QCOMPARE(list.rowCount(), 0);
    }
};

QTEST_GUILESS_MAIN(TestQuoteList)
#include "tst_quotelist.moc"
