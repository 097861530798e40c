#include "appharness.h"
#include "ownersession.h"
#include "quiet.h"
#include "scriptedownerauthenticator.h"
#include "tradescreen.h"

#include <QFontInfo>
#include <QQuickStyle>
#include <QTest>

using namespace std::chrono_literals;

class TestScreens : public QObject
{
    Q_OBJECT

    // A property of each of the named items that are shown.
    static QStringList values(const AppHarness &app, const QStringList &names, const char *property = "value")
    {
        QStringList found;
        for (const QString &name : names) {
            if (QQuickItem *item = app.item(name))
                found.append(item->property(property).toString());
        }
        return found;
    }

private slots:
    void initTestCase() { QQuickStyle::setStyle(QStringLiteral("Material")); }
    void init() { failOnAnyWarning(); }

    // A guest's visit: the vault is asked only once the market has answered, and nothing the
    // guest does afterwards asks for more.
    void guest()
    {
        AppHarness app;
        // Late enough that the trade lab is open before it, even in a sanitizer build.
        app.service.on("/market-data", LoopbackHttp::json(snapshot()), 2s);
        bool marketFirst = false;
        QObject::connect(&app.service, &TestService::received, [&](const QString &path) {
            marketFirst |= path == u"/contest/status" && app.workspace->trade()->hasQuote();
        });
        QVERIFY(app.show());
        QVERIFY(app.click("exploreButton"));
        QTRY_VERIFY(app.workspace->entered() && app.item("vaultCard") && !app.item("exploreButton"));

        // The trade lab before the snapshot: the first values, and no snapshot section.
        QVERIFY(app.click("tabTrade"));
        QVERIFY(!app.item("snapshotSection") && app.item("sideBuy")->property("checked").toBool());
        QCOMPARE(values(app, {"asset", "size", "fee", "slippage"}, "displayText"),
                 (QStringList{"Bitcoin", "100", "0.1", "0.5"}));
        // The snapshot appears for BTC-USD without any user action.
        QTRY_VERIFY(app.item("snapshotSection"));
        QCOMPARE(values(app, {"change24h", "lowHigh", "bidAsk", "spread", "volume"}),
                 (QStringList{"+1.23%", "$64000.00 / $66000.00", "$64990.00 / $65010.00", "0.031%",
                              "1234.57 BTC"}));
        QVERIFY(app.click("calculate"));
        QTRY_VERIFY(app.text("preview").startsWith("Paper buy\nQuantity: "));
        QVERIFY(app.type("size", ""));
        QVERIFY(app.click("calculate"));
        QTRY_VERIFY(app.text("preview").startsWith("Load a fresh quote. Enter a positive size"));
        QTRY_VERIFY2(marketFirst, "the vault not asked, or asked before the market answered");

        // The search filters as the user types, by the quote list's own rules.
        for (const char *tab : {"tabAccount", "tabHome", "tabMarkets"})
            QVERIFY2(app.click(tab), tab);
        QCOMPARE(app.workspace->selectedTab(), 1);
        QVERIFY(app.text("marketStatus").startsWith("Coinbase Exchange · refreshed "));
        for (const auto &[query, rows] : {std::pair{"btc", 1}, {"sol ", 0}, {"", 3}}) {
            QVERIFY(app.type("search", query));
            QTRY_COMPARE(app.items("quoteRow").size(), rows);
        }
        QCOMPARE(app.service.seen().size(), 2);
    }

