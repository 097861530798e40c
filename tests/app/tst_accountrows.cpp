#include "accountrecord.h"
#include "historylist.h"
#include "quiet.h"
#include "regionformat.h"
#include "stamp.h"

#include <QJsonDocument>
#include <QTest>

namespace {

QJsonObject object(const char *json)
{
    return QJsonDocument::fromJson(json).object();
}

} // namespace

class TestAccountRows : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    // Only texts count: numbers, null and objects show the placeholders; empty
    // texts are texts.
    void texts_data()
    {
        QTest::addColumn<QString>("json");
        QTest::addColumn<QStringList>("shown"); // address, native, token, headline
        const QString none = "— kUSD · Unknown";
        addRow("texts",
               R"({"owner":"0xa","nativeBalance":"0.500000","tokenBalance":"12.3",)"
               R"("amount":"1.25","state":"settled"})",
               QStringList{"0xa", "0.500000", "12.3", "1.25 kUSD · settled"});
        addRow("empty", "{}", QStringList{"Unavailable", "—", "—", none});
        addRow("not texts",
               R"({"owner":null,"nativeBalance":0.5,"tokenBalance":{"v":"1"},)"
               R"("amount":1.25,"state":3})",
               QStringList{"Unavailable", "—", "—", none});
        addRow("empty texts", R"({"owner":"","nativeBalance":"","tokenBalance":""})",
               QStringList{"", "", "", none});
    }

    void texts()
    {
        QFETCH(QString, json);
        const QJsonObject r = object(json.toUtf8());
        QTEST((QStringList{AccountRecord::address(r), AccountRecord::nativeBalance(r),
                           AccountRecord::tokenBalance(r), HistoryList::headline(r)}),
              "shown");
    }

    void date_data()
    {
        QTest::addColumn<QString>("created"); // a JSON value
        QTest::addColumn<bool>("shown");
        addRow("fraction", R"("2025-05-01T12:34:56.789Z")", true);
        addRow("no fraction", R"("2025-05-01T12:34:56Z")", true);
        addRow("date alone", R"("2025-05-01")", false);
        addRow("a number", "1746102896", false);
    }

    void date()
    {
        QFETCH(QString, created);
        QFETCH(bool, shown);
        const QJsonObject row = object(("{\"created\":" + created + "}").toUtf8());
        QCOMPARE(HistoryList::dateLine(row), shown ? shortDateTime(*stamp(row["created"].toString()))
                                                   : QStringLiteral("Date unavailable"));
    }

    void explorer_data()
    {
        QTest::addColumn<QString>("hash");
        QTest::addColumn<QString>("url"); // empty: no link
        const QString h = "0x" + QString(64, u'a');
        addRow("hash", h, "https://sepolia.etherscan.io/tx/" + h);
        addRow("empty hash still links", "", "https://sepolia.etherscan.io/tx/");
        addRow("blank inside", "0x12 34", "");
        addRow("bad escape", "0x%zz", "");
    }

    void explorer()
    {
        QFETCH(QString, hash);
        QTEST(HistoryList::explorerUrl(hash).value_or(QUrl()).toString(), "url");
    }
};

QTEST_GUILESS_MAIN(TestAccountRows)
#include "tst_accountrows.moc"
