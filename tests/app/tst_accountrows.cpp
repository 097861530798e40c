#include "accountrecord.h"
#include "historylist.h"
#include "quiet.h"
#include "regionformat.h"
#include "stamp.h"

#include <QJsonDocument>
#include <QTest>

class TestAccountRows : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    // Only texts count: numbers, null and objects show the placeholders; empty texts are texts.
    // A date shows only when it is an internet date-time.
    void texts_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QStringList>("shown"); // address, native, token, headline, date
        addRow(
            "texts",
            QByteArray(R"({"owner":"0xa","nativeBalance":"0.500000","tokenBalance":"12.3","amount":"1.25",)"
                       R"("state":"settled","created":"2025-05-01T12:34:56.789Z"})"),
            QStringList{"0xa", "0.500000", "12.3", "1.25 kUSD · settled",
                        shortDateTime(*stamp(QStringLiteral("2025-05-01T12:34:56.789Z")))});
        addRow("not texts",
               QByteArray(R"({"owner":null,"nativeBalance":0.5,"tokenBalance":{"v":"1"},"amount":1.25,)"
                          R"("state":3,"created":1746102896})"),
               QStringList{"Unavailable", "—", "—", "— kUSD · Unknown", "Date unavailable"});
        addRow("empty texts, date alone",
               QByteArray(R"({"owner":"","nativeBalance":"","tokenBalance":"","created":"2025-05-01"})"),
               QStringList{"", "", "", "— kUSD · Unknown", "Date unavailable"});
    }

    void texts()
    {
        QFETCH(QByteArray, json);
        const QJsonObject r = QJsonDocument::fromJson(json).object();
        QTEST(
            (QStringList{AccountRecord::address(r), AccountRecord::nativeBalance(r),
                         AccountRecord::tokenBalance(r), HistoryList::headline(r), HistoryList::dateLine(r)}),
            "shown");
    }

    void explorer_data()
    {
        QTest::addColumn<QString>("hash");
        QTest::addColumn<QString>("url"); // empty: no link
        addRow("hash", "0xab12", "https://sepolia.etherscan.io/tx/0xab12");
        addRow("empty hash still links", "", "https://sepolia.etherscan.io/tx/");
        addRow("blank inside", "0x12 34", "");
    }

    void explorer()
    {
        QFETCH(QString, hash);
        QTEST(HistoryList::explorerUrl(hash).value_or(QUrl()).toString(), "url");
    }
};

QTEST_GUILESS_MAIN(TestAccountRows)
#include "tst_accountrows.moc"
