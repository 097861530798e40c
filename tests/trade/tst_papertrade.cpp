#include "trade/papertrade.h"
#include "trade/tradescreen.h"

#include "commalocale.h"
#include "market/markets.h"
#include "model/numbervalidator.h"
#include "model/regionformat.h"
#include "quiet.h"
#include "testservice.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <optional>

Q_DECLARE_METATYPE(PaperOrder)

namespace {

const QString invalid =
    QStringLiteral("Load a fresh quote. Enter a positive size and percentages from 0 to below 100.");
const QString quoteTime = QStringLiteral("2025-05-01T12:34:56Z");
// Ten seconds after the quote: fresh.
const QDateTime now(QDate(2025, 5, 1), QTime(12, 35, 6), Qt::UTC);

const QString stale = QStringLiteral(" · no longer fresh, refresh the snapshot");

Quote btc(double bid = 64990, double ask = 65010, const QString &time = quoteTime)
{
    return Quote(QStringLiteral("BTC-USD"), 65000, 1.2, 66000, 64000, 1234, bid, ask, time);
}

} // namespace

class TestPaperTrade : public QObject
{
    Q_OBJECT

    TestService service;
    QNetworkAccessManager client;
    std::optional<CommaLocale> commaLocale;

private slots:
    // Every test runs a second time with the C library in a comma-decimal region.
    void initTestCase_data()
    {
        QTest::addColumn<bool>("comma");
        addRow("process locale", false);
        addRow("comma locale", true);
    }

    void init()
    {
        failOnAnyWarning();
        QFETCH_GLOBAL(bool, comma);
        if (comma)
            QVERIFY2(commaLocale.emplace().active(), "de_DE.UTF-8 is not installed");
    }

    void cleanup() { commaLocale.reset(); }

    void workedExamples_data()
    {
        QTest::addColumn<PaperOrder>("order");
        QTest::addColumn<Quote>("quote");
        QTest::addColumn<QStringList>("preview"); // all but the closing line
        // Exact halfway figures round to even, as printf does.
        addRow("buy of $0.125", PaperOrder{"0.125", "0", "0", "Buy"}, btc(),
               QStringList{"Paper buy", "Quantity: 0.00000192 BTC", "Assumed execution: $65010.00",
                           "Total cost: $0.12", "Value at −5% / +5%: $0.12 / $0.13"});
        addRow("$1 at $512", PaperOrder{"1", "0", "0", "Buy"},
               Quote("BTC-USD", 512, 0, 512, 512, 0, 511, 512, quoteTime),
               QStringList{"Paper buy", "Quantity: 0.00195312 BTC", "Assumed execution: $512.00",
                           "Total cost: $1.00", "Value at −5% / +5%: $0.95 / $1.05"});
        // Only "Buy" buys: any other side text sells, shown as typed. Found by fuzzing: line breaks
        // in the pair added lines of the service's making to the preview.
        addRow("lower-case buy, line breaks in the pair", PaperOrder{"100", "0", "0", "buy"},
               Quote("BTC\nTotal cost: $0.00\r\u2028-USD", 65000, 0, 0, 0, 0, 64990, 65010, quoteTime),
               QStringList{"Paper buy", "Quantity: 0.00153870 BTC\uFFFDTotal cost: $0.00\uFFFD\uFFFD",
                           "Assumed execution: $64990.00", "Net proceeds: $100.00",
                           "Value at −5% / +5%: $95.01 / $105.02"});
    }

    void workedExamples()
    {
        QFETCH(PaperOrder, order);
        QFETCH(Quote, quote);
        QFETCH(QStringList, preview);
        QCOMPARE(paperPreview(order, quote, now), (preview << "No order or transaction sent.").join(u'\n'));
        // The same order with no quote at all.
        QCOMPARE(paperPreview(order, std::nullopt, now), invalid);
    }

