#include "trade/tradescreen.h"

#include "market/markets.h"
#include "model/numbervalidator.h"
#include "quiet.h"
#include "testservice.h"
#include "trade/papertrade.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>

Q_DECLARE_METATYPE(PaperOrder)

namespace {

const QDateTime now(QDate(2025, 5, 1), QTime(12, 35, 6), Qt::UTC);
const QString stale = QStringLiteral(" · no longer fresh, refresh the snapshot");

QJsonObject snapshot(const QString &time)
{
    QJsonArray quotes;
    for (const char *pair : {"BTC-USD", "ETH-USD", "SOL-USD"})
        quotes.append(QJsonObject{{"pair", pair}, {"price", 100}, {"bid", 99}, {"ask", 101}, {"time", time}});
    return {{"quotes", quotes}};
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

class TestTradeScreen : public QObject
{
    Q_OBJECT

    TestService service;
    QNetworkAccessManager client;

private slots:
    void init() { failOnAnyWarning(); }

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
    void screen()
    {
        Markets markets(&client, Service{service.origin()});
        TradeScreen screen(&markets);
        QSignalSpy rows(&screen, &TradeScreen::snapshotChanged);
        QSignalSpy fresh(&screen, &TradeScreen::quoteFreshChanged);
        // Fresh when it arrives, stale a moment later by the wall clock.
        const QDateTime quoted = QDateTime::currentDateTimeUtc().addMSecs(-118'500);
        service.onJson("/market-data", snapshot(quoted.toString(Qt::ISODateWithMs)));
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

QTEST_GUILESS_MAIN(TestTradeScreen)
#include "tst_tradescreen.moc"
