#include "tradescreen.h"

#include "commalocale.h"
#include "markets.h"
#include "quiet.h"
#include "regionformat.h"
#include "stamp.h"
#include "testservice.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>

namespace {

const QString quoteTime = QStringLiteral("2025-05-01T12:34:56Z");
const QDateTime fresh = stamp(quoteTime)->addSecs(10);
const QString invalid =
    QStringLiteral("Load a fresh quote. Enter a positive size and percentages from 0 to below 100.");

QJsonObject row(const QString &pair, double price, const QString &time = quoteTime)
{
    return {{"pair", pair}, {"price", price}, {"change", 0},      {"high", price}, {"low", price},
            {"volume", 0},  {"bid", price},   {"ask", price + 1}, {"time", time}};
}

QJsonObject snapshot(const QJsonArray &rows)
{
    return {{"quotes", rows}};
}

} // namespace

class TestTradeScreen : public QObject
{
    Q_OBJECT

    TestService service;
    QNetworkAccessManager client;

    // A store that holds `rows`, loaded from the loopback service.
    void load(Markets &markets, const QJsonArray &rows)
    {
        service.onJson("/market-data", snapshot(rows));
        QCoro::waitFor(markets.load());
    }

private slots:
    void init() { failOnAnyWarning(); }

    void startsWithDefaults()
    {
        Markets markets(&client, Service{service.origin()});
        TradeScreen screen(&markets);
        QCOMPARE(screen.asset(), "BTC-USD");
        QCOMPARE(screen.size(), "100");
        QCOMPARE(screen.side(), "Buy");
        QCOMPARE(screen.fee(), "0.1");
        QCOMPARE(screen.slippage(), "0.5");
        QCOMPARE(screen.preview(), "Choose an asset and review the assumptions.");
        QVERIFY(!screen.q());
        QVERIFY(!screen.property("hasQuote").toBool());
        QCOMPARE(screen.property("spread").toString(), QString());

        QStringList options;
        for (const QVariant &option : screen.property("assetOptions").toList())
            options << option.toMap().value("name").toString() + "="
                           + option.toMap().value("value").toString();
        QCOMPARE(options, (QStringList{"Bitcoin=BTC-USD", "Ethereum=ETH-USD", "Solana=SOL-USD"}));
    }

    void followsTheStore()
    {
        Markets markets(&client, Service{service.origin()});
        TradeScreen screen(&markets);
        QSignalSpy snapshotChanged(&screen, &TradeScreen::snapshotChanged);

        // A snapshot arriving after the screen was made shows without any user action.
        load(markets, {row("BTC-USD", 2), row("BTC-USD", 3), row("ETH-USD", 1)});
        QCOMPARE(snapshotChanged.count(), 1);
        QCOMPARE(screen.q()->price(), 2.0);

        load(markets, {row("ETH-USD", 1), row("BTC-USD", 3), row("BTC-USD", 2)});
        QCOMPARE(snapshotChanged.count(), 2);
        QCOMPARE(screen.q()->price(), 3.0);

        screen.setAsset("ETH-USD");
        QCOMPARE(snapshotChanged.count(), 3);
        QCOMPARE(screen.q()->price(), 1.0);
        screen.setAsset("ETH-USD");
        QCOMPARE(snapshotChanged.count(), 3);
        // The whole pair, case and all.
        for (const QString asset : {"SOL-USD", "eth-usd", "ETH", ""}) {
            screen.setAsset(asset);
            QVERIFY2(!screen.q() && !screen.hasQuote(), qPrintable(asset));
        }
        screen.setAsset("BTC-USD");
        QVERIFY(screen.hasQuote());

        // A failed load empties the store, and the section goes with it.
        snapshotChanged.clear();
        service.on("/market-data", {500, {}});
        QCoro::waitFor(markets.load());
        QCOMPARE(snapshotChanged.count(), 1);
        QVERIFY(!screen.q());
        QVERIFY(!screen.property("hasQuote").toBool());
    }

