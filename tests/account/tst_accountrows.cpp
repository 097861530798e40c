#include "account/accountrecord.h"
#include "account/historylist.h"
#include "app/urlopener.h"
#include "app/workspace.h"
#include "quiet.h"
#include "unlock/ownerprompt.h" // Workspace needs it whole

#include <QJsonDocument>
#include <QLocale>
#include <QTest>

namespace {

struct Recorder : UrlOpener
{
    void open(const QUrl &url) override { opened.append(url); }
    QList<QUrl> opened;
};

} // namespace

class TestAccountRows : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    // Only texts count, shown as written: numbers, null and objects show the placeholders. A
    // date shows only when it is an internet date-time.
    void texts_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QStringList>("shown"); // address, native, token, headline, date
        // 12:34 UTC on 1 May 2025 as each region of the test command writes it (ctest runs this in
        // UTC).
        const QHash<QString, QString> dates{{"C", "2025-05-01 12:34"},
                                            {"en_US", "5/1/25 12:34 PM"},
                                            {"de_DE", "01.05.25 12:34"},
                                            {"fr_FR", "01/05/2025 12:34"}};
        const QString date = dates.value(QLocale::system().name());
        if (date.isEmpty())
            QSKIP("a region the test command does not run under");
        addRow(
            "texts",
            QByteArray(
                R"({"owner":"<b>0xa</b>&amp;","nativeBalance":"0.500000","tokenBalance":"12.3","amount":"1.25",)"
                R"("state":"settled","created":"2025-05-01T12:34:56.789Z"})"),
            QStringList{"<b>0xa</b>&amp;", "0.500000", "12.3", "1.25 kUSD · settled", date});
        addRow("not texts",
               QByteArray(R"({"owner":null,"nativeBalance":0.5,"tokenBalance":{"v":"1"},"amount":1.25,)"
                          R"("state":3,"created":1746102896})"),
               QStringList{"Unavailable", "—", "—", "— kUSD · Unknown", "Date unavailable"});
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

    // The hash is one path segment under "/tx/", whatever it holds.
    void explorer_data()
    {
        QTest::addColumn<QString>("hash");
        QTest::addColumn<QByteArray>("url"); // empty: no link
        addRow("hash", "0xab12", QByteArray("https://sepolia.etherscan.io/tx/0xab12"));
        addRow("dot", ".", QByteArray());
        addRow("two dots", "..", QByteArray());
    }

    void explorer()
    {
        QFETCH(QString, hash);
        QTEST(HistoryList::explorerUrl(hash).value_or(QUrl()).toEncoded(), "url");
    }

    // Only https pages open (a development build's own loopback service too: the journey opens
    // its portal).
    void openURL_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<bool>("opened");
        addRow("site page", QString("https://kelvra.app/competition.html"), true);
        addRow("plain http", QString("http://kelvra.app/demo.html"), false);
        addRow("file", QString("file:///etc/passwd"), false);
        addRow("own scheme", QString("kelvra-wallet://pay?to=0x1"), false);
        addRow("user in front", QString("https://kelvra.app@evil.example/"), false);
        addRow("loopback without a loopback origin", QString("http://127.0.0.1:8080/"), false);
    }

    void openURL()
    {
        QFETCH(QString, url);
        QFETCH(bool, opened);
        Recorder browser;
        Workspace workspace(QStringLiteral("https://kelvra.app"), Workspace::Platform{.opener = &browser});
        workspace.openURL(QUrl(url));
        QCOMPARE(browser.opened, opened ? QList<QUrl>{QUrl(url)} : QList<QUrl>{});
    }
};

// The workspace expects the application a window has.
QTEST_MAIN(TestAccountRows)
#include "tst_accountrows.moc"
