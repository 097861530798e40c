#include "markets.h"
#include "quiet.h"
#include "regionformat.h"
#include "testservice.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;

namespace {

QJsonObject row(const QString &pair, double price = 100)
{
    return {{"pair", pair},       {"price", price},     {"change", 1.5},
            {"high", price + 1},  {"low", price - 1},   {"volume", 42},
            {"bid", price - 0.5}, {"ask", price + 0.5}, {"time", "2025-05-01T12:34:56Z"}};
}

QJsonObject without(QJsonObject object, const QStringList &keys)
{
    for (const QString &key : keys)
        object.remove(key);
    return object;
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

    void startsEmpty()
    {
        Markets markets(&client, Service{service.origin()});
        QVERIFY(markets.quotes().isEmpty());
        QCOMPARE(markets.status(), QStringLiteral("Loading market snapshot…"));
        QVERIFY(!markets.loading());
        QCOMPARE(service.count("/market-data"), 0);
    }

    void outcome_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("pairs"); // empty: the snapshot is rejected

        const QStringList three{"BTC-USD", "ETH-USD", "SOL-USD"};
        QTest::newRow("three valid rows") << 200 << snapshot(threeRows) << three;
        QTest::newRow("reply order kept") << 200 << snapshot({row("SOL-USD"), row("BTC-USD"), row("ETH-USD")})
                                          << QStringList{"SOL-USD", "BTC-USD", "ETH-USD"};
        QTest::newRow("any three pairs, duplicates too")
            << 200 << snapshot({row("X"), row("X"), row("DOGE-USD")}) << QStringList{"X", "X", "DOGE-USD"};
        QTest::newRow("four rows, one without time")
            << 200
            << snapshot({row("BTC-USD"), without(row("XRP-USD"), {"time"}), row("ETH-USD"), row("SOL-USD")})
            << three;
        QTest::newRow("four rows, one without pair")
            << 200
            << snapshot({row("BTC-USD"), without(row("XRP-USD"), {"pair"}), row("ETH-USD"), row("SOL-USD")})
            << three;
        QTest::newRow("four valid rows")
            << 200 << snapshot({row("BTC-USD"), row("ETH-USD"), row("SOL-USD"), row("XRP-USD")})
            << QStringList{};
        QTest::newRow("two valid rows") << 200 << snapshot({row("BTC-USD"), row("ETH-USD")}) << QStringList{};
        QTest::newRow("price 0") << 200 << snapshot({row("BTC-USD"), row("ETH-USD"), row("SOL-USD", 0)})
                                 << QStringList{};
        QTest::newRow("negative price")
            << 200 << snapshot({row("BTC-USD"), row("ETH-USD"), row("SOL-USD", -3)}) << QStringList{};
        QJsonObject stringPrice = row("SOL-USD");
        stringPrice["price"] = "150";
        QTest::newRow("price as a string")
            << 200 << snapshot({row("BTC-USD"), row("ETH-USD"), stringPrice}) << QStringList{};
        QJsonObject numericPair = row("SOL-USD");
        numericPair["pair"] = 7;
        QTest::newRow("pair as a number")
            << 200 << snapshot({row("BTC-USD"), row("ETH-USD"), numericPair}) << QStringList{};
        QJsonArray withNumber = threeRows;
        withNumber.append(5);
        QTest::newRow("a number among the rows") << 200 << snapshot(withNumber) << QStringList{};
        QTest::newRow("quotes not an array") << 200 << QByteArray(R"({"quotes":{"a":1}})") << QStringList{};
        QTest::newRow("no quotes key") << 200 << QByteArray(R"({"rows":[]})") << QStringList{};
        QTest::newRow("top-level array") << 200 << QJsonDocument(threeRows).toJson() << QStringList{};
        QTest::newRow("bare number") << 200 << QByteArray("42") << QStringList{};
        QTest::newRow("not JSON") << 200 << QByteArray("<html>") << QStringList{};
        QTest::newRow("empty body") << 200 << QByteArray() << QStringList{};
        QTest::newRow("201") << 201 << snapshot(threeRows) << QStringList{};
        QTest::newRow("204") << 204 << snapshot(threeRows) << QStringList{};
        QTest::newRow("304") << 304 << snapshot(threeRows) << QStringList{};
        QTest::newRow("404") << 404 << snapshot(threeRows) << QStringList{};
        QTest::newRow("500") << 500 << snapshot(threeRows) << QStringList{};
    }

