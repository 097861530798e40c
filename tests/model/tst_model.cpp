#include "market/markets.h"
#include "model/quote.h"
#include "model/received.h"
#include "model/regionformat.h"
#include "model/snapshot.h"
#include "model/stamp.h"
#include "owner/ownerclient.h"
#include "quiet.h"
#include "trade/snapshotrows.h"
#include "vault/vaultbalance.h"

#include <QTest>

#include <clocale>

class TestModel : public QObject
{
    Q_OBJECT

private slots:
    void stamps_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<qint64>("msecs"); // -1: refused
        const qint64 base = QDateTime(QDate(2025, 5, 1), QTime(12, 34, 56), Qt::UTC).toMSecsSinceEpoch();
        const auto add = [](const char *text, qint64 msecs) {
            QTest::newRow(text) << QString::fromUtf8(text) << msecs;
        };
        add("2025-05-01T12:34:56.789Z", base + 789);
        add("2025-05-01T12:34:56.789123Z", base + 789);
        add("2025-05-01T12:34:56Z", base);
        add("2025-05-01T14:34:56+02:00", base);
        add("2025-05-01T07:04:56-05:30", base);
        // Qt's own ISO reader takes several of these; the service's times never look like them.
        for (const char *text :
             {"2025-05-01 12:34:56Z", "2025-05-01", "2025-05-01T12:34:56", "2025-05-01T12:34:56.789", "",
              "2025-05-01T12:34Z", "2025-05-01T12:34:56+0200", "2025-05-01t12:34:56Z",
              "2025-05-01T12:34:56.Z", "2025-02-30T12:34:56Z", "2025-05-01T24:00:00Z",
              "2025-05-01T12:34:56+24:00", "2025-05-0\u0661T12:34:56Z"})
            add(text, -1);
        // The whole text is the date-time: nothing before or after it, a final line feed included.
        QTest::newRow("line feed after") << QString("2025-05-01T12:34:56Z\n") << qint64(-1);
        QTest::newRow("blank before") << QString(" 2025-05-01T12:34:56.789Z") << qint64(-1);
    }

    void stamps()
    {
        QFETCH(QString, text);
        const auto instant = stamp(text);
        QTEST(instant ? instant->toMSecsSinceEpoch() : -1, "msecs");
    }

    // Each body is a usable market snapshot, vault status and owner answer at once, with one
    // value or the framing changed. A body that is not strict JSON is refused by every reader,
    // as a body that does not parse at all is.
    void strictJson_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("taken");
        // Control bytes and non-ASCII in the row names show as %XX.
        const auto name = [](const QByteArray &value) { return value.toPercentEncoding(" \"\\/+-*.,:[]{}"); };
        const auto body = [](const QByteArray &value) {
            const QByteArray row = R"({"pair":"BTC-USD","price":1,"time":"t"})";
            return R"({"quotes":[)" + row + ',' + row + ',' + row
                   + R"(],"balanceUnits":"1500000","agentBudgetUnits":"0","x":)" + value + '}';
        };
        for (const char *value : {"-0.5e-3", "1E+2", "-0", "0.0", "\"\\u00e9\\ud83d\\ude00\\u0000\\/\"",
                                  "\"\xc3\xa9\xf0\x9f\x98\x80\x7f\"", "[[],{},null,true,false]",
                                  "{\"a\":1,\"a\":2}", "123456789012345678901234567890"})
            QTest::newRow(name(value)) << body(value) << true;
        QTest::newRow("white space around") << " \t\r\n" + body("1") + "\n" << true;
        // A byte order mark may be ignored (RFC 8259, 8.1).
        QTest::newRow("byte order mark") << "\xef\xbb\xbf" + body("1") << true;
        // Each taken by Qt's reader; what it refuses itself, as the last, every reader refuses.
        for (const char *value : {".5", "-.5", "1.", "1.e5", "\"a\tb\"", "\"a\nb\"", "\"\x1f\"", "\"\\x41\"",
                                  "\"\\'\"", "\"\\ud800\"", "\"\\udc00\"", "\"\\ud800a\""})
            QTest::newRow(name(value)) << body(value) << false;
        QTest::newRow("NUL inside a text") << body(QByteArray("\"a\0b\"", 5)) << false;
        QTest::newRow("garbage after") << body("1") + "x" << false;
    }

    void strictJson()
    {
        QFETCH(QByteArray, body);
        QFETCH(bool, taken);
        const auto object = snapshotObject(body);
        QCOMPARE(object.has_value(), taken);
        QCOMPARE(Markets::parse(object.value_or(QJsonObject{})).has_value(), taken);
        QCOMPARE(VaultBalance::texts(object).balance, taken ? "1.50 kUSD" : "—");
        // Alike where the C library's decimal separator is two bytes long.
        const QByteArray saved = std::setlocale(LC_NUMERIC, nullptr);
        QVERIFY2(std::setlocale(LC_NUMERIC, "ps_AF.UTF-8"), "ps_AF.UTF-8 is not installed");
        const bool takenThere = snapshotObject(body).has_value();
        std::setlocale(LC_NUMERIC, saved.constData());
        QCOMPARE(takenThere, taken);
        const RequestResult answer = judgeReply({.body = body, .status = 200}, false);
        QVERIFY(taken ? std::holds_alternative<QJsonObject>(answer)
                      : std::holds_alternative<QJsonParseError>(std::get<RequestError>(answer)));
    }

    // The four regions the suite runs under, and how each writes 64000.5 US dollars, 14:05 as a
    // short time, and 1 May 2025 14:05 as a date and time.
    void regionTexts_data()
    {
        QTest::addColumn<QString>("usd");
        QTest::addColumn<QString>("time");
        QTest::addColumn<QString>("dateTime");
        addRow("C", "64,000.50$", "14:05", "2025-05-01 14:05");
        addRow("en_US", "$64,000.50", "2:05 PM", "5/1/25 2:05 PM");
        addRow("de_DE", "64.000,50\u00a0$", "14:05", "01.05.25 14:05");
        addRow("fr_FR", "64\u202f000,50\u00a0$", "14:05", "01/05/2025 14:05");
    }

    // Each region's own currency, time and date forms, never with seconds. The fixed figures are
    // held in every region by the stores' own tables, which the test command runs under each.
    void regionTexts()
    {
        const QString region = QTest::currentDataTag();
        const QDateTime at(QDate(2025, 5, 1), QTime(14, 5, 9), Qt::LocalTime);
        QFETCH(QString, usd);
        QFETCH(QString, time);
        QFETCH(QString, dateTime);
        // As the process's own locale is: Qt's named C locale alone leaves out digit grouping.
        QLocale locale(region);
        locale.setNumberOptions(QLocale::DefaultNumberOptions);
        QCOMPARE((QStringList{::usd(64000.5, locale), shortTime(at, locale), shortDateTime(at, locale)}),
                 (QStringList{usd, time, dateTime}));
        // The program's own texts take the region the process runs under (the suite is run under
        // several).
        const QString stamped = at.toUTC().toString(Qt::ISODate);
        if (QLocale::system().name() == region) {
            // A payment's date is the account rows' test's, in each region written out.
            const SnapshotRows rows = snapshotRows(Quote("BTC-USD", 64000.5, 0, 1, 1, 0, 1, 1, stamped));
            QCOMPARE((QStringList{rows.lastTrade, shortTime(at), rows.time}),
                     (QStringList{usd, time, dateTime}));
        }
    }
};

QTEST_GUILESS_MAIN(TestModel)
#include "tst_model.moc"
