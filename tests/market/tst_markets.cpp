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

QJsonObject row(const QJsonValue &pair, const QJsonValue &price = 100, const QString &without = {})
{
    QJsonObject row{{"pair", pair}, {"price", price}, {"change", -0.5},
                    {"high", 101},  {"low", 99},      {"volume", 42},
                    {"bid", 99.5},  {"ask", 100.5},   {"time", "2025-05-01T12:34:56Z"}};
    row.remove(without);
    return row;
}

QByteArray snapshot(const QJsonArray &rows)
{
    return QJsonDocument(QJsonObject{{"quotes", rows}}).toJson(QJsonDocument::Compact);
}

const QJsonArray threeRows{row("BTC-USD"), row("ETH-USD"), row("SOL-USD")};
const QString unavailable = QStringLiteral("Quotes unavailable. Refresh to retry.");
const QString refreshed = QStringLiteral("Coinbase Exchange · refreshed ");

QStringList pairs(const Markets &markets)
{
    QStringList got;
    for (const Quote &q : markets.quotes())
        got.append(q.pair());
    return got;
}

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
        QVERIFY(markets.quotes().isEmpty() && !markets.loading());
        QCOMPARE(markets.status(), QStringLiteral("Loading market snapshot…"));
        QCOMPARE(service.count("/market-data"), 0);
    }

    void outcome_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("pairs"); // empty: the snapshot is rejected
        const auto refused = [](const char *name, const QJsonArray &rows, int status = 200) {
            QTest::newRow(name) << status << snapshot(rows) << QStringList();
        };
        const QStringList three{"BTC-USD", "ETH-USD", "SOL-USD"};
        // Any three pairs, in the reply's order.
        QTest::newRow("three rows, duplicates too")
            << 200 << snapshot({row("X"), row("X"), row("DOGE-USD")}) << QStringList{"X", "X", "DOGE-USD"};
        QTest::newRow("four rows, one without time")
            << 200 << snapshot({row("A", 1, "time"), row("BTC-USD"), row("ETH-USD"), row("SOL-USD")})
            << three;
        QTest::newRow("four rows, one without pair")
            << 200 << snapshot({row("BTC-USD"), row("ETH-USD"), row("A", 1, "pair"), row("SOL-USD")})
            << three;
        refused("four valid rows", {row("BTC-USD"), row("ETH-USD"), row("SOL-USD"), row("XRP-USD")});
        refused("two valid rows", {row("BTC-USD"), row("ETH-USD")});
        refused("price 0", {row("BTC-USD"), row("ETH-USD"), row("SOL-USD", 0)});
        refused("negative price", {row("BTC-USD"), row("ETH-USD"), row("SOL-USD", -3)});
        refused("price as a string", {row("BTC-USD"), row("ETH-USD"), row("SOL-USD", "150")});
        refused("pair as a number", {row("BTC-USD"), row("ETH-USD"), row(7)});
        refused("a number among the rows", QJsonArray(threeRows) << 5);
        refused("201", threeRows, 201);
        refused("500", threeRows, 500);
        QTest::newRow("quotes not an array") << 200 << QByteArray(R"({"quotes":{"a":1}})") << QStringList{};
        QTest::newRow("top-level array") << 200 << QJsonDocument(threeRows).toJson() << QStringList{};
        QTest::newRow("not JSON") << 200 << QByteArray("<html>") << QStringList{};
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

        QCOMPARE(::pairs(markets), pairs);
        QVERIFY(!markets.loading());
        // The minute may turn over during the load.
        const QString shown = markets.status();
        QVERIFY2(pairs.isEmpty()
                     ? shown == unavailable
                     : shown == refreshed + shortTime(before) || shown == refreshed + shortTime(after),
                 qPrintable(shown));
    }

    void fallbacks()
    {
        QJsonObject bare{{"pair", "ETH-USD"}, {"price", 3000}, {"time", "t"}};
        // No field is checked against another.
        const QJsonObject crossed{{"pair", "X"}, {"price", 10}, {"bid", 12},         {"ask", 8},
                                  {"low", 20},   {"high", 5},   {"time", "whenever"}};
        service.on("/market-data", {200, snapshot({crossed, bare, row("SOL-USD")})});
        Markets markets(&client, Service{service.origin()});
        QCoro::waitFor(markets.load());
        QCOMPARE(markets.quotes().size(), 3);
        const Quote q = markets.quotes().at(1);
        QCOMPARE((QList<double>{q.high(), q.low(), q.bid(), q.ask(), q.change(), q.volume()}),
                 (QList<double>{3000, 3000, 3000, 3000, 0, 0}));
        const Quote x = markets.quotes().first();
        QCOMPARE((QList<double>{x.bid(), x.ask(), x.low(), x.high()}), (QList<double>{12, 8, 20, 5}));
        QCOMPARE(x.time(), QStringLiteral("whenever"));
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

    // Shown quotes stay while a load runs, go when it fails and come back with the next success.
    void failureEmptiesAndSuccessRestores()
    {
        Markets markets(&client, Service{service.origin()});
        service.on("/market-data", {200, snapshot(threeRows)});
        QCoro::waitFor(markets.load());
        const QString shown = markets.status();
        service.on("/market-data", {503, {}}, 200ms);
        auto task = markets.load();
        QCOMPARE(markets.quotes().size(), 3);
        QCOMPARE(markets.status(), shown);
        QCoro::waitFor(task);
        QVERIFY(markets.quotes().isEmpty());
        QCOMPARE(markets.status(), unavailable);
        service.on("/market-data", {200, snapshot(threeRows)});
        QCoro::waitFor(markets.load());
        QCOMPARE(markets.quotes().size(), 3);
        QVERIFY(markets.status().startsWith(refreshed));
    }
};

QTEST_GUILESS_MAIN(TestMarkets)
#include "tst_markets.moc"