    void outcome()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QStringList, pairs);
        service.on("/market-data", {status, body});

        Markets markets(&client, Service{service.origin()});
        const QDateTime before = QDateTime::currentDateTime();
        QCoro::waitFor(markets.load());
        const QDateTime after = QDateTime::currentDateTime();

        QStringList got;
        for (const Quote &q : markets.quotes())
            got.append(q.pair());
        QCOMPARE(got, pairs);
        QVERIFY(!markets.loading());
        if (pairs.isEmpty()) {
            QCOMPARE(markets.status(), unavailable);
        } else {
            const QString prefix = QStringLiteral("Coinbase Exchange · refreshed ");
            // The minute may turn over during the load.
            QVERIFY2(markets.status() == prefix + shortTime(before)
                         || markets.status() == prefix + shortTime(after),
                     qPrintable(markets.status()));
        }
    }

    void fallbacks()
    {
        const QJsonObject bare =
            without(row("ETH-USD", 3000), {"change", "high", "low", "volume", "bid", "ask"});
        service.on("/market-data", {200, snapshot({row("BTC-USD"), bare, row("SOL-USD")})});
        Markets markets(&client, Service{service.origin()});
        QCoro::waitFor(markets.load());

        QCOMPARE(markets.quotes().size(), 3);
        const Quote q = markets.quotes().at(1);
        QCOMPARE(q.price(), 3000.0);
        QCOMPARE(q.high(), 3000.0);
        QCOMPARE(q.low(), 3000.0);
        QCOMPARE(q.bid(), 3000.0);
        QCOMPARE(q.ask(), 3000.0);
        QCOMPARE(q.change(), 0.0);
        QCOMPARE(q.volume(), 0.0);
        // No field is checked against another.
        const QJsonObject crossed{{"pair", "X"}, {"price", 10}, {"bid", 12},         {"ask", 8},
                                  {"low", 20},   {"high", 5},   {"time", "whenever"}};
        service.on("/market-data", {200, snapshot({crossed, row("A"), row("B")})});
        QCoro::waitFor(markets.load());
        QCOMPARE(markets.quotes().size(), 3);
        QCOMPARE(markets.quotes().first().bid(), 12.0);
        QCOMPARE(markets.quotes().first().time(), QStringLiteral("whenever"));
    }

    void secondLoadWhileLoadingReturnsAtOnce()
    {
        service.on("/market-data", {200, snapshot(threeRows)}, 300ms);
        const qsizetype before = service.count("/market-data");
        Markets markets(&client, Service{service.origin()});
        QSignalSpy loading(&markets, &Markets::loadingChanged);

        auto first = markets.load();
        QVERIFY(markets.loading());
        auto second = markets.load();
        // The second call finished without waiting and changed nothing.
        QVERIFY(second.isReady());
        QCOMPARE(markets.status(), QStringLiteral("Loading market snapshot…"));

        QCoro::waitFor(first);
        QCOMPARE(markets.quotes().size(), 3);
        QCOMPARE(service.count("/market-data") - before, 1);
        QCOMPARE(loading.count(), 2); // on, then off
    }

    void failureEmptiesAndSuccessRestores()
    {
        Markets markets(&client, Service{service.origin()});
        service.on("/market-data", {200, snapshot(threeRows)});
        QCoro::waitFor(markets.load());
        QCOMPARE(markets.quotes().size(), 3);

        service.on("/market-data", {503, {}});
        QCoro::waitFor(markets.load());
        QVERIFY(markets.quotes().isEmpty());
        QCOMPARE(markets.status(), unavailable);

        service.on("/market-data", {200, snapshot(threeRows)});
        QCoro::waitFor(markets.load());
        QCOMPARE(markets.quotes().size(), 3);
        QVERIFY(markets.status().startsWith("Coinbase Exchange · refreshed "));
    }

    void fieldsStayDuringLoad()
    {
        Markets markets(&client, Service{service.origin()});
        service.on("/market-data", {200, snapshot(threeRows)});
        QCoro::waitFor(markets.load());
        const QString status = markets.status();

        service.on("/market-data", {500, {}}, 200ms);
        auto task = markets.load();
        QCOMPARE(markets.quotes().size(), 3);
        QCOMPARE(markets.status(), status);
        QCoro::waitFor(task);
        QVERIFY(markets.quotes().isEmpty());
    }

    void timeOut()
    {
        service.stall("/market-data");
        Markets markets(&client, Service{service.origin(), 300ms});
        QCoro::waitFor(markets.load());
        QCOMPARE(markets.status(), unavailable);
        QVERIFY(!markets.loading());
    }

    void unreachable()
    {
        // A port nobody listens on: refused at once.
        Markets markets(&client, Service{QStringLiteral("http://127.0.0.1:1")});
        QCoro::waitFor(markets.load());
        QCOMPARE(markets.status(), unavailable);
    }

    void redirectFollowed()
    {
        service.on("/market-data", {302, {}, "text/plain", {{"Location", "/moved"}}});
        service.on("/moved", {200, snapshot(threeRows)});
        Markets markets(&client, Service{service.origin()});
        QCoro::waitFor(markets.load());
        QCOMPARE(markets.quotes().size(), 3);
    }
};

QTEST_GUILESS_MAIN(TestMarkets)
#include "tst_markets.moc"
