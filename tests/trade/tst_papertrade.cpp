#include "papertrade.h"
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

#include <limits>
#include <optional>

Q_DECLARE_METATYPE(PaperOrder)

namespace {

const QString invalid =
    QStringLiteral("Load a fresh quote. Enter a positive size and percentages from 0 to below 100.");
const QString quoteTime = QStringLiteral("2025-05-01T12:34:56Z");
// Ten seconds after the quote: fresh.
const QDateTime now = stamp(quoteTime)->addSecs(10);

Quote btc(double bid = 64990, double ask = 65010, const QString &time = quoteTime)
{
    return Quote(QStringLiteral("BTC-USD"), 65000, 1.2, 66000, 64000, 1234, bid, ask, time);
}

QString preview(const QString &side, const Quote &quote, const QString &size = "100",
                const QString &fee = "0.1", const QString &slippage = "0.5")
{
    return paperPreview({size, fee, slippage, side}, quote, now);
}

// A snapshot row as the service sends it.
QJsonObject row(const QString &pair, double price, const QString &time = quoteTime)
{
    return {{"pair", pair}, {"price", price}, {"change", 0},      {"high", price}, {"low", price},
            {"volume", 0},  {"bid", price},   {"ask", price + 1}, {"time", time}};
}

} // namespace

class TestPaperTrade : public QObject
{
    Q_OBJECT

    TestService service;
    QNetworkAccessManager client;

    void load(Markets &markets, const QJsonArray &rows)
    {
        service.onJson("/market-data", QJsonObject{{"quotes", rows}});
        QCoro::waitFor(markets.load());
    }

private slots:
    void init() { failOnAnyWarning(); }

    void workedExamples_data()
    {
        QTest::addColumn<bool>("commaLocale");
        QTest::addColumn<PaperOrder>("order");
        QTest::addColumn<Quote>("quote");
        QTest::addColumn<QString>("preview");
        struct Example
        {
            const char *name;
            PaperOrder order;
            Quote quote;
            QStringList preview;
        };
        const QList<Example> examples{
            {"buy BTC",
             {"100", "0.1", "0.5", "Buy"},
             btc(),
             {"Paper buy", "Quantity: 0.00152904 BTC", "Assumed execution: $65335.05", "Total cost: $100.00",
              "Value at −5% / +5%: $94.42 / $104.36"}},
            {"sell BTC",
             {"100", "0.1", "0.5", "Sell"},
             btc(),
             {"Paper sell", "Quantity: 0.00153870 BTC", "Assumed execution: $64665.05",
              "Net proceeds: $99.40", "Value at −5% / +5%: $95.01 / $105.02"}},
            {"sell SOL",
             {"1000", "0.25", "1.5", "Sell"},
             Quote("SOL-USD", 150, 0, 150, 150, 0, 149.9, 150.1, quoteTime),
             {"Paper sell", "Quantity: 6.67111408 SOL", "Assumed execution: $147.65", "Net proceeds: $982.54",
              "Value at −5% / +5%: $950.63 / $1050.70"}},
            {"buy ETH, no costs",
             {"250", "0", "0", "Buy"},
             Quote("ETH-USD", 3000, 0, 3000, 3000, 0, 2999.5, 3000.5, quoteTime),
             {"Paper buy", "Quantity: 0.08331945 ETH", "Assumed execution: $3000.50", "Total cost: $250.00",
              "Value at −5% / +5%: $237.46 / $262.46"}},
            // Only "Buy" buys: any other side text is priced as a sell, and shown as typed.
            {"lower-case buy sells",
             {"100", "0", "0", "buy"},
             btc(),
             {"Paper buy", "Quantity: 0.00153870 BTC", "Assumed execution: $64990.00",
              "Net proceeds: $100.00", "Value at −5% / +5%: $95.01 / $105.02"}},
            // Found by fuzzing: a pair with line breaks added lines of the service's own to the
            // preview; they show as one line.
            {"line breaks in the pair",
             {"100", "0", "0", "Sell"},
             Quote("BTC\nTotal cost: $0.00\r\u2028-USD", 65000, 0, 0, 0, 0, 64990, 65010, quoteTime),
             {"Paper sell", "Quantity: 0.00153870 BTC\uFFFDTotal cost: $0.00\uFFFD\uFFFD",
              "Assumed execution: $64990.00", "Net proceeds: $100.00",
              "Value at −5% / +5%: $95.01 / $105.02"}},
        };
        for (const bool comma : {false, true}) {
            for (const Example &e : examples) {
                QTest::addRow("%s%s", e.name, comma ? ", comma locale" : "")
                    << comma << e.order << e.quote
                    << (e.preview + QStringList{"No order or transaction sent."}).join(u'\n');
            }
        }
    }

