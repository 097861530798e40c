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

    void record_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("address");
        QTest::addColumn<QString>("native");
        QTest::addColumn<QString>("token");
        QTest::newRow("all strings, shown verbatim")
            << QByteArray(R"({"owner":"0xabc","nativeBalance":"0.500000","tokenBalance":"12.3"})") << "0xabc"
            << "0.500000"
            << "12.3";
        QTest::newRow("empty record") << QByteArray("{}") << "Unavailable"
                                      << "—"
                                      << "—";
        QTest::newRow("a number is not a text")
            << QByteArray(R"({"owner":"0xabc","nativeBalance":0.5,"tokenBalance":true})") << "0xabc"
            << "—"
            << "—";
        QTest::newRow("null and object")
            << QByteArray(R"({"owner":null,"tokenBalance":{"v":"1"}})") << "Unavailable"
            << "—"
            << "—";
        QTest::newRow("empty strings are strings")
            << QByteArray(R"({"owner":"","nativeBalance":"","tokenBalance":""})") << ""
            << ""
            << "";
    }

    void record()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, address);
        QFETCH(QString, native);
        QFETCH(QString, token);
        const QJsonObject r = QJsonDocument::fromJson(json).object();
        QCOMPARE(AccountRecord::address(r), address);
        QCOMPARE(AccountRecord::nativeBalance(r), native);
        QCOMPARE(AccountRecord::tokenBalance(r), token);
    }

    void headline_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("headline");
        QTest::newRow("amount and state") << QByteArray(R"({"amount":"1.25","state":"settled"})")
                                          << QString::fromUtf8("1.25 kUSD · settled");
        QTest::newRow("only id") << QByteArray(R"({"id":"p1"})") << QString::fromUtf8("— kUSD · Unknown");
        QTest::newRow("numbers do not count")
            << QByteArray(R"({"amount":1.25,"state":3})") << QString::fromUtf8("— kUSD · Unknown");
    }

    void headline()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, headline);
        QCOMPARE(HistoryList::headline(QJsonDocument::fromJson(json).object()), headline);
    }

    void date_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("instant"); // empty: "Date unavailable"
        QTest::newRow("fraction") << QByteArray(R"({"created":"2025-05-01T12:34:56.789Z"})")
                                  << "2025-05-01T12:34:56.789Z";
        QTest::newRow("no fraction") << QByteArray(R"({"created":"2025-05-01T12:34:56Z"})")
                                     << "2025-05-01T12:34:56Z";
        QTest::newRow("date alone") << QByteArray(R"({"created":"2025-05-01"})") << "";
        QTest::newRow("absent") << QByteArray("{}") << "";
        QTest::newRow("a number") << QByteArray(R"({"created":1746102896})") << "";
    }

    void date()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, instant);
        const QString line = HistoryList::dateLine(QJsonDocument::fromJson(json).object());
        if (instant.isEmpty()) {
            QCOMPARE(line, QStringLiteral("Date unavailable"));
        } else {
            QCOMPARE(line, shortDateTime(*stamp(instant)));
            QVERIFY(!line.isEmpty());
        }
    }

    void explorer_data()
    {
        QTest::addColumn<QString>("hash");
        QTest::addColumn<QString>("url"); // empty: no usable link
        const QString h = QStringLiteral("0x") + QString(64, u'a');
        QTest::newRow("hash") << h << QStringLiteral("https://sepolia.etherscan.io/tx/") + h;
        QTest::newRow("empty hash still links") << ""
                                                << "https://sepolia.etherscan.io/tx/";
        QTest::newRow("blank inside") << "0x12 34"
                                      << "";
        QTest::newRow("bad escape") << "0x%zz"
                                    << "";
    }

    void explorer()
    {
        QFETCH(QString, hash);
        QFETCH(QString, url);
        const auto link = HistoryList::explorerUrl(hash);
        QCOMPARE(link.has_value(), !url.isEmpty());
        if (link)
            QCOMPARE(link->toString(), url);
    }
};

QTEST_GUILESS_MAIN(TestAccountRows)
#include "tst_accountrows.moc"