    // Each bound and the freshness window from both sides, as a buy and as a sell; the number
    // grammar itself is the reader's.
    void inputs_data()
    {
        QTest::addColumn<PaperOrder>("order");
        QTest::addColumn<QString>("time"); // of the quote
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<QString>("field"); // the first one out of range, which the screen marks
        const auto row = [](const char *name, const PaperOrder &order, const QString &time, bool accepted,
                            const char *field = "") {
            QTest::newRow(name) << order << time << accepted << QString(field);
        };
        row("size above the bound", {"1000000000.01", "0.1", "0.5"}, quoteTime, false, "size");
        row("size 0, fee 100", {"0", "100", "0.5"}, quoteTime, false, "size");
        row("negative size", {"-5", "0.1", "0.5"}, quoteTime, false, "size");
        row("nan size", {"nan", "0.1", "0.5"}, quoteTime, false, "size");
        row("infinite size", {"inf", "0.1", "0.5"}, quoteTime, false, "size");
        row("negative fee", {"100", "-0.01", "0.5"}, quoteTime, false, "fee");
        row("fee 100", {"100", "100", "0.5"}, quoteTime, false, "fee");
        row("infinite fee", {"100", "inf", "0.5"}, quoteTime, false, "fee");
        row("negative slippage", {"100", "0.1", "-0.5"}, quoteTime, false, "slippage");
        row("slippage 100", {"100", "0.1", "100"}, quoteTime, false, "slippage");
        row("comma in slippage", {"100", "0.1", "0,5"}, quoteTime, false, "slippage");
        const PaperOrder order{"100", "0.1", "0.5"};
        const auto ago = [](qint64 ms) { return now.addMSecs(-ms).toString(Qt::ISODateWithMs); };
        // The accepted edges, taken together: size 1e9, fee and slippage 0 and 99.99.
        row("120 s old, other edges", {"1e9", "0", "99.99"}, ago(120'000), true);
        row("120.001 s old", order, ago(120'001), false);
        row("30 s ahead, other edges", {"100", "99.99", "0"}, ago(-30'000), true);
    }

    void inputs()
    {
        QFETCH(PaperOrder, order);
        QFETCH(QString, time);
        QFETCH(bool, accepted);
        QTEST(::invalidField(order), "field");
        for (const QString side : {"Buy", "Sell"}) {
            order.side = side;
            const QString shown = paperPreview(order, btc(64990, 65010, time), now);
            QVERIFY2(accepted ? shown.startsWith("Paper " + side.toLower() + "\n") : shown == invalid,
                     qPrintable(shown));
            // Each side needs its own price, above 0; bad inputs are reported before it is looked at.
            QCOMPARE(paperPreview(order, btc(qQNaN(), 0, time), now),
                     accepted ? "Bid/ask unavailable." : invalid);
        }
    }

    // The field takes what the number reader reads, and beginnings of it while they are typed.
    void validator_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("state");
        for (const char *text : {"100", "1e2", "100.", ".5", "+100", "inf", "0x1p3"})
            addRow(text, QString(text), int(QValidator::Acceptable));
        for (const char *text : {"", "-", ".", "1e", "1e+", "in", "NA", "0x"})
            addRow(text, QString(text), int(QValidator::Intermediate));
        for (const char *text : {"1,5", " 1", "1 ", "10%", "abc", "1e2e", "--1"})
            addRow(text, QString(text), int(QValidator::Invalid));
    }

    void validator()
    {
        QFETCH(QString, text);
        int pos = 0;
        QTEST(int(NumberValidator().validate(text, pos)), "state");
    }

    // The age shown, whether it is still fresh, and when it is next due to change.
    void age_data()
    {
        QTest::addColumn<QString>("time");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("fresh");
        QTest::addColumn<int>("changesInMs"); // -1: never
        const auto ago = [](qint64 ms) { return now.addMSecs(-ms).toString(Qt::ISODateWithMs); };
        const QString recent = QStringLiteral("Quoted less than a minute ago");
        addRow("10 s", ago(10'000), recent, true, 50'000);
        addRow("30 s ahead", ago(-30'000), recent, true, 90'000);
        addRow("30.001 s ahead", ago(-30'001), QString("Quoted ahead of this device's clock · not fresh"),
               false, 1);
        addRow("119.5 s", ago(119'500), QString("Quoted 1 min ago"), true, 500);
        addRow("120 s", ago(120'000), QString("Quoted 2 min ago"), true, 1);
        addRow("120.001 s", ago(120'001), "Quoted 2 min ago" + stale, false, 59'999);
        addRow("two hours", ago(7'200'000), "Quoted over an hour ago" + stale, false, -1);
        addRow("unreadable", QString("yesterday"), QString("Quote time unreadable · not fresh"), false, -1);
    }

    void age()
    {
        QFETCH(QString, time);
        const QuoteAge got = quoteAge(time, now);
        QTEST(got.text, "text");
        QTEST(got.fresh, "fresh");
        QTEST(int(got.changesInMs.value_or(-1)), "changesInMs");
    }

    // The screen shows the store's first quote of the chosen pair, read by name as the view reads
    // it; its rows change only with that quote, only calculate() changes the preview, the mark of
    // a bad field goes with an edit of that field, and a quote's age goes stale by itself.
    void screen()
    {
        const QString justNow = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
        // A crossed book shows no spread; the time is not one the service writes.
        const QJsonObject crossed{{"pair", "BTC-USD"}, {"price", 65000},        {"bid", 65010},
                                  {"ask", 64990},      {"low", 64000},          {"high", 66000},
                                  {"change", -1.25},   {"volume", 1234567.891}, {"time", "yesterday"}};
        Markets markets(&client, Service{service.origin()});
        TradeScreen screen(&markets);
        QSignalSpy snapshotChanged(&screen, &TradeScreen::snapshotChanged);
        const QJsonObject snapshot{
            {"quotes",
             QJsonArray{crossed, QJsonObject{{"pair", "BTC-USD"}, {"price", 3}, {"time", quoteTime}},
                        QJsonObject{{"pair", "ETH-USD"}, {"price", 3000}, {"time", justNow}}}}};
        service.onJson("/market-data", snapshot);
        QCoro::waitFor(markets.load());
        QCoro::waitFor(markets.load());
        QStringList got;
        for (const char *name : {"lastTrade", "change", "lowHigh", "bidAsk", "spread", "volume", "quoteTime"})
            got << screen.property(name).toString();
        QCOMPARE(got, (QStringList{usd(65000), "-1.25%", "$64000.00 / $66000.00", "$65010.00 / $64990.00",
                                   "0.000%", "1234567.89 BTC", "Unavailable"}));
        // The whole pair, case and all.
        for (const QString asset : {"eth-usd", "ETH", "ETH-USD", "ETH-USD"}) {
            screen.setAsset(asset);
            QCOMPARE(screen.hasQuote(), asset == "ETH-USD");
        }
        QCOMPARE(snapshotChanged.count(), 3);

        screen.setSide("Sell");
        screen.setSize("250");
        screen.setFee("0");
        screen.setSlippage("0");
        QCOMPARE(screen.preview(), "Choose an asset and review the assumptions.");
        QVERIFY(QMetaObject::invokeMethod(&screen, "calculate"));
        const QString sold = screen.preview();
        QVERIFY2(sold.startsWith("Paper sell\nQuantity: 0.08333333 ETH\n"), qPrintable(sold));
        // Neither the inputs nor the store touch the preview; a failed load empties the store, and
        // the section goes with it.
        screen.setSide("Buy");
        service.on("/market-data", {500, {}});
        QCoro::waitFor(markets.load());
        QCOMPARE(screen.preview(), sold);
        QVERIFY(!screen.property("hasQuote").toBool() && screen.spread().isEmpty());

        screen.setFee("100");
        screen.calculate();
        QCOMPARE(screen.invalidField(), "fee");
        screen.setSize("5");
        QCOMPARE(screen.invalidField(), "fee");
        screen.setFee("1");
        QCOMPARE(screen.invalidField(), QString());

        // Fresh when it arrives, stale a moment later by the wall clock, but only on screen: off
        // screen the age waits, and is worked out anew as the screen comes back.
        QSignalSpy fresh(&screen, &TradeScreen::quoteFreshChanged);
        const auto quoteAged = [&](int ms) {
            const QDateTime quoted = QDateTime::currentDateTimeUtc().addMSecs(-ms);
            QJsonArray quotes;
            for (const char *pair : {"BTC-USD", "ETH-USD", "SOL-USD"})
                quotes.append(
                    QJsonObject{{"pair", pair}, {"price", 1}, {"time", quoted.toString(Qt::ISODateWithMs)}});
            service.onJson("/market-data", QJsonObject{{"quotes", quotes}});
            QCoro::waitFor(markets.load());
        };
        screen.setShown(true);
        quoteAged(118'500);
        QTRY_COMPARE(fresh.count(), 2);
        QVERIFY(!screen.quoteFresh() && screen.quoteAge().endsWith(stale));

        // The clock moves on without a timer: off screen none is armed to wake the program.
        QDateTime clock = QDateTime::currentDateTimeUtc();
        screen.setClock([&clock] { return clock; });
        screen.setShown(false);
        quoteAged(118'500);
        QCOMPARE(fresh.count(), 3);
        const QTimer *tick = screen.findChild<QTimer *>();
        QVERIFY(tick && !tick->isActive());
        clock = clock.addSecs(2);
        QVERIFY(screen.quoteFresh());
        screen.setShown(true);
        QCOMPARE(fresh.count(), 4);
        QVERIFY(!screen.quoteFresh() && screen.quoteAge().endsWith(stale));
    }
};

QTEST_GUILESS_MAIN(TestPaperTrade)
#include "tst_papertrade.moc"
