#include "appharness.h"
#include "markets.h"
#include "ownersession.h"
#include "quiet.h"
#include "scriptedownerauthenticator.h"
#include "tradescreen.h"
#include "vaultbalance.h"

#include <QElapsedTimer>
#include <QFontInfo>
#include <QQuickStyle>
#include <QTest>

using namespace std::chrono_literals;

class TestScreens : public QObject
{
    Q_OBJECT

    static QStringList values(const AppHarness &app, const QStringList &names, const char *property = "value")
    {
        QStringList found;
        for (const QString &name : names)
            found.append(app.item(name) ? app.item(name)->property(property).toString() : "(none)");
        return found;
    }

private slots:
    void initTestCase() { QQuickStyle::setStyle(QStringLiteral("Material")); }
    void init() { failOnAnyWarning(); }

    // Market first, the vault only once the market has answered, and nothing else; entering and
    // moving between tabs ask for nothing more.
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
        QTRY_COMPARE(app.workspace->balance()->balance(), QStringLiteral("25.00 kUSD"));
        QVERIFY2(arrived["/contest/status"] >= arrived["/market-data"] + 250,
                 "vault asked before the market answered");
        QVERIFY(!app.workspace->entered());
        QVERIFY(app.click("exploreButton"));
        QTRY_VERIFY(app.workspace->entered() && app.item("vaultCard") && !app.item("exploreButton"));
        QCOMPARE(app.workspace->selectedTab(), 0);
        for (const char *tab : {"tabMarkets", "tabTrade", "tabAccount", "tabHome", "tabMarkets"})
            QVERIFY2(app.click(tab), tab);
        QTest::qWait(100);
        QCOMPARE(app.workspace->selectedTab(), 1);
        QCOMPARE(app.service.seen().size(), 2);
    }

    void unlockRefused_data()
    {
        QTest::addColumn<bool>("available");
        QTest::addColumn<QString>("message");
        addRow("no passcode", false, "Set a device passcode or biometrics before opening owner access.");
        addRow("cancelled", true, "Device verification was not completed.");
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
        QVERIFY(!app.workspace->entered() && app.item("exploreButton"));
        QVERIFY(app.click("alertOk"));
        QTRY_VERIFY(app.workspace->message().isEmpty() && !app.item("alertText"));
    }

    void unlockSignsIn()
    {
        AppHarness app;
        app.authenticator->queue(true);
        scriptOwner(app.service, {});
        const QString portal = app.service.origin() + "/portal/s1";
        app.service.on(
            "/device/start",
            LoopbackHttp::json(QJsonObject{{"id", "s1"}, {"code", "K7Q2"}, {"approvalUrl", portal}}), 400ms);
        QVERIFY(app.show());
        QVERIFY(app.click("ownerButton"));
        // The tabs come up on Account at once, before the sign-in has answered.
        QTRY_VERIFY(app.workspace->entered());
        QCOMPARE(app.workspace->selectedTab(), 3);
        QVERIFY(app.opener.opened.isEmpty());
        QTRY_COMPARE(app.opener.opened, (QList<QUrl>{QUrl(portal)}));
        QTRY_COMPARE(app.text("matchCode"), QStringLiteral("Match code: K7Q2"));
        const QFont font = app.item("matchCode")->property("font").value<QFont>();
        QVERIFY(font.styleHint() == QFont::Monospace || QFontInfo(font).fixedPitch());
    }

    // The timer and each return to the foreground check the session; neither reloads data.
    void checksOnTimerAndReturn_data()
    {
        QTest::addColumn<int>("period");
        addRow("timer", 150);
        addRow("return to the foreground", 30000);
    }

    void checksOnTimerAndReturn()
    {
        QFETCH(int, period);
        AppHarness app{std::chrono::milliseconds(period)};
        QVERIFY(openScreen(app, OnWelcome));
        app.service.onJson("/device/claim", QJsonObject{{"pending", true}});
        QCoro::waitFor(app.workspace->session()->start());
        const qsizetype before = app.service.seen().size();
        if (period >= 1000) {
            emit qGuiApp->applicationStateChanged(Qt::ApplicationInactive);
            QTest::qWait(100);
            QCOMPARE(app.service.seen().size(), before);
            emit qGuiApp->applicationStateChanged(Qt::ApplicationActive);
        }
        QTRY_VERIFY(app.service.seen().size() >= before + (period < 1000 ? 3 : 1));
        QTest::qWait(100);
        const auto after = app.service.seen().mid(before);
        QVERIFY(
            std::all_of(after.begin(), after.end(), [](const auto &s) { return s.path == "/device/claim"; }));
        if (period >= 1000)
            QCOMPARE(after.size(), 1);
    }

    void search_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<int>("rows");
        addRow("all", "", 3);
        addRow("symbol", "btc", 1);
        addRow("name", "coin", 1);
        addRow("quote asset", "USD", 0);
        addRow("trailing blank", "sol ", 0);
    }

    void search()
    {
        QFETCH(QString, query);
        AppHarness app;
        QVERIFY(openScreen(app, OnMarkets));
        QTRY_COMPARE(app.items("quoteRow").size(), 3);
        QVERIFY(query.isEmpty() || app.type("search", query));
        QFETCH(int, rows);
        QTRY_COMPARE(app.items("quoteRow").size(), rows);
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
        QVERIFY(!app.item("snapshotSection") && app.item("sideBuy")->property("checked").toBool());
        QCOMPARE(values(app, {"asset", "size", "fee", "slippage"}, "displayText"),
                 (QStringList{"Bitcoin", "100", "0.1", "0.5"}));
        QCOMPARE(app.text("preview"), QStringLiteral("Choose an asset and review the assumptions."));
        // It appears for BTC-USD without any user action.
        QTRY_VERIFY(app.item("snapshotSection"));
        QCOMPARE(values(app, {"change24h", "lowHigh", "bidAsk", "spread", "volume"}),
                 (QStringList{"+1.23%", "$64000.00 / $66000.00", "$64990.00 / $65010.00", "0.031%",
                              "1234.57 BTC"}));
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
        QVERIFY(openScreen(app, OnAccount));
        scriptOwner(app.service,
                    {QJsonObject{{"id", "only"}}, QJsonObject{{"id", "p2"},
                                                              {"hash", ""},
                                                              {"created", "2025-05-01T12:34:56Z"},
                                                              {"reason", "Data feed"}}});
        app.service.onJson("/api/receipt/p2", QJsonObject{{"explanation", "A"}, {"limitation", "B"}});
        const QStringList owned{"matchCode", "walletSection", "historySection", "signOut"};
        // Guest: the session, vault and project sections, no wallet, history or sign-out.
        QCOMPARE(app.text("sessionStatus"), QStringLiteral("Guest demo · no owner session"));
        QCOMPARE(values(app, owned + QStringList{"vaultSection", "projectSection"}, "objectName"),
                 (QStringList{"(none)", "(none)", "(none)", "(none)", "vaultSection", "projectSection"}));
        // Waiting for approval.
        QCoro::waitFor(app.workspace->session()->start());
        QTRY_COMPARE(app.text("matchCode"), QStringLiteral("Match code: K7Q2"));
        QVERIFY(!app.item("walletSection"));
        // Connected.
        QVERIFY(app.click("checkConnection"));
        QTRY_VERIFY(app.item("walletSection"));
        QVERIFY(app.text("sessionStatus").startsWith("Owner connected · read-only until "));
        QCOMPARE(app.text("ownerAddress"), QStringLiteral("0xowner"));
        QCOMPARE(values(app, {"testEth", "walletKusd"}), (QStringList{"—", "12.5"}));
        QCOMPARE(app.items("headline").size(), 2);
        QCOMPARE(values(app, {"headline", "date"}, "text"),
                 (QStringList{"— kUSD · Unknown", "Date unavailable"}));
        // Only the row with a hash, empty as it is, has the link and the verify button.
        QCOMPARE((QList<qsizetype>{app.items("explorerLink").size(), app.items("verify").size(),
                                   app.items("reason").size()}),
                 (QList<qsizetype>{1, 1, 1}));
        QVERIFY(app.click(app.items("explorerLink").first()));
        QTRY_COMPARE(app.opener.opened.last(), QUrl("https://sepolia.etherscan.io/tx/"));
        QVERIFY(app.click(app.items("verify").first()));
        QTRY_COMPARE(app.text("proof"), QStringLiteral("A\nB"));
        QVERIFY(app.click("signOut"));
        QTRY_VERIFY(!app.item("signOut"));
        QCOMPARE(values(app, owned, "objectName"), (QStringList{"(none)", "(none)", "(none)", "(none)"}));
        QCOMPARE(app.text("sessionStatus"), QStringLiteral("Guest demo · no owner session"));
    }
};

QTEST_MAIN(TestScreens)
#include "tst_screens.moc"