    // Refused without a passcode, then cancelled, then signed in: the account's states from
    // waiting for approval to signed out.
    void owner()
    {
        AppHarness app;
        QVERIFY(openScreen(app, OnWelcome));
        scriptOwner(app.service,
                    {QJsonObject{{"id", "only"}}, QJsonObject{{"id", "p1"}, {"hash", ""}, {"reason", "Why"}}},
                    400ms);
        app.authenticator->queue(false);
        app.authenticator->queue(true);
        for (const auto &[available, message] :
             {std::pair{false, "Set a device passcode or biometrics before opening owner access."},
              {true, "Device verification was not completed."}}) {
            app.authenticator->setAvailable(available);
            QVERIFY(app.click("ownerButton"));
            QTRY_COMPARE(app.text("alertText"), QString(message));
            QVERIFY(app.click("alertOk"));
            QTRY_VERIFY(app.workspace->message().isEmpty() && !app.item("alertText"));
        }
        // Only the device with a passcode was asked, for the gate's own reason.
        QCOMPARE(app.authenticator->reasons(), QStringList{"Open your Kelvra owner portal"});

        // The tabs come up on Account at once, before the sign-in has answered.
        QVERIFY(app.click("ownerButton"));
        QTRY_VERIFY(app.workspace->entered());
        QVERIFY(app.workspace->selectedTab() == 3 && app.opener.opened.isEmpty());
        QTRY_COMPARE(app.opener.opened, (QList<QUrl>{QUrl(app.service.origin() + "/portal/s1")}));
        const QStringList parts{"matchCode", "walletSection", "historySection", "signOut", "vaultSection"};
        QCOMPARE(values(app, parts, "objectName"), (QStringList{"matchCode", "vaultSection"}));
        QCOMPARE(app.text("matchCode"), QStringLiteral("Match code: K7Q2"));
        const QFont font = app.item("matchCode")->property("font").value<QFont>();
        QVERIFY(font.styleHint() == QFont::Monospace || QFontInfo(font).fixedPitch());

        QVERIFY(app.click("checkConnection"));
        QTRY_COMPARE(values(app, parts, "objectName"), parts.mid(1));
        QCOMPARE(app.text("ownerAddress"), QStringLiteral("0xowner"));
        QCOMPARE(values(app, {"testEth", "walletKusd"}), (QStringList{"—", "12.5"}));
        QCOMPARE(app.text("date"), QStringLiteral("Date unavailable"));
        // Two entries; only the one with a hash, empty as it is, has the link and the button.
        QCOMPARE((QList<qsizetype>{app.items("headline").size(), app.items("explorerLink").size(),
                                   app.items("verify").size(), app.items("reason").size()}),
                 (QList<qsizetype>{2, 1, 1, 1}));
        QVERIFY(app.click("explorerLink"));
        QTRY_COMPARE(app.opener.opened.last(), QUrl("https://sepolia.etherscan.io/tx/"));
        QVERIFY(app.click("verify"));
        QTRY_COMPARE(app.text("proof"), QStringLiteral("A\nB"));

        QVERIFY(app.click("signOut"));
        QTRY_COMPARE(values(app, parts, "objectName"), QStringList{"vaultSection"});
        QCOMPARE(app.text("sessionStatus"), QStringLiteral("Guest demo · no owner session"));
    }

    // The timer and each return to the foreground check the session, and reload nothing.
    void checks_data()
    {
        QTest::addColumn<int>("period");
        addRow("timer", 150);
        addRow("return to the foreground", 30000);
    }

    void checks()
    {
        QFETCH(int, period);
        const bool timer = period < 1000;
        AppHarness app{std::chrono::milliseconds(period)};
        QVERIFY(openScreen(app, OnWelcome));
        app.service.onJson("/device/claim", QJsonObject{{"pending", true}});
        QCoro::waitFor(app.workspace->session()->start());
        const qsizetype before = app.service.seen().size();
        if (!timer) { // going inactive asks nothing
            emit qGuiApp->applicationStateChanged(Qt::ApplicationInactive);
            emit qGuiApp->applicationStateChanged(Qt::ApplicationActive);
        }
        QTRY_VERIFY(app.service.count("/device/claim") >= (timer ? 3 : 1));
        QTest::qWait(100);
        // Claims and nothing else; one for one return.
        QCOMPARE(app.service.seen().size() - before, app.service.count("/device/claim"));
        QVERIFY(timer || app.service.count("/device/claim") == 1);
    }
};

QTEST_MAIN(TestScreens)
#include "tst_screens.moc"
