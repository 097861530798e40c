#include "appharness.h"
#include "owner/ownersession.h"
#include "quiet.h"
#include "trade/tradescreen.h"
#include "vault/vaultbalance.h"

#include <QDir>
#include <QProcess>
#include <QQmlComponent>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QtQuickTest/quicktest.h>

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

    // The text format of each text item of the screens built so far, shown or not, that shows
    // `text`.
    static QList<int> drawn(const AppHarness &app, const QString &text)
    {
        QList<int> formats;
        QList<QQuickItem *> items{app.window()->contentItem()};
        while (!items.isEmpty()) {
            QQuickItem *item = items.takeLast();
            if ((item->inherits("QQuickText") || item->inherits("QQuickTextEdit"))
                && item->property("text").toString().contains(text))
                formats.append(item->property("textFormat").toInt());
            items.append(item->childItems());
        }
        return formats;
    }

private slots:
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

        // The trade lab before the snapshot: the first values, and no snapshot section; the
        // snapshot then appears for BTC-USD without any user action.
        QVERIFY(app.click("tabTrade"));
        QVERIFY(!app.item("snapshotSection") && app.item("sideBuy")->property("checked").toBool());
        QCOMPARE(values(app, {"asset", "size", "fee", "slippage"}, "displayText"),
                 (QStringList{"Bitcoin", "100", "0.1", "0.5"}));
        QTRY_VERIFY(app.item("snapshotSection"));
        QVERIFY(app.click("calculate"));
        QTRY_VERIFY(app.text("preview").startsWith("Paper buy\nQuantity: "));
        QTRY_VERIFY2(marketFirst, "the vault not asked, or asked before the market answered");

        // The search filters as the user types, by the quote list's own rules.
        QVERIFY(app.click("tabMarkets"));
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

        QVERIFY(app.click("checkConnection"));
        QTRY_COMPARE(values(app, parts, "objectName"), parts.mid(1));
        // Two entries; only the one with a hash, empty as it is, has the link and the button.
        QCOMPARE((QList<qsizetype>{app.items("headline").size(), app.items("explorerLink").size(),
                                   app.items("verify").size(), app.items("reason").size()}),
                 (QList<qsizetype>{2, 1, 1, 1}));
        QVERIFY(app.click("explorerLink"));
        QTRY_COMPARE(app.opener.opened.last(), QUrl("https://sepolia.etherscan.io/tx/"));

        QVERIFY(app.click("signOut"));
        QTRY_COMPARE(values(app, parts, "objectName"), QStringList{"vaultSection"});
        QCOMPARE(app.text("sessionStatus"), QStringLiteral("Guest demo · no owner session"));
    }

    // While a sign-in waits, a phone's camera reads the page the browser was sent off the
    // screen; the code goes as soon as that sign-in is claimed, refused for a new one or cleared.
    void approvalQr_data()
    {
        QTest::addColumn<QString>("ending");
        addRow("claimed", QStringLiteral("/device/claim"));
        addRow("a new start fails", QStringLiteral("/device/start"));
        addRow("cleared by a 401", QStringLiteral("401"));
    }

    void approvalQr()
    {
        QFETCH(QString, ending);
        AppHarness app;
        QVERIFY(openScreen(app, OnAccount));
        const QString address = app.service.origin() + "/portal/Approve?id=s1&code=K7Q2";
        app.service.onJson("/device/start",
                           QJsonObject{{"id", "s1"}, {"code", "K7Q2"}, {"approvalUrl", address}});
        app.authenticator->queue(true);
        QVERIFY(app.click("signIn"));
        QTRY_COMPARE(app.opener.opened, QList<QUrl>{QUrl(address)});
        QTRY_VERIFY(app.item("approvalQr"));
        QVERIFY(QQuickTest::qWaitForPolish(app.window()));

        QTemporaryDir dir;
        const QString shot = dir.filePath(QStringLiteral("account.png"));
        QVERIFY(dir.isValid() && app.window()->grabWindow().save(shot));
        QProcess zbar;
        zbar.start(QStringLiteral("zbarimg"), {QStringLiteral("--raw"), QStringLiteral("-q"), shot});
        QVERIFY(zbar.waitForFinished());
        QCOMPARE(zbar.readAllStandardOutput(), address.toUtf8() + '\n');

        OwnerSession *session = app.workspace->session();
        if (ending == u"/device/start") {
            app.service.onJson(ending,
                               QJsonObject{{"id", "s2"}, {"approvalUrl", "https://elsewhere.example/"}});
            QCoro::waitFor(session->start());
        } else {
            if (ending == u"401")
                app.service.onJson("/device/claim", QJsonObject{}, 401);
            QCoro::waitFor(session->check());
        }
        QTRY_VERIFY(!app.item("approvalQr"));
        QVERIFY(session->approvalUrl().isEmpty());
    }

    // What the service writes is shown as written: markup in any of its texts reads back as it
    // came, is drawn as plain text, and fetches nothing it names.
    void serviceTextIsPlain()
    {
        QTcpServer beacon; // where the markup's picture lives; nothing may knock
        QVERIFY(beacon.listen(QHostAddress::LocalHost));
        int knocks = 0;
        QObject::connect(&beacon, &QTcpServer::newConnection, [&] { ++knocks; });
        const QString at = QStringLiteral("http://127.0.0.1:%1/").arg(beacon.serverPort());
        const QString m = QStringLiteral(R"(<img src="%1x"><b>b</b>&amp;)").arg(at);

        AppHarness app;
        QJsonArray quotes = snapshot().value("quotes").toArray();
        QJsonObject quote = quotes[0].toObject();
        quote["pair"] = m + "-USD";
        quotes[0] = quote;
        app.service.onJson("/market-data", QJsonObject{{"quotes", quotes}});
        scriptOwner(app.service, {QJsonObject{{"id", "p1"},
                                              {"amount", m},
                                              {"state", m},
                                              {"recipient", m},
                                              {"hash", "0x1"},
                                              {"reason", m}}});
        app.service.onJson(
            "/device/start",
            QJsonObject{{"id", "s1"}, {"code", m}, {"approvalUrl", app.service.origin() + "/portal/s1"}});
        app.service.onJson("/api/account",
                           QJsonObject{{"owner", m}, {"nativeBalance", m}, {"tokenBalance", m}});
        app.service.onJson("/api/receipt/p1", QJsonObject{{"explanation", m}, {"limitation", m}});
        Workspace *w = app.workspace;
        QVERIFY(app.show());
        QTRY_VERIFY(!w->balance()->status().startsWith(u"Loading"));
        w->setEntered(true);

        // The quote rows on Home and on Markets.
        for (const auto &[tab, name] :
             {std::pair{Workspace::Home, "homeQuoteRow"}, {Workspace::MarketsTab, "quoteRow"}}) {
            w->showTab(tab);
            QTRY_COMPARE(app.items(name).size(), 3);
        }
        w->showTab(Workspace::Account);
        QCoro::waitFor(w->session()->start());
        QTRY_COMPARE(values(app, {"sessionStatus", "matchCode"}, "text"),
                     (QStringList{"Waiting for passkey approval · match code " + m, "Match code: " + m}));
        // Each text item that shows it draws it as plain text: the quote rows' names and symbols,
        // the status and the code.
        QCOMPARE(drawn(app, m), QList<int>(6, Qt::PlainText));
        QCoro::waitFor(w->session()->check());
        QCoro::waitFor(w->session()->verify(QStringLiteral("p1")));
        QTRY_COMPARE(app.text("proof"), m + u'\n' + m);
        QCOMPARE(values(app, {"ownerAddress", "headline", "recipient", "reason"}, "text"),
                 (QStringList{m, m + " kUSD · " + m, m, m}));
        QCOMPARE(values(app, {"testEth", "walletKusd"}), (QStringList{m, m}));
        // The code has gone with the sign-in; the wallet and the payment have come.
        QCOMPARE(drawn(app, m), QList<int>(11, Qt::PlainText));

        // A picture asked for after the screens: once it is refused, so is all the screens asked
        // for before it; were the engine to fetch, it would knock.
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression(QStringLiteral("Only the program.s own resources are loaded$")));
        QQmlComponent picture(&app.kelvra->engine());
        picture.setData(QStringLiteral(R"(import QtQuick; Image { source: "%1y" })").arg(at).toUtf8(),
                        QUrl());
        const std::unique_ptr<QObject> image(picture.create());
        QVERIFY(image);
        const auto status = [&] { return image->property("status").value<int>(); };
        QTRY_VERIFY(knocks > 0 || status() != 2); // Image.Loading
        QCOMPARE(knocks, 0);
        QCOMPARE(status(), 3); // Image.Error
    }

    // Every text element of every screen, a component's root included, draws plain text, so that
    // nothing a screen binds to one, now or later, is ever taken for markup: as many elements as
    // plain formats in each file, and no other format.
    void everyTextIsPlain()
    {
        using R = QRegularExpression;
        static const R element(QStringLiteral(R"(^[ \t]*(\w+:[ \t]*)?(Text|Label|TextEdit|TextArea)\s*\{)"),
                               R::MultilineOption);
        static const R plain(QStringLiteral(R"(^[ \t]*textFormat: (Text|TextEdit)\.PlainText$)"),
                             R::MultilineOption);
        static const R format(QStringLiteral(R"(\btextFormat\b)"));
        QStringList files;
        for (const QString &module : {QStringLiteral(":/Kelvra/"), QStringLiteral(":/Kelvra/Controls/")}) {
            for (const QString &name : QDir(module).entryList({QStringLiteral("*.qml")}))
                files << module + name;
        }
        QVERIFY(files.size() > 20);
        for (const QString &name : files) {
            QFile file(name);
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QString qml = QString::fromUtf8(file.readAll());
            QVERIFY2(qml.count(element) == qml.count(plain) && qml.count(format) == qml.count(plain),
                     qPrintable(name));
        }
    }

    // Data that failed to load comes back by the pull gesture, by F5 and by the screen's Refresh
    // control; while the reply is late the screen shows it waits and the controls that would ask
    // again cannot be pressed.
    void retry_data()
    {
        QTest::addColumn<int>("screen");
        QTest::addColumn<QString>("path");    // fails, then answers late
        QTest::addColumn<QString>("shown");   // the item that says it failed
        QTest::addColumn<QString>("waiting"); // spinners shown, controls disabled
        QTest::addColumn<QString>("how");
        for (const char *how : {"pull", "F5", "refresh"}) {
            QTest::addRow("home, %s", how) << int(OnHome) << "/contest/status"
                                           << "vaultStatus"
                                           << "refresh vaultWorking" << how;
            QTest::addRow("markets, %s", how) << int(OnMarkets) << "/market-data"
                                              << "marketStatus"
                                              << "refresh marketWorking" << how;
            QTest::addRow("account, %s", how) << int(AsOwner) << "/contest/status"
                                              << "vaultPermission"
                                              << "refresh refreshVault checkConnection" << how;
        }
    }

    void retry()
    {
        QFETCH(int, screen);
        QFETCH(QString, path);
        QFETCH(QString, shown);
        QFETCH(QString, waiting);
        QFETCH(QString, how);
        AppHarness app;
        QVERIFY(openScreen(app, screen));
        const QString answer = app.text(shown);
        app.service.onJson(path, QJsonObject{}, 404);
        Workspace *w = app.workspace;
        QCoro::waitFor(w->reload(w->selectedTab()));
        QTRY_VERIFY(app.text(shown).endsWith(u"Refresh to retry."));

        const QJsonObject good = path == u"/market-data" ? snapshot()
                                                         : QJsonObject{{"balanceUnits", "25000000"},
                                                                       {"agentBudgetUnits", "1500000"},
                                                                       {"active", true}};
        app.service.on(path, LoopbackHttp::json(good), 300ms);
        const qsizetype checks = app.service.count("/device/status");
        if (how == u"pull") {
            QQuickItem *flickable = app.item(screen == OnHome      ? "homeScroll"
                                             : screen == OnMarkets ? "quoteList"
                                                                   : "accountScroll");
            const QPoint at = flickable->mapToScene(QPointF(flickable->width() / 2, 60)).toPoint();
            QTest::mousePress(app.window(), Qt::LeftButton, {}, at);
            for (int step = 1; step <= 20; ++step)
                QTest::mouseMove(app.window(), at + QPoint(0, step * 12), 10);
            QTest::mouseRelease(app.window(), Qt::LeftButton, {}, at + QPoint(0, 240), 10);
        } else if (how == u"F5") {
            app.keys(how);
        } else {
            QVERIFY(app.click(how));
        }
        const auto busy = [&app](const QString &name) {
            QQuickItem *item = app.item(name);
            return item && (item->property("running").toBool() || !item->isEnabled());
        };
        for (const QString &name : waiting.split(u' '))
            QTRY_VERIFY2(busy(name), qPrintable(name));
        QTRY_COMPARE(app.text(shown), answer);
        for (const QString &name : waiting.split(u' '))
            QTRY_VERIFY2(!busy(name), qPrintable(name));
        // The account's session is checked with the vault.
        QCOMPARE(app.service.count("/device/status") > checks, screen == AsOwner);
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
        QVERIFY(app.service.roundTrip());
        // Claims and nothing else; one for one return.
        QCOMPARE(app.service.seen().size() - before, app.service.count("/device/claim"));
        QVERIFY(timer || app.service.count("/device/claim") == 1);
    }
};

QTEST_MAIN(TestScreens)
#include "tst_screens.moc"