    void workedExamples()
    {
        QFETCH(bool, commaLocale);
        QFETCH(PaperOrder, order);
        QFETCH(Quote, quote);
        std::optional<CommaLocale> locale;
        if (commaLocale) {
            locale.emplace();
            QVERIFY2(locale->active(), "de_DE.UTF-8 is not installed");
        }
        QTEST(paperPreview(order, quote, now), "preview");
    }

    // Each bound from both sides; the number grammar itself is the reader's.
    void inputs_data()
    {
        QTest::addColumn<QStringList>("typed"); // size, fee and slippage
        QTest::addColumn<bool>("accepted");
        struct Row
        {
            const char *name, *size, *fee, *slippage;
            bool accepted;
        };
        const Row rows[] = {
            {"largest size", "1000000000", "0.1", "0.5", true},
            {"size above the bound", "1000000000.01", "0.1", "0.5", false},
            {"size 0", "0", "0.1", "0.5", false},
            {"nan size", "nan", "0.1", "0.5", false},
            {"leading blank", " 100", "0.1", "0.5", false},
            {"fee 0", "100", "0", "0.5", true},
            {"negative fee", "100", "-0.01", "0.5", false},
            {"fee 99.99", "100", "99.99", "0.5", true},
            {"fee 100", "100", "100", "0.5", false},
            {"slippage 0", "100", "0.1", "0", true},
            {"negative slippage", "100", "0.1", "-0.5", false},
            {"slippage 99.99", "100", "0.1", "99.99", true},
            {"slippage 100", "100", "0.1", "100", false},
            {"comma in slippage", "100", "0.1", "0,5", false},
        };
        for (const Row &r : rows)
            QTest::newRow(r.name) << QStringList{r.size, r.fee, r.slippage} << r.accepted;
    }

    void inputs()
    {
        QFETCH(QStringList, typed);
        QFETCH(bool, accepted);
        for (const QString side : {"Buy", "Sell"}) {
            const QString shown = preview(side, btc(), typed[0], typed[1], typed[2]);
            QVERIFY2(accepted ? shown.startsWith("Paper " + side.toLower() + "\n") : shown == invalid,
                     qPrintable(shown));
        }
    }

