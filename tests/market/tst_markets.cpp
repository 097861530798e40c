#include "market/markets.h"
#include "market/quotelist.h"
#include "quiet.h"
#include "testservice.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

using namespace std::chrono_literals;

namespace {

// A quote with the keys it cannot do without, less the one named.
QJsonObject row(const QJsonValue &pair, const QJsonValue &price = 100, const QString &without = {})
{
    QJsonObject row{{"pair", pair}, {"price", price}, {"time", "2025-05-01T12:34:56Z"}};
    row.remove(without);
    return row;
}

QByteArray snapshot(const QJsonArray &rows)
{
    return QJsonDocument(QJsonObject{{"quotes", rows}}).toJson(QJsonDocument::Compact);
}

const QJsonArray threeRows{row("BTC-USD"), row("ETH-USD"), row("SOL-USD")};
const QString unavailable = QStringLiteral("Quotes unavailable. Refresh to retry.");

} // namespace

class TestMarkets : public QObject
{
    Q_OBJECT

    TestService service;
    QNetworkAccessManager client;

private slots:
    void init() { failOnAnyWarning(); }

    void outcome_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("pairs"); // empty: the snapshot is refused
        QTest::addColumn<int>("status");
        const QStringList none;
        // Any three pairs, in the reply's order; rows that are not quotes are left out.
        addRow("three rows, duplicates too", snapshot({row("X"), row("X"), row("DOGE-USD")}),
               QStringList{"X", "X", "DOGE-USD"}, 200);
        addRow("three among unusable rows",
               snapshot({row("A", 1, "time"), row("BTC-USD"), row("A", 1, "pair"), row("A", 0),
                         row("ETH-USD"), row("A", -3), row("A", "150"), row("SOL-USD")}),
               QStringList{"BTC-USD", "ETH-USD", "SOL-USD"}, 200);
        addRow("four rows", snapshot(QJsonArray(threeRows) << row("XRP-USD")), none, 200);
        addRow("two rows", snapshot({row("BTC-USD"), row("ETH-USD")}), none, 200);
        addRow("a number among the rows", snapshot(QJsonArray(threeRows) << 5), none, 200);
        addRow("top-level array", QJsonDocument(threeRows).toJson(), none, 200);
        // Only a 200 counts, whatever the body.
        for (const int status : {204, 304})
            QTest::addRow("%d", status) << snapshot(threeRows) << none << status;
    }

    void outcome()
    {
        QFETCH(QByteArray, body);
        QFETCH(QStringList, pairs);
        QFETCH(int, status);
        Markets markets(&client, Service{service.origin()});
        QuoteList list; // follows the store, duplicates and all
        list.setMarket(&markets);
        // Quotes a refused snapshot must not leave on show, a 304 included.
        service.on("/market-data", {200, snapshot(threeRows)});
        QCoro::waitFor(markets.load());
        service.on("/market-data", {status, body});
        auto task = markets.load();
        QCOMPARE(markets.quotes().size(), 3); // on show while the load runs
        QCoro::waitFor(task);
        QStringList got;
        for (const Quote &q : markets.quotes())
            got << q.pair();
        QCOMPARE(got, pairs);
        QCOMPARE(list.rowCount(), pairs.size());
        QCOMPARE(markets.status() == unavailable, pairs.isEmpty());
    }

    // One load at a time. Missing fields fall back to the price or 0; the trade lab's screen test
    // shows that no field is checked against another.
    void loads()
    {
        const qsizetype before = service.count("/market-data");
        Markets markets(&client, Service{service.origin()});
        QSignalSpy busy(&markets, &Markets::loadingChanged);
        service.on("/market-data", {200, snapshot({row("ETH-USD", 3000), row("BTC-USD"), row("SOL-USD")})},
                   200ms);
        auto first = markets.load();
        auto second = markets.load();
        // The second call finished without waiting and changed nothing.
        QVERIFY(markets.loading() && second.isReady());
        QCOMPARE(markets.status(), QStringLiteral("Loading market snapshot…"));
        QCoro::waitFor(first);
        QCOMPARE(service.count("/market-data") - before, 1);
        QCOMPARE(busy.count(), 2); // on, then off
        const Quote q = markets.quotes().value(0);
        QCOMPARE((QList<double>{q.high(), q.low(), q.bid(), q.ask(), q.change(), q.volume()}),
                 (QList<double>{3000, 3000, 3000, 3000, 0, 0}));
    }

    // A load keeps no connection open behind it: the service would give it up long after, and
    // wake the program then.
    void connectionClosed()
    {
        QTcpServer peer;
        QVERIFY(peer.listen(QHostAddress::LocalHost));
        QTcpSocket *accepted = nullptr;
        QByteArray head;
        connect(&peer, &QTcpServer::newConnection, &peer, [&] {
            accepted = peer.nextPendingConnection();
            connect(accepted, &QTcpSocket::readyRead, accepted, [&] {
                head += accepted->readAll();
                if (!head.contains("\r\n\r\n"))
                    return;
                const QByteArray body = snapshot(threeRows);
                accepted->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: "
                                + QByteArray::number(body.size()) + "\r\n\r\n" + body);
            });
        });
        Markets markets(&client, Service{QStringLiteral("http://127.0.0.1:%1").arg(peer.serverPort())});
        QCoro::waitFor(markets.load());
        QCOMPARE(markets.quotes().size(), 3);
        QVERIFY(accepted);
        QTRY_COMPARE(accepted->state(), QAbstractSocket::UnconnectedState);
    }

    void search_data()
    {
        QTest::addColumn<QString>("pair");
        QTest::addColumn<QString>("query");
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<bool>("listed");
        const QLocale english("en_US"), turkish("tr_TR");
        // The pair is not searched as such, but a pair outside the catalogue is its own name.
        addRow("name part", "BTC-USD", "coin", english, true);
        addRow("quote asset of a catalogued pair", "BTC-USD", "USD", english, false);
        addRow("uncatalogued pair by name", "DOGE-USD", "usd", english, true);
        // Case rules are the locale's: in Turkish, I lowers to a dotless ı and İ to i.
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
};

QTEST_GUILESS_MAIN(TestMarkets)
#include "tst_markets.moc"
