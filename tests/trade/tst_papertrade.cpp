#include "papertrade.h"

#include "commalocale.h"
#include "quiet.h"
#include "stamp.h"

#include <QTest>

#include <limits>
#include <optional>

Q_DECLARE_METATYPE(PaperOrder)

namespace {

const QString invalid =
    QStringLiteral("Load a fresh quote. Enter a positive size and percentages from 0 to below 100.");
const QString unavailable = QStringLiteral("Bid/ask unavailable.");
const QString quoteTime = QStringLiteral("2025-05-01T12:34:56Z");
const QDateTime quoteInstant = *stamp(quoteTime);
// Ten seconds after the quote: fresh.
const QDateTime now = quoteInstant.addSecs(10);

Quote btc(double bid = 64990, double ask = 65010, const QString &time = quoteTime)
{
    return Quote(QStringLiteral("BTC-USD"), 65000, 1.2, 66000, 64000, 1234, bid, ask, time);
}

QString lines(const QStringList &list)
{
    return list.join(u'\n');
}

} // namespace

class TestPaperTrade : public QObject
{
    Q_OBJECT

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
            // Without fee and slippage a sell fills at the bid and returns its size.
            {"sell BTC, no costs",
             {"100", "0", "0", "Sell"},
             btc(),
             {"Paper sell", "Quantity: 0.00153870 BTC", "Assumed execution: $64990.00",
              "Net proceeds: $100.00", "Value at −5% / +5%: $95.01 / $105.02"}},
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
                    << lines(e.preview + QStringList{"No order or transaction sent."});
            }
        }
    }

    void workedExamples()
    {
        QFETCH(bool, commaLocale);
        QFETCH(PaperOrder, order);
        QFETCH(Quote, quote);
        QFETCH(QString, preview);
        std::optional<CommaLocale> locale;
        if (commaLocale) {
            locale.emplace();
            QVERIFY2(locale->active(), "de_DE.UTF-8 is not installed");
        }
        QCOMPARE(paperPreview(order, quote, now), preview);
    }

    void inputs_data()
    {
        // Size, fee and slippage as typed.
        QTest::addColumn<QStringList>("typed");
        // Accepted inputs give the same preview as these; none: the inputs are refused.
        QTest::addColumn<QStringList>("sameAs");
        const auto add = [](const char *name, const QStringList &typed, const QStringList &sameAs = {}) {
            QTest::newRow(name) << typed << sameAs;
        };
        const QStringList plain{"100", "0.1", "0.5"};

        add("largest size", {"1000000000", "0.1", "0.5"}, {"1e9", "0.1", "0.5"});
        add("size above the bound", {"1000000000.01", "0.1", "0.5"});
        add("size 0", {"0", "0.1", "0.5"});
        add("negative size", {"-5", "0.1", "0.5"});
        add("fee 0", {"100", "0", "0.5"}, {"100", "0.0", "0.5"});
        add("fee 99.99", {"100", "99.99", "0.5"}, {"100", "9.999e1", "0.5"});
        add("fee 100", {"100", "100", "0.5"});
        add("negative fee", {"100", "-0.01", "0.5"});
        add("slippage 0", {"100", "0.1", "0"}, {"100", "0.1", "0.0"});
        add("slippage 99.99", {"100", "0.1", "99.99"}, {"100", "0.1", "9.999e1"});
        add("slippage 100", {"100", "0.1", "100"});
        add("negative slippage", {"100", "0.1", "-0.5"});
        add("exponent", {"1e2", "0.1", "0.5"}, plain);
        add("trailing point", {"100.", "0.1", "0.5"}, plain);
        add("leading point", {"100", "0.1", ".5"}, plain);
        add("plus sign", {"+100", "+0.1", "0.5"}, plain);
        add("leading blank", {" 100", "0.1", "0.5"});
        add("trailing blank", {"100 ", "0.1", "0.5"});
        add("leading tab in fee", {"100", "\t0.1", "0.5"});
        add("comma decimal", {"1,5", "0.1", "0.5"});
        add("comma in slippage", {"100", "0.1", "0,5"});
        add("percent sign", {"100", "10%", "0.5"});
        add("empty size", {"", "0.1", "0.5"});
        add("empty slippage", {"100", "0.1", ""});
        add("inf size", {"inf", "0.1", "0.5"});
        add("nan size", {"nan", "0.1", "0.5"});
        add("nan fee", {"100", "nan", "0.5"});
        add("-inf slippage", {"100", "0.1", "-inf"});
    }

    void inputs()
    {
        QFETCH(QStringList, typed);
        QFETCH(QStringList, sameAs);
        for (const QString side : {"Buy", "Sell"}) {
            const QString preview = paperPreview({typed[0], typed[1], typed[2], side}, btc(), now);
            if (sameAs.isEmpty()) {
                QCOMPARE(preview, invalid);
            } else {
                QVERIFY2(preview.startsWith("Paper "), qPrintable(preview));
                QCOMPARE(preview, paperPreview({sameAs[0], sameAs[1], sameAs[2], side}, btc(), now));
            }
        }
    }

    void freshness_data()
    {
        QTest::addColumn<QString>("time");
        QTest::addColumn<bool>("fresh");

        const auto at = [](qint64 msAgo) { return now.addMSecs(-msAgo).toString(Qt::ISODateWithMs); };
        QTest::newRow("now") << at(0) << true;
        QTest::newRow("120 s old") << at(120'000) << true;
        QTest::newRow("120.001 s old") << at(120'001) << false;
        QTest::newRow("121 s old") << at(121'000) << false;
        QTest::newRow("30 s ahead") << at(-30'000) << true;
        QTest::newRow("30.001 s ahead") << at(-30'001) << false;
        QTest::newRow("31 s ahead") << at(-31'000) << false;
        QTest::newRow("offset zone, 100 s old") << "2025-05-01T14:33:26+02:00" << true;
        QTest::newRow("no zone") << "2025-05-01T12:34:56" << false;
        QTest::newRow("blank for T") << "2025-05-01 12:35:00Z" << false;
        QTest::newRow("empty") << "" << false;
        QTest::newRow("not a time") << "now" << false;
    }

    void freshness()
    {
        QFETCH(QString, time);
        QFETCH(bool, fresh);
        const QString preview = paperPreview({"100", "0.1", "0.5", "Buy"}, btc(64990, 65010, time), now);
        if (fresh)
            QVERIFY2(preview.startsWith("Paper buy\n"), qPrintable(preview));
        else
            QCOMPARE(preview, invalid);
    }

    void referencePrice_data()
    {
        QTest::addColumn<QString>("side");
        QTest::addColumn<double>("bid");
        QTest::addColumn<double>("ask");
        QTest::addColumn<bool>("priced");

        const double nan = std::numeric_limits<double>::quiet_NaN();
        QTest::newRow("buy, ask 0") << "Buy" << 64990.0 << 0.0 << false;
        QTest::newRow("sell, ask 0") << "Sell" << 64990.0 << 0.0 << true;
        QTest::newRow("sell, bid 0") << "Sell" << 0.0 << 65010.0 << false;
        QTest::newRow("buy, bid 0") << "Buy" << 0.0 << 65010.0 << true;
        QTest::newRow("buy, negative ask") << "Buy" << 64990.0 << -1.0 << false;
        QTest::newRow("sell, NaN bid") << "Sell" << nan << 65010.0 << false;
        QTest::newRow("buy, NaN ask") << "Buy" << 64990.0 << nan << false;
    }

    void referencePrice()
    {
        QFETCH(QString, side);
        QFETCH(double, bid);
        QFETCH(double, ask);
        QFETCH(bool, priced);
        const QString preview = paperPreview({"100", "0.1", "0.5", side}, btc(bid, ask), now);
        if (priced)
            QVERIFY2(preview.startsWith("Paper " + side.toLower() + "\n"), qPrintable(preview));
        else
            QCOMPARE(preview, unavailable);
    }

    // Bad inputs are reported before the price is looked at.
    void invalidInputsComeFirst()
    {
        QCOMPARE(paperPreview({"0", "0.1", "0.5", "Buy"}, btc(64990, 0), now), invalid);
        QCOMPARE(paperPreview({"100", "0.1", "0.5", "Buy"}, btc(64990, 0), now.addSecs(600)), invalid);
        QCOMPARE(paperPreview({"100", "0.1", "0.5", "Buy"}, std::nullopt, now), invalid);
    }
};

QTEST_GUILESS_MAIN(TestPaperTrade)
#include "tst_papertrade.moc"
