#include "appharness.h"
#include "quiet.h"
#include "trade/tradescreen.h"

#include <QTest>
#include <QtQuickTest/quicktest.h>

class TestKeyboard : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    // Tab reaches every control once, in reading order, and keeps the focused one in view.
    void tabOrder_data()
    {
        QTest::addColumn<int>("screen");
        QTest::addColumn<QString>("controls"); // their names, in order
        const QString tabs = ", Home, Markets, Trade, Account";
        const QString session = "Sign in & connect app, Check connection / refresh account";
        const QString end =
            ", Refresh vault balance, Open AI payments, Try guided demo, Competition materials" + tabs;
        addRow("welcome", int(OnWelcome), "Explore public demo, Owner sign-in");
        addRow("home", int(OnHome),
               "Refresh, Account details, Paper trade, Public competition evidence" + tabs);
        addRow("markets", int(OnMarkets), "Refresh, Find an asset" + tabs);
        addRow(
            "trade", int(OnTrade),
            "Buy, Sell, Asset, Size (USD), Refresh snapshot, Fee (%), Slippage (%), Calculate paper preview"
                + tabs);
        addRow("guest", int(OnAccount), "Refresh, " + session + end);
        addRow("owner", int(AsOwner),
               "Refresh, " + session
                   + ", Sign out, 0xowner, 0xrecipient, View on explorer, Verify original intent" + end);
    }

    void tabOrder()
    {
        QFETCH(int, screen);
        QFETCH(QString, controls);
        const QStringList order = controls.split(QStringLiteral(", "));
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

    // Tab reaches every entry of a history taller than the window, each longer than the margin
    // kept around the focused control: the next entry is made before Tab leaves the one in view.
    void tabThroughHistory()
    {
        AppHarness app;
        QVERIFY(openScreen(app, OnAccount));
        app.window()->resize(390, 500);
        QJsonArray history;
        QStringList order{"Sign out", "0xowner"};
        for (const QString id : {"p1", "p2", "p3", "p4"}) {
            history.append(QJsonObject{{"id", id},
                                       {"recipient", "0xto" + id},
                                       {"hash", "0xh"},
                                       {"reason", QString("A reason several lines long. ").repeated(8)}});
            order << "0xto" + id << "View on explorer"
                  << "Verify original intent";
        }
        order << "Refresh vault balance";
        app.service.onJson("/api/history", history);
        QCoro::waitFor(app.workspace->session()->start());
        QCoro::waitFor(app.workspace->session()->check());
        // The list lays its entries out as it next polishes.
        QTRY_VERIFY(app.item("headline") != nullptr);
        QVERIFY(app.tabTo(order.first()));
        QStringList seen;
        while (seen.size() < order.size()) {
            seen.append(app.focused());
            QTest::keyClick(app.window(), Qt::Key_Tab);
            QVERIFY(QQuickTest::qWaitForPolish(app.window()));
        }
        QCOMPARE(seen, order);
    }

    // Keys on the control Tab reaches, or on the window: Return, Enter and Space work each kind of
    // control; the shortcuts work in the tab view and not before it; three keys close the alert.
    void keys_data()
    {
        QTest::addColumn<int>("screen");
        QTest::addColumn<QString>("control"); // none: the keys go to the window
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("outcome"); // "what:value; ..." of the state below
        addRow("button, Return", int(OnWelcome), "Explore public demo", "Return", "entered:1");
        addRow("button, Space", int(OnWelcome), "Owner sign-in", "Space",
               "message:Device verification was not completed.");
        addRow("card button, Enter", int(OnHome), "Account details", "Enter", "tab:3");
        addRow("tab, Return", int(OnHome), "Markets", "Return", "tab:1");
        addRow("tab, Enter", int(OnHome), "Account", "Enter", "tab:3");
        addRow("link, Space", int(OnHome), "Public competition evidence", "Space",
               "opened:/competition.html");
        addRow("link, Return", int(OnAccount), "Try guided demo", "Return", "opened:/demo.html");
        addRow("link, Enter", int(OnAccount), "Competition materials", "Enter", "opened:/competition.html");
        for (const char *key : {"Return", "Enter", "Space"})
            QTest::addRow("segment, %s", key) << int(OnTrade) << "Sell" << key << "side:Sell; trade shown:1";
        addRow("picker, Space", int(OnTrade), "Asset", "Space, Down, Return", "asset:ETH-USD");
        addRow("Ctrl+1", int(OnTrade), "", "Ctrl+1", "tab:0; asked:; trade shown:0");
        addRow("Ctrl+2", int(OnHome), "", "Ctrl+2", "tab:1; asked:");
        addRow("Ctrl+3", int(OnAccount), "", "Ctrl+3", "tab:2; asked:; trade shown:1");
        addRow("Ctrl+4", int(OnMarkets), "", "Ctrl+4", "tab:3; asked:");
        addRow("Ctrl+4 on welcome", int(OnWelcome), "", "Ctrl+4", "entered:0; tab:0; asked:");
        addRow("Ctrl+F", int(OnAccount), "", "Ctrl+F, E, T, H", "tab:1; search:eth; asked:");
        addRow("F5 on Home", int(OnHome), "", "F5", "tab:0; asked:/contest/status /market-data");
        addRow("F5 on welcome", int(OnWelcome), "", "F5", "entered:0; asked:");
        for (const char *key : {"Escape", "Return", "Enter"})
            QTest::addRow("alert, %s", key) << int(OnHome) << "OK" << key << "message:; alert:0";
    }

    void keys()
    {
        QFETCH(int, screen);
        QFETCH(QString, control);
        QFETCH(QString, keys);
        QFETCH(QString, outcome);
        AppHarness app;
        app.authenticator->queue(false);
        QVERIFY(openScreen(app, screen));
        const qsizetype before = app.service.seen().size();
        if (control == u"OK") // the alert takes the focus as it opens
            app.workspace->setMessage(QStringLiteral("Device verification was not completed."));
        QTRY_VERIFY(control.isEmpty() || app.tabTo(control));
        app.keys(keys);
        QVERIFY(app.service.roundTrip()); // what the keys asked for has arrived by now
        const auto state = [&] {
            Workspace *w = app.workspace;
            QStringList asked; // every request since the screen opened, in any order
            for (const TestService::Seen &seen : app.service.seen().mid(before))
                asked.append(seen.path);
            asked.sort();
            return QStringList{
                "entered:" + QString::number(w->entered()),
                "tab:" + QString::number(w->selectedTab()),
                "message:" + w->message(),
                "alert:" + QString::number(app.items("alertText").size()),
                "opened:" + (app.opener.opened.isEmpty() ? QString() : app.opener.opened.last().path()),
                "side:" + w->trade()->side(),
                "asset:" + w->trade()->asset(),
                "trade shown:" + QString::number(w->trade()->shown()),
                "search:" + app.text("search"),
                "asked:" + asked.join(u' ')};
        };
        for (const QString &expected : outcome.split(QStringLiteral("; ")))
            QTRY_VERIFY2(state().contains(expected), qPrintable(state().join(u'\n')));
    }
};

QTEST_MAIN(TestKeyboard)
#include "tst_keyboard.moc"
