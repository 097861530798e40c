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

class TestQuoteList : public QObject
{
    Q_OBJECT

    TestService service;
    QNetworkAccessManager client;

    static QJsonObject row(const QString &pair, double price = 100)
    {
        return {{"pair", pair}, {"price", price}, {"change", -0.5}, {"time", "2025-05-01T12:34:56Z"}};
    }

private slots:
    void init() { failOnAnyWarning(); }

    void search_data()
    {
        QTest::addColumn<QString>("pair");
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("locale");
        QTest::addColumn<bool>("listed");
        struct Row
        {
            const char *name, *pair, *query, *locale;
            bool listed;
        };
        // The pair is not searched as such, but a pair outside the catalogue is its own name.
        // Case rules are the user's locale's: a dotted capital İ is an i with a dot above outside
        // Turkish, while in Turkish, I lowers to a dotless ı.
        const Row rows[] = {
            {"empty query", "BTC-USD", "", "en_US", true},
            {"symbol, lower case", "BTC-USD", "btc", "en_US", true},
            {"name part", "BTC-USD", "coin", "en_US", true},
            {"quote asset of a catalogued pair", "BTC-USD", "USD", "en_US", false},
            {"uncatalogued pair by name", "DOGE-USD", "usd", "en_US", true},
            {"trailing blank kept", "SOL-USD", "sol ", "en_US", false},
            {"accents not folded", "ETH-USD", "éth", "en_US", false},
            {"upper case, C", "SOL-USD", "SOLANA", "C", true},
            {"dotted İ, English", "BTC-USD", "BİTCOİN", "en_US", false},
            {"dotless I, English", "BTC-USD", "BITCOIN", "en_US", true},
            {"dotless I, Turkish", "BTC-USD", "BITCOIN", "tr_TR", false},
            {"dotted İ, Turkish", "BTC-USD", "BİTCOİN", "tr_TR", true},
        };
        for (const Row &r : rows)
            QTest::newRow(r.name) << QString(r.pair) << QString(r.query) << QString(r.locale) << r.listed;
    }

    void search()
    {
        QFETCH(QString, pair);
        QFETCH(QString, query);
        QFETCH(QString, locale);
        const Quote quote(pair, 100, 0, 100, 100, 0, 100, 100, QStringLiteral("2025-05-01T12:34:56Z"));
        QTEST(QuoteList::matches(quote, query, QLocale(locale)), "listed");
    }

    // Fixed texts: the same bytes under every process locale.
    void change()
    {
        QCOMPARE(QuoteList::changeText(1.234), QString::fromUtf8("+1.23% · 24h"));
        QCOMPARE(QuoteList::changeText(-0.5), QString::fromUtf8("-0.50% · 24h"));
        QCOMPARE(QuoteList::changeText(0), QString::fromUtf8("+0.00% · 24h"));
        QCOMPARE((QList<bool>{QuoteList::rising(0.01), QuoteList::rising(0), QuoteList::rising(-0.01)}),
                 (QList<bool>{true, true, false}));
    }

    // The list follows the store and the query, keeps the store's order and shows duplicates.
    void listFollowsStore()
    {
        Markets markets(&client, Service{service.origin()});
        QuoteList list;
        list.setMarket(&markets);
        QCOMPARE(list.rowCount(), 0);
        service.onJson("/market-data", QJsonObject{{"quotes", QJsonArray{row("SOL-USD", 64000.5),
                                                                         row("BTC-USD"), row("BTC-USD")}}});
        QSignalSpy count(&list, &QuoteList::countChanged);
        QCoro::waitFor(markets.load());
        QCOMPARE(list.rowCount(), 3);
        QCOMPARE(count.count(), 1);
        const auto data = [&](int row, int role) { return list.data(list.index(row), role); };
        QCOMPARE(data(0, QuoteList::NameRole).toString(), QStringLiteral("Solana"));
        QCOMPARE(data(2, QuoteList::SymbolRole).toString(), QStringLiteral("BTC"));
        QCOMPARE(data(0, QuoteList::ChangeRole).toString(), QString::fromUtf8("-0.50% · 24h"));
        QVERIFY(!data(0, QuoteList::RisingRole).toBool());
        QCOMPARE(data(0, QuoteList::PriceRole).toString(), usd(64000.5));
        list.setQuery(QStringLiteral("bitcoin"));
        QCOMPARE(list.rowCount(), 2);
        list.setQuery(QStringLiteral("usd"));
        QCOMPARE(list.rowCount(), 0);
        list.setQuery(QString());
        service.on("/market-data", {500, {}});
        QCoro::waitFor(markets.load());
        QCOMPARE(list.rowCount(), 0);
    }
};

QTEST_GUILESS_MAIN(TestQuoteList)
#include "tst_quotelist.moc"
