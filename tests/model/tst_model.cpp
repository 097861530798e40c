#include "number.h"
#include "quote.h"
#include "stamp.h"

#include <QTest>

class TestModel : public QObject
{
    Q_OBJECT

private slots:
    void quoteNames_data()
    {
        QTest::addColumn<QString>("pair");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("symbol");
        // The catalogue lookup is exact and case-sensitive; the symbol ends at the first dash.
        const char *const rows[][3] = {
            {"BTC-USD", "Bitcoin", "BTC"},
            {"ETH-USD", "Ethereum", "ETH"},
            {"SOL-USD", "Solana", "SOL"},
            {"btc-usd", "btc-usd", "btc"},
            {"BTC-USD-PERP", "BTC-USD-PERP", "BTC"},
            {"BTC", "BTC", "BTC"},
            {"-USD", "-USD", ""},
        };
        for (const auto &row : rows)
            QTest::newRow(row[0]) << QString(row[0]) << QString(row[1]) << QString(row[2]);
    }

    void quoteNames()
    {
        QFETCH(QString, pair);
        const Quote quote(pair, 1, 0, 1, 1, 0, 1, 1, QStringLiteral("not a date"));
        QCOMPARE(quote.id(), pair);
        QTEST(quote.name(), "name");
        QTEST(quote.symbol(), "symbol");
        // The time text is kept as received, never parsed.
        QCOMPARE(quote.time(), QStringLiteral("not a date"));
    }

    void stamps_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<qint64>("msecs"); // -1: refused
        const qint64 base = QDateTime(QDate(2025, 5, 1), QTime(12, 34, 56), Qt::UTC).toMSecsSinceEpoch();
        const std::pair<const char *, qint64> accepted[] = {
            {"2025-05-01T12:34:56.789Z", base + 789},    {"2025-05-01T12:34:56Z", base},
            {"2025-05-01T14:34:56+02:00", base},         {"2025-05-01T07:04:56-05:30", base},
            {"2025-05-01T12:34:56.789123Z", base + 789},
        };
        for (const auto &[text, msecs] : accepted)
            QTest::newRow(text) << QString(text) << msecs;
        // Qt's own ISO reader takes several of these; the service's times never look like them.
        for (const char *text :
             {"2025-05-01 12:34:56Z", "2025-05-01", "2025-05-01T12:34:56", "2025-05-01T12:34:56.789", "",
              "2025-05-01T12:34Z", "2025-05-01T12:34:56+0200", "2025-05-01t12:34:56Z", "2025-05-01T12:34:56z",
              "2025-05-01T12:34:56.Z", "2025-02-30T12:34:56Z", "2025-05-01T24:00:00Z", "2025-06-30T23:59:60Z",
              "2025-05-01T12:34:56+24:00", " 2025-05-01T12:34:56Z", "2025-05-01T12:34:56Z ",
              "2025-05-0\u0661T12:34:56Z"})
            QTest::newRow(text) << QString::fromUtf8(text) << qint64(-1);
    }

    void stamps()
    {
        QFETCH(QString, text);
        const auto instant = stamp(text);
        QTEST(instant ? instant->toMSecsSinceEpoch() : -1, "msecs");
    }

    void numbers_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("read"); // "-": refused
        const char *const rows[][2] = {
            {"1e2", "100"},
            {"100.", "100"},
            {".5", "0.5"},
            {"+100", "100"},
            {"-5", "-5"},
            {"0x10", "16"},
            {"1000000000.01", "1000000000.01"},
            // Read as numbers; the callers refuse them as not finite.
            {"inf", "inf"},
            {"-INF", "-inf"},
            {"NaN", "nan"},
        };
        for (const auto &row : rows)
            QTest::newRow(row[0]) << QString(row[0]) << QString(row[1]);
        for (const char *text :
             {"", "1,5", "10%", " 100", "100 ", "\t100", "\n100", "100 USD", "-", ".", "abc", "\u0661\u0662"})
            QTest::newRow(text) << QString::fromUtf8(text) << "-";
        QTest::newRow("embedded NUL") << QString(QStringLiteral("1") + QChar(0) + QStringLiteral("2")) << "-";
    }

    // QCoreApplication takes LC_NUMERIC from the environment, as the app does; the suite is also
    // run under a comma-decimal locale to prove the reading ignores it.
    void numbers()
    {
        QFETCH(QString, text);
        const auto number = numberFromText(text);
        QTEST(number ? QString::number(*number, 'g', 15) : QStringLiteral("-"), "read");
    }
};

QTEST_GUILESS_MAIN(TestModel)
#include "tst_model.moc"
