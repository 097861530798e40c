#include "trade/papertrade.h"
#include "trade/tradescreen.h"

#include "commalocale.h"
#include "market/markets.h"
#include "model/numbervalidator.h"
#include "model/regionformat.h"
#include "quiet.h"
#include "testservice.h"
#include "trade/snapshotrows.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>

#include <optional>

Q_DECLARE_METATYPE(PaperOrder)

namespace {

const QString invalid =
    QStringLiteral("Load a fresh quote. Enter a positive size and percentages from 0 to below 100.");
const QString quoteTime = QStringLiteral("2025-05-01T12:34:56Z");
// Ten seconds after the quote: fresh.
const QDateTime now(QDate(2025, 5, 1), QTime(12, 35, 6), Qt::UTC);

const QString stale = QStringLiteral(" · no longer fresh, refresh the snapshot");

QJsonObject snapshotAt(const QString &time)
{
    QJsonArray quotes;
    for (const char *pair : {"BTC-USD", "ETH-USD", "SOL-USD"})
        quotes.append(QJsonObject{{"pair", pair}, {"price", 100}, {"bid", 99}, {"ask", 101}, {"time", time}});
    return {{"quotes", quotes}};
}

Quote btc(double bid = 64990, double ask = 65010, const QString &time = quoteTime)
{
    return Quote(QStringLiteral("BTC-USD"), 65000, 1.2, 66000, 64000, 1234, bid, ask, time);
}

} // namespace

