#include "appharness.h"
#include "markets.h"
#include "ownersession.h"
#include "quiet.h"
#include "scriptedownerauthenticator.h"
#include "tradescreen.h"
#include "vaultbalance.h"

#include <QElapsedTimer>
#include <QFontInfo>
#include <QJsonArray>
#include <QQuickStyle>
#include <QTest>

using namespace std::chrono_literals;

namespace {

QStringList paths(const TestService &service)
{
    QStringList all;
    for (const auto &seen : service.seen())
        all.append(seen.path);
    return all;
}

} // namespace

class TestScreens : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QQuickStyle::setStyle(QStringLiteral("Material")); }
    void init() { failOnAnyWarning(); }

    // Market first, the vault only once the market has answered, and nothing else.
    void startUpLoadsInOrder()
    {
        AppHarness app;
        app.service.on("/market-data", LoopbackHttp::json(snapshot()), 300ms);
        app.service.onJson(
            "/contest/status",
            QJsonObject{{"balanceUnits", "25000000"}, {"agentBudgetUnits", "1500000"}, {"active", true}});
        QElapsedTimer clock;
        QHash<QString, qint64> arrived;
        QObject::connect(&app.service, &TestService::received,
                         [&](const QString &p) { arrived[p] = clock.elapsed(); });
        clock.start();
        QVERIFY(app.show());
        QVERIFY(app.item("exploreButton"));

        QTRY_COMPARE(app.workspace->balance()->balance(), QStringLiteral("25.00 kUSD"));
        QTest::qWait(100);
        QCOMPARE(paths(app.service), (QStringList{"/market-data", "/contest/status"}));
        QVERIFY2(arrived["/contest/status"] >= arrived["/market-data"] + 250,
                 "vault asked before the market answered");
        QVERIFY(!app.workspace->entered());
    }

    void guestEntersHome()
    {
        AppHarness app;
        QVERIFY(app.show());
        // Both start-up loads are over (the vault's comes after the market's), so that any
        // request from here on would be the entering's.
        QTRY_VERIFY(app.workspace->balance()->status() != QStringLiteral("Loading on-chain balance…"));
        const qsizetype before = app.service.seen().size();
        QVERIFY(app.click("exploreButton"));
        QTRY_VERIFY(app.workspace->entered());
        QCOMPARE(app.workspace->selectedTab(), 0);
        QVERIFY(app.item("vaultCard"));
        QVERIFY(!app.item("exploreButton"));
        QCOMPARE(app.service.seen().size(), before);
    }

    void unlockRefused_data()
    {
        QTest::addColumn<bool>("available");
        QTest::addColumn<QString>("message");
        QTest::newRow("no passcode") << false
                                     << "Set a device passcode or biometrics before opening owner access.";
        QTest::newRow("cancelled") << true << "Device verification was not completed.";
    }

    void unlockRefused()
    {
        QFETCH(bool, available);
        QFETCH(QString, message);
        AppHarness app;
        app.authenticator->setAvailable(available);
        app.authenticator->queue(false);
        QVERIFY(app.show());
        QVERIFY(app.click("ownerButton"));
        QTRY_COMPARE(app.text("alertText"), message);
        // No prompt without a passcode; the reason text is the gate's own otherwise.
        QCOMPARE(app.authenticator->reasons(),
                 available ? QStringList{"Open your Kelvra owner portal"} : QStringList{});
        QVERIFY(!app.workspace->entered());
        QVERIFY(app.item("exploreButton"));

        QVERIFY(app.click("alertOk"));
        QTRY_VERIFY(app.workspace->message().isEmpty());
        QTRY_VERIFY(!app.item("alertText"));
    }

    void unlockSignsIn()
    {
        AppHarness app;
        app.authenticator->queue(true);
        scriptOwner(app.service, {});
        app.service.on("/device/start",
                       LoopbackHttp::json(QJsonObject{{"id", "s1"},
                                                      {"code", "K7Q2"},
                                                      {"approvalUrl", app.service.origin() + "/portal/s1"}}),
                       400ms);
        QVERIFY(app.show());
        QVERIFY(app.click("ownerButton"));
        // The tabs come up on Account at once, before the sign-in has answered.
        QTRY_VERIFY(app.workspace->entered());
        QCOMPARE(app.workspace->selectedTab(), 3);
        QVERIFY(app.opener.opened.isEmpty());
        QTRY_COMPARE(app.opener.opened, (QList<QUrl>{QUrl(app.service.origin() + "/portal/s1")}));
        QTRY_COMPARE(app.text("matchCode"), QStringLiteral("Match code: K7Q2"));
        QCOMPARE(app.item("matchCode")->property("font").value<QFont>().styleHint() == QFont::Monospace
                     || QFontInfo(app.item("matchCode")->property("font").value<QFont>()).fixedPitch(),
                 true);
    }

    // The timer and each return to the foreground check the session; neither reloads data.
    void checksOnTimerAndReturn()
    {
        AppHarness app(150ms);
        scriptOwner(app.service, {});
        app.service.onJson("/device/claim", QJsonObject{{"pending", true}});
        QVERIFY(app.show());
        QTRY_VERIFY(!app.workspace->balance()->property("status").toString().startsWith("Loading"));
        QCoro::waitFor(app.workspace->session()->start());
        const auto loads = [&] {
            return app.service.count("/market-data") + app.service.count("/contest/status");
        };
        const qsizetype loadsBefore = loads();

        QTRY_VERIFY(app.service.count("/device/claim") >= 3);
        QCOMPARE(loads(), loadsBefore);

        AppHarness quiet; // a long period: only the return counts
        scriptOwner(quiet.service, {});
        quiet.service.onJson("/device/claim", QJsonObject{{"pending", true}});
        QVERIFY(quiet.show());
        QCoro::waitFor(quiet.workspace->session()->start());
        const qsizetype claims = quiet.service.count("/device/claim");
        emit qGuiApp->applicationStateChanged(Qt::ApplicationInactive);
        QCoreApplication::processEvents();
        QTest::qWait(100);
        QCOMPARE(quiet.service.count("/device/claim"), claims);
        emit qGuiApp->applicationStateChanged(Qt::ApplicationActive);
        QTRY_COMPARE(quiet.service.count("/device/claim"), claims + 1);
    }

    void tabsReloadNothing()
    {
        AppHarness app;
        app.service.onJson("/market-data", snapshot());
        QVERIFY(app.show());
        QTRY_COMPARE(app.service.count("/contest/status"), 1);
        QTest::qWait(50);
        QVERIFY(app.click("exploreButton"));
        const qsizetype before = app.service.seen().size();
        for (const char *tab : {"tabMarkets", "tabTrade", "tabAccount", "tabHome", "tabMarkets"}) {
            QVERIFY2(app.click(tab), tab);
            QTest::qWait(30);
        }
        QCOMPARE(app.workspace->selectedTab(), 1);
        QCOMPARE(app.service.seen().size(), before);
    }

    void search_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<int>("rows");
        QTest::newRow("all") << "" << 3;
        QTest::newRow("symbol") << "btc" << 1;
        QTest::newRow("name") << "coin" << 1;
        QTest::newRow("quote asset") << "USD" << 0;
        QTest::newRow("trailing blank") << "sol " << 0;
    }

    void search()
    {
        QFETCH(QString, query);
        QFETCH(int, rows);
        AppHarness app;
        app.service.onJson("/market-data", snapshot());
        QVERIFY(app.show());
        QVERIFY(app.click("exploreButton"));
        QVERIFY(app.click("tabMarkets"));
        QTRY_COMPARE(app.items("quoteRow").size(), 3);
        if (!query.isEmpty())
            QVERIFY(app.type("search", query));
        QTRY_COMPARE(app.items("quoteRow").size(), rows);
        // The status line and the disclaimer are always there.
        QVERIFY(app.text("marketStatus").startsWith("Coinbase Exchange · refreshed "));
    }

    void tradeLab()
    {
        AppHarness app;
        app.service.on("/market-data", LoopbackHttp::json(snapshot()), 300ms);
        QVERIFY(app.show());
        QVERIFY(app.click("exploreButton"));
        QVERIFY(app.click("tabTrade"));
        // Before the snapshot: the first display, and no snapshot section.
        QVERIFY(!app.item("snapshotSection"));
        QCOMPARE(app.item("sideBuy")->property("checked").toBool(), true);
        QCOMPARE(app.item("asset")->property("displayText").toString(), QStringLiteral("Bitcoin"));
        QCOMPARE(app.text("size"), QStringLiteral("100"));
        QCOMPARE(app.text("fee"), QStringLiteral("0.1"));
        QCOMPARE(app.text("slippage"), QStringLiteral("0.5"));
        QCOMPARE(app.text("preview"), QStringLiteral("Choose an asset and review the assumptions."));

        // It appears for BTC-USD without any user action.
        QTRY_VERIFY(app.item("snapshotSection"));
        QCOMPARE(app.item("change24h")->property("value").toString(), QStringLiteral("+1.23%"));
        QCOMPARE(app.item("lowHigh")->property("value").toString(), QStringLiteral("$64000.00 / $66000.00"));
        QCOMPARE(app.item("bidAsk")->property("value").toString(), QStringLiteral("$64990.00 / $65010.00"));
        QCOMPARE(app.item("spread")->property("value").toString(), QStringLiteral("0.031%"));
        QCOMPARE(app.item("volume")->property("value").toString(), QStringLiteral("1234.57 BTC"));

        QVERIFY(app.click("calculate"));
        QTRY_VERIFY(app.text("preview").startsWith("Paper buy\nQuantity: "));
        QCOMPARE(app.text("preview").count(u'\n'), 5);
        // Switching the side keeps the old preview until the next calculation.
        QVERIFY(app.click("sideSell"));
        QCOMPARE(app.workspace->trade()->side(), QStringLiteral("Sell"));
        QVERIFY(app.text("preview").startsWith("Paper buy"));
        QVERIFY(app.type("size", ""));
        QVERIFY(app.click("calculate"));
        QTRY_COMPARE(
            app.text("preview"),
            QStringLiteral("Load a fresh quote. Enter a positive size and percentages from 0 to below 100."));
    }

    void accountByState()
    {
        AppHarness app;
        const QJsonArray history{QJsonObject{{"id", "only"}}, QJsonObject{{"id", "p2"},
                                                                          {"amount", "1.25"},
                                                                          {"state", "settled"},
                                                                          {"hash", ""},
                                                                          {"created", "2025-05-01T12:34:56Z"},
                                                                          {"reason", "Data feed"}}};
        scriptOwner(app.service, history);
        app.service.onJson("/api/receipt/p2", QJsonObject{{"explanation", "A"}, {"limitation", "B"}});
        QVERIFY(app.show());
        QVERIFY(app.click("exploreButton"));
        QVERIFY(app.click("tabAccount"));

        // Guest: the session, vault and project sections, no wallet, history or sign-out.
        QCOMPARE(app.text("sessionStatus"), QStringLiteral("Guest demo · no owner session"));
        QVERIFY(!app.item("matchCode") && !app.item("walletSection") && !app.item("historySection")
                && !app.item("signOut"));
        QVERIFY(app.item("vaultSection") && app.item("projectSection"));

        // Waiting for approval.
        QCoro::waitFor(app.workspace->session()->start());
        QTRY_COMPARE(app.text("matchCode"), QStringLiteral("Match code: K7Q2"));
        QVERIFY(!app.item("walletSection"));

        // Connected.
        QVERIFY(app.click("checkConnection"));
        QTRY_VERIFY(app.item("walletSection"));
        QVERIFY(app.text("sessionStatus").startsWith("Owner connected · read-only until "));
        QCOMPARE(app.text("ownerAddress"), QStringLiteral("0xowner"));
        QCOMPARE(app.item("testEth")->property("value").toString(), QStringLiteral("—"));
        QCOMPARE(app.item("walletKusd")->property("value").toString(), QStringLiteral("12.5"));
        QCOMPARE(app.items("headline").size(), 2);
        QCOMPARE(app.items("headline").at(0)->property("text").toString(),
                 QStringLiteral("— kUSD · Unknown"));
        QCOMPARE(app.items("date").at(0)->property("text").toString(), QStringLiteral("Date unavailable"));
        // Only the row with a hash, empty as it is, has the link and the verify button.
        QCOMPARE(app.items("explorerLink").size(), 1);
        QCOMPARE(app.items("verify").size(), 1);
        QCOMPARE(app.items("reason").size(), 1);

        QVERIFY(app.click(app.items("explorerLink").first()));
        QTRY_COMPARE(app.opener.opened.last(), QUrl("https://sepolia.etherscan.io/tx/"));
        QVERIFY(app.click(app.items("verify").first()));
        QTRY_COMPARE(app.text("proof"), QStringLiteral("A\nB"));

        QVERIFY(app.click("signOut"));
        QTRY_VERIFY(!app.item("signOut"));
        QVERIFY(!app.item("walletSection") && !app.item("historySection"));
        QCOMPARE(app.text("sessionStatus"), QStringLiteral("Guest demo · no owner session"));
    }
};

QTEST_MAIN(TestScreens)
#include "tst_screens.moc"
