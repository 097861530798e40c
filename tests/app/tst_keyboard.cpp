#include "appharness.h"
#include "ownersession.h"
#include "quiet.h"
#include "scriptedownerauthenticator.h"
#include "tradescreen.h"

#include <QQuickStyle>
#include <QTest>

class TestKeyboard : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QQuickStyle::setStyle(QStringLiteral("Material")); }
    void init() { failOnAnyWarning(); }

    // Tab reaches every control once, in reading order, and keeps the focused one in view.
    void tabOrder_data()
    {
        QTest::addColumn<int>("screen");
        QTest::addColumn<QStringList>("order");
        const QStringList tabs{"Home", "Markets", "Trade", "Account"};
        const QStringList session{"Sign in & connect app", "Check connection / refresh account"};
        const QStringList end = QStringList{"Refresh vault balance", "Open AI payments", "Try guided demo",
                                            "Competition materials"}
                                + tabs;
        addRow("welcome", int(OnWelcome), QStringList{"Explore public demo", "Owner sign-in"});
        addRow("home", int(OnHome),
               QStringList{"Account details", "Paper trade", "Public competition evidence"} + tabs);
        addRow("markets", int(OnMarkets), QStringList{"Find an asset"} + tabs);
        addRow("trade", int(OnTrade),
               QStringList{"Buy", "Sell", "Asset", "Size (USD)", "Refresh snapshot", "Fee (%)",
                           "Slippage (%)", "Calculate paper preview"}
                   + tabs);
        addRow("guest", int(OnAccount), session + end);
        addRow("owner", int(AsOwner),
               session
                   + QStringList{"Sign out", "0xowner", "0xrecipient", "View on explorer",
                                 "Verify original intent"}
                   + end);
    }

    void tabOrder()
    {
        QFETCH(int, screen);
        QFETCH(QStringList, order);
        AppHarness app;
        QVERIFY(openScreen(app, screen));
        app.window()->resize(390, 500); // shorter than every screen but the welcome
        QVERIFY(app.tabTo(order.first()));
        QStringList seen;
        do {
            seen.append(app.focused());
            QQuickItem *item = app.window()->activeFocusItem();
            const QRectF shown = item->mapRectToScene(item->boundingRect());
            QVERIFY2(shown.top() >= 0 && shown.bottom() <= app.window()->height(), qPrintable(seen.last()));
            QTest::keyClick(app.window(), Qt::Key_Tab);
        } while (app.focused() != order.first() && seen.size() <= order.size());
        QCOMPARE(seen, order);
    }

    // Each kind of control works from the keyboard once Tab has reached it.
    void activate_data()
    {
        QTest::addColumn<int>("screen");
        QTest::addColumn<QString>("control");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("outcome"); // what:value
        addRow("button, Return", int(OnWelcome), "Explore public demo", "Return", "entered:true");
        addRow("button, Space", int(OnWelcome), "Owner sign-in", "Space",
               "message:Device verification was not completed.");
        addRow("card button, Enter", int(OnHome), "Account details", "Enter", "tab:3");
        addRow("tab, Return", int(OnHome), "Markets", "Return", "tab:1");
        addRow("tab, Space", int(OnHome), "Trade", "Space", "tab:2");
        addRow("link, Space", int(OnHome), "Public competition evidence", "Space",
               "opened:/competition.html");
        addRow("link, Return", int(OnAccount), "Try guided demo", "Return", "opened:/demo.html");
        addRow("segment, Return", int(OnTrade), "Sell", "Return", "side:Sell");
        addRow("segment, Space", int(OnTrade), "Sell", "Space", "side:Sell");
        addRow("picker, Space", int(OnTrade), "Asset", "Space, Down, Return", "asset:ETH-USD");
        addRow("row button, Return", int(OnTrade), "Calculate paper preview", "Return", "preview:Paper buy");
        addRow("row button, Space", int(AsOwner), "Verify original intent", "Space", "proof:1");
    }

    void activate()
    {
        QFETCH(int, screen);
        QFETCH(QString, control);
        QFETCH(QString, keys);
        QFETCH(QString, outcome);
        AppHarness app;
        app.authenticator->queue(false);
        QVERIFY(openScreen(app, screen));
        QVERIFY(app.tabTo(control));
        app.keys(keys);
        const QString what = outcome.section(u':', 0, 0);
        const auto observed = [&]() -> QString {
            Workspace *w = app.workspace.get();
            const QHash<QString, QString> state{
                {"entered", w->entered() ? "true" : "false"},
                {"message", w->message()},
                {"tab", QString::number(w->selectedTab())},
                {"opened", app.opener.opened.isEmpty() ? QString() : app.opener.opened.last().path()},
                {"side", w->trade()->side()},
                {"asset", w->trade()->asset()},
                {"preview", w->trade()->preview().section(u'\n', 0, 0)},
                // The receipt asked once and answered before the window goes: Qt warns of a
                // reply that dies while its connection closes.
                {"proof",
                 QString::number(app.service.count("/api/receipt/p1") * !w->session()->proof().isEmpty())}};
            return what + u':' + state.value(what);
        };
        QTRY_COMPARE(observed(), outcome);
    }

    // Ctrl+1 to Ctrl+4, Ctrl+F and F5 do their work in the tab view, and nothing before it.
    void shortcuts_data()
    {
        QTest::addColumn<int>("screen");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<int>("tab");
        QTest::addColumn<QString>("requested");
        addRow("Ctrl+1", int(OnTrade), "Ctrl+1", 0, "");
        addRow("Ctrl+2", int(OnHome), "Ctrl+2", 1, "");
        addRow("Ctrl+3", int(OnAccount), "Ctrl+3", 2, "");
        addRow("Ctrl+4", int(OnMarkets), "Ctrl+4", 3, "");
        addRow("Ctrl+4 on welcome", int(OnWelcome), "Ctrl+4", 0, "");
        addRow("Ctrl+F", int(OnAccount), "Ctrl+F", 1, "");
        addRow("F5 on Home", int(OnHome), "F5", 0, "/market-data");
        addRow("F5 on Markets", int(OnMarkets), "F5", 1, "/market-data");
        addRow("F5 on Trade", int(OnTrade), "F5", 2, "/market-data");
        addRow("F5 on Account", int(AsOwner), "F5", 3, "/device/status");
        addRow("F5 on welcome", int(OnWelcome), "F5", 0, "");
    }

    void shortcuts()
    {
        QFETCH(int, screen);
        QFETCH(QString, keys);
        QFETCH(QString, requested);
        AppHarness app;
        QVERIFY(openScreen(app, screen));
        const qsizetype before = app.service.seen().size();
        const qsizetype asked = app.service.count(requested);
        app.keys(keys);
        QTEST(app.workspace->selectedTab(), "tab");
        QCOMPARE(app.workspace->entered(), screen != OnWelcome);
        QTest::qWait(100);
        QTRY_COMPARE(app.service.count(requested), asked + !requested.isEmpty());
        QVERIFY(!requested.isEmpty() || app.service.seen().size() == before);
        if (keys == u"Ctrl+F") {
            QTRY_COMPARE(app.focused(), QStringLiteral("Find an asset"));
            app.keys("E, T, H");
            QCOMPARE(app.text("search"), QStringLiteral("eth"));
        }
    }

    void dismissAlert_data()
    {
        QTest::addColumn<QString>("key");
        for (const char *key : {"Escape", "Return", "Enter"})
            addRow(key, key);
    }

    void dismissAlert()
    {
        QFETCH(QString, key);
        AppHarness app;
        QVERIFY(openScreen(app, OnHome));
        app.workspace->setMessage(QStringLiteral("Device verification was not completed."));
        QTRY_COMPARE(app.focused(), QStringLiteral("OK"));
        app.keys(key);
        QTRY_VERIFY(app.workspace->message().isEmpty() && !app.item("alertText"));
    }
};

QTEST_MAIN(TestKeyboard)
#include "tst_keyboard.moc"
