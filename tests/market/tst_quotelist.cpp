#include "commalocale.h"
#include "market/markets.h"
#include "market/quotelist.h"
#include "model/regionformat.h"
#include "quiet.h"
#include "testservice.h"

#include <QCoroTask>
#include <QNetworkAccessManager>
#include <QTest>

class TestQuoteList : public QObject
{
    Q_OBJECT

    TestService service;
    QNetworkAccessManager client;

private slots:
    void init() { failOnAnyWarning(); }

    void search_data()
    {
        QTest::addColumn<QString>("pair");
        QTest::addColumn<QString>("query");
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<bool>("listed");
        const QLocale english("en_US"), turkish("tr_TR");
        // The pair is not searched as such, but a pair outside the catalogue is its own name.
        addRow("symbol, lower case", "BTC-USD", "btc", english, true);
        addRow("name part", "BTC-USD", "coin", english, true);
        addRow("quote asset of a catalogued pair", "BTC-USD", "USD", english, false);
        addRow("uncatalogued pair by name", "DOGE-USD", "usd", english, true);
        addRow("trailing blank kept", "SOL-USD", "sol ", english, false);
        addRow("accents not folded", "ETH-USD", "éth", english, false);
        // Case rules are the locale's: in Turkish, I lowers to a dotless ı and İ to i.
        addRow("upper case, English", "BTC-USD", "BITCOIN", english, true);
        addRow("dotless I, Turkish", "BTC-USD", "BITCOIN", turkish, false);
        addRow("dotted İ, Turkish", "BTC-USD", "BİTCOİN", turkish, true);
    }

    void search()
    {
        QFETCH(QString, pair);
        QFETCH(QString, query);
        QFETCH(QLocale, locale);
        QTEST(QuoteList::matches(Quote(pair, 1, 0, 1, 1, 0, 1, 1, "t"), query, locale), "listed");
    }

    // printf's figures in every region: a sign always, halfway ties to even, a negative zero
    // kept.
    void changeText_data()
    {
        QTest::addColumn<double>("change");
        QTest::addColumn<QString>("text");
        addRow("0.125", 0.125, QString("+0.12% · 24h"));
        addRow("-0.375", -0.375, QString("-0.38% · 24h"));
        addRow("-0", -0.0, QString("-0.00% · 24h"));
        addRow("-0.004", -0.004, QString("-0.00% · 24h"));
    }

    void changeText()
    {
        QFETCH(double, change);
        QTEST(QuoteList::changeText(change), "text");
        CommaLocale comma;
        QVERIFY2(comma.active(), "de_DE.UTF-8 is not installed");
        QTEST(QuoteList::changeText(change), "text");
    }

    // The list follows the store and the query, keeps the store's order and shows duplicates.
    // Change texts are fixed: a sign always, and a full stop in every region.
    void listFollowsStore()
    {
        Markets markets(&client, Service{service.origin()});
        QuoteList list;
        list.setMarket(&markets);
        service.on("/market-data",
                   {200, R"({"quotes":[{"pair":"SOL-USD","price":64000.5,"change":-0.5,"time":"t"},)"
                         R"({"pair":"BTC-USD","price":1,"change":1.234,"time":"t"},)"
                         R"({"pair":"BTC-USD","price":1,"change":0,"time":"t"}]})"});
        QCoro::waitFor(markets.load());
        QStringList shown;
        for (int r = 0; r < list.rowCount(); ++r) {
            for (int role = QuoteList::NameRole; role <= QuoteList::RisingRole; ++role)
                shown << list.data(list.index(r), role).toString();
        }
        QCOMPARE(shown, (QStringList{"Solana", "SOL", usd(64000.5), "-0.50% · 24h", "false", "Bitcoin", "BTC",
                                     usd(1), "+1.23% · 24h", "true", "Bitcoin", "BTC", usd(1), "+0.00% · 24h",
                                     "true"}));
        list.setQuery(QStringLiteral("bitcoin"));
        QCOMPARE(list.rowCount(), 2);
        service.on("/market-data", {500, {}});
        QCoro::waitFor(markets.load());
        QCOMPARE(list.rowCount(), 0);
    }
};

QTEST_GUILESS_MAIN(TestQuoteList)
#include "tst_quotelist.moc"