struct QuoteAgeRow
{
    QString text;
    bool fresh;
    qint64 changesInMs; // -1: never
    friend bool operator==(const QuoteAgeRow &, const QuoteAgeRow &) = default;
};
Q_DECLARE_METATYPE(QuoteAgeRow)

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
        addRow("buy BTC", PaperOrder{"100", "0.1", "0.5", "Buy"}, btc(),
               QStringList{"Paper buy", "Quantity: 0.00152904 BTC", "Assumed execution: $65335.05",
                           "Total cost: $100.00", "Value at −5% / +5%: $94.42 / $104.36"});
        addRow("sell BTC, no ask", PaperOrder{"100", "0.1", "0.5", "Sell"}, btc(64990, 0),
               QStringList{"Paper sell", "Quantity: 0.00153870 BTC", "Assumed execution: $64665.05",
                           "Net proceeds: $99.40", "Value at −5% / +5%: $95.01 / $105.02"});
        addRow("sell SOL", PaperOrder{"1000", "0.25", "1.5", "Sell"},
               Quote("SOL-USD", 150, 0, 150, 150, 0, 149.9, 150.1, quoteTime),
               QStringList{"Paper sell", "Quantity: 6.67111408 SOL", "Assumed execution: $147.65",
                           "Net proceeds: $982.54", "Value at −5% / +5%: $950.63 / $1050.70"});
        addRow("buy ETH, no costs", PaperOrder{"250", "0", "0", "Buy"},
               Quote("ETH-USD", 3000, 0, 3000, 3000, 0, 2999.5, 3000.5, quoteTime),
               QStringList{"Paper buy", "Quantity: 0.08331945 ETH", "Assumed execution: $3000.50",
                           "Total cost: $250.00", "Value at −5% / +5%: $237.46 / $262.46"});
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

    // The trade lab's figures of a quote: printf's, halfway ties to even and the sign of a
    // negative zero included.
    void snapshotFigures_data()
    {
        QTest::addColumn<Quote>("quote");
        QTest::addColumn<QStringList>("figures"); // change, low / high, bid / ask, spread, volume
        addRow("halfway", Quote("BTC-USD", 64000, 0.125, 2.625, 0.125, 1.125, 64990, 65030, quoteTime),
               QStringList{"+0.12%", "$0.12 / $2.62", "$64990.00 / $65030.00", "0.062%", "1.12 BTC"});
        addRow("near zero", Quote("BTC-USD", 65000, -0.0, 0.005, -0.004, 0.004, 65010, 64990, quoteTime),
               QStringList{"-0.00%", "$-0.00 / $0.01", "$65010.00 / $64990.00", "0.000%", "0.00 BTC"});
        addRow("large", Quote("SOL-USD", 1e20, -0.375, 1e20, 123456789.125, 1e15, 0, 0, quoteTime),
               QStringList{"-0.38%", "$123456789.12 / $100000000000000000000.00", "$0.00 / $0.00", "0.000%",
                           "1000000000000000.00 SOL"});
    }

    void snapshotFigures()
    {
        QFETCH(Quote, quote);
        const SnapshotRows rows = snapshotRows(quote);
        QTEST((QStringList{rows.change, rows.lowHigh, rows.bidAsk, rows.spread, rows.volume}), "figures");
    }

    // Each bound and the freshness window from both sides, as a buy and as a sell; the number
    // grammar itself is the reader's.
    void inputs_data()
    {
        QTest::addColumn<PaperOrder>("order");
        QTest::addColumn<QString>("time"); // of the quote
        QTest::addColumn<bool>("accepted");
        addRow("size above the bound", PaperOrder{"1000000000.01", "0.1", "0.5"}, quoteTime, false);
        addRow("size 0", PaperOrder{"0", "0.1", "0.5"}, quoteTime, false);
        addRow("negative size", PaperOrder{"-5", "0.1", "0.5"}, quoteTime, false);
        addRow("nan size", PaperOrder{"nan", "0.1", "0.5"}, quoteTime, false);
        addRow("infinite size", PaperOrder{"inf", "0.1", "0.5"}, quoteTime, false);
        addRow("negative fee", PaperOrder{"100", "-0.01", "0.5"}, quoteTime, false);
        addRow("fee 100", PaperOrder{"100", "100", "0.5"}, quoteTime, false);
        addRow("negative slippage", PaperOrder{"100", "0.1", "-0.5"}, quoteTime, false);
        addRow("slippage 100", PaperOrder{"100", "0.1", "100"}, quoteTime, false);
        addRow("comma in slippage", PaperOrder{"100", "0.1", "0,5"}, quoteTime, false);
        const PaperOrder order{"100", "0.1", "0.5"};
        const auto ago = [](qint64 ms) { return now.addMSecs(-ms).toString(Qt::ISODateWithMs); };
        // The accepted edges, taken together: size 1e9, fee and slippage 0 and 99.99.
        addRow("120 s old, other edges", PaperOrder{"1e9", "0", "99.99"}, ago(120'000), true);
        addRow("120.001 s old", order, ago(120'001), false);
        addRow("30 s ahead, other edges", PaperOrder{"100", "99.99", "0"}, ago(-30'000), true);
        addRow("30.001 s ahead", order, ago(-30'001), false);
        addRow("no zone", order, "2025-05-01T12:35:00", false);
    }

    void inputs()
    {
        QFETCH(PaperOrder, order);
        QFETCH(QString, time);
        QFETCH(bool, accepted);
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

    // The screen shows the store's first quote of the chosen pair; only calculate() changes the
    // preview.
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
        QStringList got; // read by name, as the view does
        for (const char *name : {"lastTrade", "change", "lowHigh", "bidAsk", "spread", "volume", "quoteTime"})
            got << screen.property(name).toString();
        QCOMPARE(got, (QStringList{usd(65000), "-1.25%", "$64000.00 / $66000.00", "$65010.00 / $64990.00",
                                   "0.000%", "1234567.89 BTC", "Unavailable"}));
        // The whole pair, case and all; the rows change only with the quote they show.
        for (const QString asset : {"eth-usd", "ETH", "ETH-USD", "ETH-USD"}) {
            screen.setAsset(asset);
            QCOMPARE(screen.hasQuote(), asset == "ETH-USD");
        }
        QCOMPARE(snapshotChanged.count(), 3);

        // By the wall clock, ETH is quoted now.
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
        // A clock set here is the one read: ETH is quoted far ahead of it.
        service.onJson("/market-data", snapshot);
        QCoro::waitFor(markets.load());
        screen.setClock([] { return now; });
        screen.calculate();
        QCOMPARE(screen.preview(), invalid);
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
        QTest::addColumn<QuoteAgeRow>("age");
        const auto ago = [](qint64 ms) { return now.addMSecs(-ms).toString(Qt::ISODateWithMs); };
        const QString recent = QStringLiteral("Quoted less than a minute ago");
        addRow("10 s", ago(10'000), QuoteAgeRow{recent, true, 50'000});
        addRow("30 s ahead", ago(-30'000), QuoteAgeRow{recent, true, 90'000});
        addRow("30.001 s ahead", ago(-30'001),
               QuoteAgeRow{"Quoted ahead of this device's clock · not fresh", false, 1});
        addRow("119.5 s", ago(119'500), QuoteAgeRow{"Quoted 1 min ago", true, 500});
        addRow("120 s", ago(120'000), QuoteAgeRow{"Quoted 2 min ago", true, 1});
        addRow("120.001 s", ago(120'001), QuoteAgeRow{"Quoted 2 min ago" + stale, false, 59'999});
        addRow("two hours", ago(7'200'000), QuoteAgeRow{"Quoted over an hour ago" + stale, false, -1});
        addRow("unreadable", QString("yesterday"),
               QuoteAgeRow{"Quote time unreadable · not fresh", false, -1});
    }

    void age()
    {
        QFETCH(QString, time);
        QFETCH(QuoteAgeRow, age);
        const QuoteAge got = quoteAge(time, now);
        QCOMPARE((QuoteAgeRow{got.text, got.fresh, got.changesInMs.value_or(-1)}), age);
    }

    // The first field out of range is the one named; the message stays the calculator's.
    void invalidField_data()
    {
        QTest::addColumn<PaperOrder>("order");
        QTest::addColumn<QString>("field");
        addRow("all good", PaperOrder{"100", "0.1", "0.5"}, QString());
        addRow("size not a number", PaperOrder{"1,5", "0.1", "0.5"}, QString("size"));
        addRow("size and fee", PaperOrder{"0", "100", "0.5"}, QString("size"));
        addRow("fee 100", PaperOrder{"100", "100", "0.5"}, QString("fee"));
        addRow("infinite fee", PaperOrder{"100", "inf", "0.5"}, QString("fee"));
        addRow("negative slippage", PaperOrder{"100", "0.1", "-0.5"}, QString("slippage"));
    }

    void invalidField()
    {
        QFETCH(PaperOrder, order);
        QTEST(::invalidField(order), "field");
    }

    // The screen follows the store: its rows change once per change of the chosen quote, its age
    // goes stale by itself, the mark of a bad field goes with an edit, and refresh loads.
    void screenFollowsStore()
    {
        Markets markets(&client, Service{service.origin()});
        TradeScreen screen(&markets);
        QSignalSpy rows(&screen, &TradeScreen::snapshotChanged);
        QSignalSpy fresh(&screen, &TradeScreen::quoteFreshChanged);
        // Fresh when it arrives, stale a moment later by the wall clock.
        const QDateTime quoted = QDateTime::currentDateTimeUtc().addMSecs(-118'500);
        service.onJson("/market-data", snapshotAt(quoted.toString(Qt::ISODateWithMs)));
        QCoro::waitFor(markets.load());
        QCoro::waitFor(markets.load());
        QCOMPARE(rows.count(), 1);
        QTRY_COMPARE(fresh.count(), 2);
        QVERIFY(!screen.quoteFresh() && screen.quoteAge().endsWith(stale));

        for (const int index : {2, 7, 0}) {
            screen.setAssetIndex(index);
            QCOMPARE(screen.assetIndex(), index == 7 ? 2 : index);
        }
        QCOMPARE(screen.asset(), "BTC-USD");
        QCOMPARE(rows.count(), 3);
        QCOMPARE(screen.assetNames(), (QStringList{"Bitcoin", "Ethereum", "Solana"}));

        screen.setFee("100");
        screen.calculate();
        QCOMPARE(screen.invalidField(), "fee");
        screen.setSize("5");
        QCOMPARE(screen.invalidField(), "fee");
        screen.setFee("1");
        QCOMPARE(screen.invalidField(), QString());

        const auto loads = service.seen("/market-data").size();
        screen.refresh();
        QTRY_COMPARE(service.seen("/market-data").size(), loads + 1);
    }
};

QTEST_GUILESS_MAIN(TestPaperTrade)
#include "tst_papertrade.moc"
