#include "appharness.h"
#include "ownersession.h"
#include "quiet.h"
#include "scriptedownerauthenticator.h"
#include "tradescreen.h"

#include <QQuickStyle>
#include <QTest>

namespace {

const QStringList tabBar{"Home", "Markets", "Trade", "Account"};

} // namespace

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
        QTest::newRow("welcome") << int(OnWelcome) << QStringList{"Explore public demo", "Owner sign-in"};
        QTest::newRow("home") << int(
            OnHome) << QStringList{"Account details", "Paper trade", "Public competition evidence"} + tabBar;
        QTest::newRow("markets") << int(OnMarkets) << QStringList{"Find an asset"} + tabBar;
        QTest::newRow("trade") << int(OnTrade)
                               << QStringList{"Buy",
                                              "Sell",
                                              "Asset",
                                              "Size (USD)",
                                              "Refresh snapshot",
                                              "Fee (%)",
                                              "Slippage (%)",
                                              "Calculate paper preview"}
                                      + tabBar;
        const QStringList end{"Refresh vault balance", "Open AI payments", "Try guided demo",
                              "Competition materials"};
        QTest::newRow("guest") << int(OnAccount)
                               << QStringList{"Sign in & connect app", "Check connection / refresh account"}
                                      + end + tabBar;
        QTest::newRow("owner") << int(AsOwner)
                               << QStringList{"Sign in & connect app",
                                              "Check connection / refresh account",
                                              "Sign out",
                                              "0xowner",
                                              "0xrecipient",
                                              "View on explorer",
                                              "Verify original intent"}
                                      + end + tabBar;
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
        QTest::addColumn<QString>("what");
        QTest::addColumn<QString>("outcome");
        QTest::newRow("button, Return") << int(OnWelcome) << "Explore public demo"
                                        << "Return"
                                        << "entered"
                                        << "true";
        QTest::newRow("button, Space") << int(OnWelcome) << "Owner sign-in"
                                       << "Space"
                                       << "message"
                                       << "Device verification was not completed.";
        QTest::newRow("card button, Enter") << int(OnHome) << "Account details"
                                            << "Enter"
                                            << "tab"
                                            << "3";
        QTest::newRow("tab, Return") << int(OnHome) << "Markets"
                                     << "Return"
                                     << "tab"
                                     << "1";
        QTest::newRow("tab, Space") << int(OnHome) << "Trade"
                                    << "Space"
                                    << "tab"
                                    << "2";
        QTest::newRow("link, Space") << int(OnHome) << "Public competition evidence"
                                     << "Space"
                                     << "opened"
                                     << "/competition.html";
        QTest::newRow("link, Return") << int(OnAccount) << "Try guided demo"
                                      << "Return"
                                      << "opened"
                                      << "/demo.html";
        QTest::newRow("segment, Return") << int(OnTrade) << "Sell"
                                         << "Return"
                                         << "side"
                                         << "Sell";
        QTest::newRow("segment, Space") << int(OnTrade) << "Sell"
                                        << "Space"
                                        << "side"
                                        << "Sell";
        QTest::newRow("picker, Space") << int(OnTrade) << "Asset"
                                       << "Space, Down, Return"
                                       << "asset"
                                       << "ETH-USD";
        QTest::newRow("row button, Return") << int(OnTrade) << "Calculate paper preview"
                                            << "Return"
                                            << "preview"
                                            << "Paper buy";
        QTest::newRow("row button, Space") << int(AsOwner) << "Verify original intent"
                                           << "Space"
                                           << "requested"
                                           << "/api/receipt/p1";
    }

    void activate()
    {
        QFETCH(int, screen);
        QFETCH(QString, control);
        QFETCH(QString, keys);
        QFETCH(QString, what);
        QFETCH(QString, outcome);
        AppHarness app;
        app.authenticator->queue(false);
        QVERIFY(openScreen(app, screen));
        QVERIFY(app.tabTo(control));
        app.keys(keys);
        const auto observed = [&]() -> QString {
            Workspace *w = app.workspace.get();
            if (what == u"entered")
                return w->entered() ? "true" : "false";
            if (what == u"message")
                return w->message();
            if (what == u"tab")
                return QString::number(w->selectedTab());
            if (what == u"opened")
                return app.opener.opened.isEmpty() ? QString() : app.opener.opened.last().path();
            if (what == u"side")
                return w->trade()->side();
            if (what == u"asset")
                return w->trade()->asset();
            if (what == u"preview")
                return w->trade()->preview().section(u'\n', 0, 0);
            return app.service.count(outcome) == 1 ? outcome : QString();
        };
        QTRY_COMPARE(observed(), outcome);
        // The receipt's answer is in before the window goes: Qt warns of a reply that dies while
        // its connection closes.
        if (what == u"requested")
            QTRY_VERIFY(!app.workspace->session()->proof().isEmpty());
    }

    // Ctrl+1 to Ctrl+4, Ctrl+F and F5 do their work in the tab view, and nothing before it.
    void shortcuts_data()
    {
        QTest::addColumn<int>("screen");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<int>("tab");
        QTest::addColumn<QString>("requested");
        QTest::newRow("Ctrl+1") << int(OnTrade) << "Ctrl+1" << 0 << "";
        QTest::newRow("Ctrl+2") << int(OnHome) << "Ctrl+2" << 1 << "";
        QTest::newRow("Ctrl+3") << int(OnAccount) << "Ctrl+3" << 2 << "";
        QTest::newRow("Ctrl+4") << int(OnMarkets) << "Ctrl+4" << 3 << "";
        QTest::newRow("Ctrl+4 on welcome") << int(OnWelcome) << "Ctrl+4" << 0 << "";
        QTest::newRow("Ctrl+F") << int(OnAccount) << "Ctrl+F" << 1 << "";
        QTest::newRow("F5 on Home") << int(OnHome) << "F5" << 0 << "/market-data";
        QTest::newRow("F5 on Markets") << int(OnMarkets) << "F5" << 1 << "/market-data";
        QTest::newRow("F5 on Trade") << int(OnTrade) << "F5" << 2 << "/market-data";
        QTest::newRow("F5 on Account") << int(AsOwner) << "F5" << 3 << "/device/status";
        QTest::newRow("F5 on welcome") << int(OnWelcome) << "F5" << 0 << "";
    }

    void shortcuts()
    {
        QFETCH(int, screen);
        QFETCH(QString, keys);
        QFETCH(int, tab);
        QFETCH(QString, requested);
        AppHarness app;
        QVERIFY(openScreen(app, screen));
        const qsizetype before = app.service.seen().size();
        const qsizetype asked = requested.isEmpty() ? 0 : app.service.count(requested);
        app.keys(keys);
        QCOMPARE(app.workspace->selectedTab(), tab);
        QCOMPARE(app.workspace->entered(), screen != OnWelcome);
        if (requested.isEmpty()) {
            QTest::qWait(100);
            QCOMPARE(app.service.seen().size(), before);
        } else {
            QTRY_COMPARE(app.service.count(requested), asked + 1);
        }
        if (keys == u"Ctrl+F") {
            QTRY_COMPARE(app.focused(), QStringLiteral("Find an asset"));
            app.keys("E, T, H");
            QCOMPARE(app.text("search"), QStringLiteral("eth"));
        }
    }

    void dismissAlert_data()
    {
        QTest::addColumn<QString>("key");
        QTest::newRow("Escape") << "Escape";
        QTest::newRow("Return") << "Return";
        QTest::newRow("Enter") << "Enter";
    }

    void dismissAlert()
    {
        QFETCH(QString, key);
        AppHarness app;
        QVERIFY(openScreen(app, OnHome));
        app.workspace->setMessage(QStringLiteral("Device verification was not completed."));
        QTRY_COMPARE(app.focused(), QStringLiteral("OK"));
        app.keys(key);
        QTRY_VERIFY(app.workspace->message().isEmpty());
        QTRY_VERIFY(!app.item("alertText"));
    }
};

QTEST_MAIN(TestKeyboard)
#include "tst_keyboard.moc"