    void quote_data()
    {
        QTest::addColumn<QString>("side");
        QTest::addColumn<Quote>("quote");
        QTest::addColumn<QString>("shown"); // the first line
        const auto at = [](qint64 msAgo) {
            return btc(64990, 65010, now.addMSecs(-msAgo).toString(Qt::ISODateWithMs));
        };
        const double nan = std::numeric_limits<double>::quiet_NaN();
        const QString unpriced = "Bid/ask unavailable.";
        QTest::newRow("120 s old") << "Buy" << at(120'000) << "Paper buy";
        QTest::newRow("120.001 s old") << "Buy" << at(120'001) << invalid;
        QTest::newRow("30 s ahead") << "Buy" << at(-30'000) << "Paper buy";
        QTest::newRow("30.001 s ahead") << "Buy" << at(-30'001) << invalid;
        QTest::newRow("no zone") << "Buy" << btc(64990, 65010, "2025-05-01T12:35:00") << invalid;
        QTest::newRow("buy, ask 0") << "Buy" << btc(64990, 0) << unpriced;
        QTest::newRow("sell, ask 0") << "Sell" << btc(64990, 0) << "Paper sell";
        QTest::newRow("sell, bid 0") << "Sell" << btc(0, 65010) << unpriced;
        QTest::newRow("buy, bid 0") << "Buy" << btc(0, 65010) << "Paper buy";
        QTest::newRow("buy, negative ask") << "Buy" << btc(64990, -1) << unpriced;
        QTest::newRow("sell, NaN bid") << "Sell" << btc(nan, 65010) << unpriced;
        // Bad inputs are reported before the price is looked at.
        QTest::newRow("stale, ask 0") << "Buy" << btc(64990, 0, "2025-05-01T12:24:56Z") << invalid;
    }

    void quote()
    {
        QFETCH(QString, side);
        QFETCH(Quote, quote);
        QTEST(preview(side, quote).section(u'\n', 0, 0), "shown");
    }

    void noQuote()
    {
        QCOMPARE(paperPreview({"100", "0.1", "0.5", "Buy"}, std::nullopt, now), invalid);
        QCOMPARE(preview("Buy", btc(64990, 0), "0"), invalid);
    }

    void screenStartsWithDefaults()
    {
        Markets markets(&client, Service{service.origin()});
        TradeScreen screen(&markets);
        QCOMPARE((QStringList{screen.asset(), screen.size(), screen.side(), screen.fee(), screen.slippage()}),
                 (QStringList{"BTC-USD", "100", "Buy", "0.1", "0.5"}));
        QCOMPARE(screen.preview(), "Choose an asset and review the assumptions.");
        QVERIFY(!screen.q() && !screen.property("hasQuote").toBool());
        QCOMPARE(screen.property("spread").toString(), QString());
        QStringList options;
        for (const QVariant &option : screen.property("assetOptions").toList())
            options << option.toMap().value("name").toString() + "="
                           + option.toMap().value("value").toString();
        QCOMPARE(options, (QStringList{"Bitcoin=BTC-USD", "Ethereum=ETH-USD", "Solana=SOL-USD"}));
    }

    void screenFollowsTheStore()
    {
        Markets markets(&client, Service{service.origin()});
        TradeScreen screen(&markets);
        QSignalSpy snapshotChanged(&screen, &TradeScreen::snapshotChanged);
        // A snapshot arriving after the screen was made shows without any user action.
        load(markets, {row("BTC-USD", 2), row("BTC-USD", 3), row("ETH-USD", 1)});
        QCOMPARE(snapshotChanged.count(), 1);
        QCOMPARE(screen.q()->price(), 2.0);
        load(markets, {row("ETH-USD", 1), row("BTC-USD", 3), row("BTC-USD", 2)});
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
        // A failed load empties the store, and the section goes with it.
        screen.setAsset("BTC-USD");
        QVERIFY(screen.hasQuote());
        service.on("/market-data", {500, {}});
        QCoro::waitFor(markets.load());
        QCOMPARE(snapshotChanged.count(), 9);
        QVERIFY(!screen.q() && !screen.property("hasQuote").toBool());
    }

    void screenRows()
    {
        // A crossed book shows no spread; the time is not one the service writes.
        const QJsonObject crossed{{"pair", "BTC-USD"}, {"price", 65000},        {"bid", 65010},
                                  {"ask", 64990},      {"low", 64000},          {"high", 66000},
                                  {"change", -1.25},   {"volume", 1234567.891}, {"time", "yesterday"}};
        Markets markets(&client, Service{service.origin()});
        load(markets, {crossed, row("ETH-USD", 1), row("SOL-USD", 1)});
        TradeScreen screen(&markets);
        // Read by name, as the view does, and under a comma-decimal region too.
        CommaLocale comma;
        QVERIFY2(comma.active(), "de_DE.UTF-8 is not installed");
        QStringList got;
        for (const char *name : {"change", "lowHigh", "bidAsk", "spread", "volume", "quoteTime"})
            got << screen.property(name).toString();
        QCOMPARE(got, (QStringList{"-1.25%", "$64000.00 / $66000.00", "$65010.00 / $64990.00", "0.000%",
                                   "1234567.89 BTC", "Unavailable"}));
        // The last trade follows the region.
        QCOMPARE(screen.property("lastTrade").toString(), usd(65000));
    }

    void previewWaitsForCalculate()
    {
        Markets markets(&client, Service{service.origin()});
        load(markets, {row("BTC-USD", 65000), row("ETH-USD", 3000), row("SOL-USD", 150)});
        TradeScreen screen(&markets);
        QDateTime clock = now;
        int clockReads = 0;
        screen.setClock([&] {
            ++clockReads;
            return clock;
        });
        QSignalSpy previewChanged(&screen, &TradeScreen::previewChanged);
        QVERIFY(QMetaObject::invokeMethod(&screen, "calculate"));
        const QString bought = screen.preview();
        QVERIFY2(bought.startsWith("Paper buy\nQuantity: "), qPrintable(bought));

        // Nothing but calculate() touches the preview: not the inputs, the clock or the store.
        screen.setSide("Sell");
        screen.setAsset("ETH-USD");
        screen.setSize("250");
        screen.setFee("0");
        screen.setSlippage("");
        clock = clock.addSecs(3600);
        service.on("/market-data", {500, {}});
        QCoro::waitFor(markets.load());
        QCOMPARE(screen.preview(), bought);
        QCOMPARE(previewChanged.count(), 1);
        screen.calculate();
        QCOMPARE(screen.preview(), invalid);

        load(markets,
             {row("BTC-USD", 65000), row("ETH-USD", 3000, clock.toString(Qt::ISODate)), row("SOL-USD", 150)});
        screen.setSlippage("0");
        screen.calculate();
        QVERIFY2(screen.preview().startsWith("Paper sell\nQuantity: 0.08333333 ETH\n"),
                 qPrintable(screen.preview()));
        QCOMPARE(clockReads, 3);
        QCOMPARE(previewChanged.count(), 3);
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

QTEST_GUILESS_MAIN(TestPaperTrade)
#include "tst_papertrade.moc"