    void snapshotRows_data()
    {
        QTest::addColumn<QJsonObject>("quote");
        QTest::addColumn<QStringList>("rows"); // change, low / high, bid / ask, spread, volume

        const QJsonObject example{{"pair", "BTC-USD"}, {"price", 65000},      {"bid", 64990},
                                  {"ask", 65010},      {"low", 64000},        {"high", 66000},
                                  {"change", 1.234},   {"volume", 1234.5678}, {"time", quoteTime}};
        QTest::newRow("example") << example
                                 << QStringList{"+1.23%", "$64000.00 / $66000.00", "$64990.00 / $65010.00",
                                                "0.031%", "1234.57 BTC"};
        QJsonObject crossed = example;
        crossed["bid"] = 65010;
        crossed["ask"] = 64990;
        crossed["change"] = -1.25;
        QTest::newRow("crossed, falling") << crossed
                                          << QStringList{"-1.25%", "$64000.00 / $66000.00",
                                                         "$65010.00 / $64990.00", "0.000%", "1234.57 BTC"};
        QJsonObject flat = example;
        flat["bid"] = 65000;
        flat["ask"] = 65000;
        flat["change"] = 0;
        flat["volume"] = 1234567.891;
        flat["time"] = "yesterday";
        QTest::newRow("no spread, no change")
            << flat
            << QStringList{"+0.00%", "$64000.00 / $66000.00", "$65000.00 / $65000.00", "0.000%",
                           "1234567.89 BTC"};
    }

    void snapshotRows()
    {
        QFETCH(QJsonObject, quote);
        QFETCH(QStringList, rows);
        Markets markets(&client, Service{service.origin()});
        load(markets, {quote, row("ETH-USD", 1), row("SOL-USD", 1)});
        TradeScreen screen(&markets);
        QVERIFY(screen.hasQuote());

        // Read by name, as the view does, and under a comma-decimal region too.
        CommaLocale comma;
        QVERIFY2(comma.active(), "de_DE.UTF-8 is not installed");
        const QStringList got{screen.property("change").toString(), screen.property("lowHigh").toString(),
                              screen.property("bidAsk").toString(), screen.property("spread").toString(),
                              screen.property("volume").toString()};
        QCOMPARE(got, rows);
        // Only these two follow the region.
        QCOMPARE(screen.property("lastTrade").toString(), usd(65000));
        const auto time = stamp(quote["time"].toString());
        QCOMPARE(screen.property("quoteTime").toString(),
                 time ? shortDateTime(*time) : QStringLiteral("Unavailable"));
    }

    void previewWaitsForCalculate()
    {
        Markets markets(&client, Service{service.origin()});
        load(markets, {row("BTC-USD", 65000), row("ETH-USD", 3000), row("SOL-USD", 150)});
        TradeScreen screen(&markets);
        QDateTime now = fresh;
        int clockReads = 0;
        screen.setClock([&] {
            ++clockReads;
            return now;
        });
        QSignalSpy previewChanged(&screen, &TradeScreen::previewChanged);

        QVERIFY(QMetaObject::invokeMethod(&screen, "calculate"));
        QCOMPARE(clockReads, 1);
        const QString bought = screen.preview();
        QVERIFY2(bought.startsWith("Paper buy\nQuantity: "), qPrintable(bought));
        QCOMPARE(previewChanged.count(), 1);

        // Nothing but calculate() touches the preview: not the inputs, the clock or the store.
        screen.setSide("Sell");
        screen.setAsset("ETH-USD");
        screen.setSize("250");
        screen.setFee("0");
        screen.setSlippage("");
        now = now.addSecs(3600);
        service.on("/market-data", {500, {}});
        QCoro::waitFor(markets.load());
        QCOMPARE(screen.preview(), bought);
        QCOMPARE(previewChanged.count(), 1);

        screen.calculate();
        QCOMPARE(screen.preview(), invalid);
        QCOMPARE(previewChanged.count(), 2);

        load(markets,
             {row("BTC-USD", 65000), row("ETH-USD", 3000, now.toString(Qt::ISODate)), row("SOL-USD", 150)});
        screen.setSlippage("0");
        screen.calculate();
        QVERIFY2(screen.preview().startsWith("Paper sell\nQuantity: 0.08333333 ETH\n"),
                 qPrintable(screen.preview()));
        QCOMPARE(clockReads, 3);
    }

    void wallClockByDefault()
    {
        const QString justNow = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
        Markets markets(&client, Service{service.origin()});
        load(markets, {row("BTC-USD", 65000, justNow), row("ETH-USD", 3000), row("SOL-USD", 150)});
        TradeScreen screen(&markets);
        screen.calculate();
        QVERIFY2(screen.preview().startsWith("Paper buy\n"), qPrintable(screen.preview()));

        screen.setAsset("ETH-USD"); // quoted in 2025: long stale
        screen.calculate();
        QCOMPARE(screen.preview(), invalid);
    }
};

QTEST_GUILESS_MAIN(TestTradeScreen)
#include "tst_tradescreen.moc"
