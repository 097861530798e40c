#include "appharness.h"
#include "market/markets.h"
#include "owner/ownersession.h"
#include "quiet.h"

#include <QDirIterator>
#include <QProcess>
#include <QQmlComponent>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>
#include <QtQuickTest/quicktest.h>

using namespace std::chrono_literals;

class TestScreens : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    // The vault is asked only once the market has answered.
    void startOrder()
    {
        AppHarness app;
        app.service.on("/market-data", LoopbackHttp::json(snapshot()), 300ms);
        bool early = false;
        QObject::connect(&app.service, &TestService::received, [&](const QString &path) {
            early |= path == u"/contest/status" && app.workspace->market()->quotes().size() != 3;
        });
        QVERIFY(app.show());
        QTRY_COMPARE(app.service.count("/contest/status"), 1);
        QVERIFY2(!early, "the vault asked before the market answered");
    }

    // Owner sign-in is refused without a passcode, before the device is asked; with one, the tabs
    // come up on Account at once, before the sign-in has answered, and a payment whose hash is
    // empty still has its link and its receipt button.
    void owner()
    {
        AppHarness app;
        QVERIFY(openScreen(app, OnWelcome));
        scriptOwner(app.service, {QJsonObject{{"id", "only"}}, QJsonObject{{"id", "p1"}, {"hash", ""}}},
                    400ms);
        app.authenticator->setAvailable(false);
        QVERIFY(app.click("ownerButton"));
        QTRY_COMPARE(app.text("alertText"),
                     QStringLiteral("Set a device passcode or biometrics before opening owner access."));
        QVERIFY(app.authenticator->reasons().isEmpty() && app.click("alertOk"));
        app.authenticator->setAvailable(true);
        app.authenticator->queue(true);
        QTRY_VERIFY(!app.item("alertText"));
        QVERIFY(app.click("ownerButton"));
        QTRY_VERIFY(app.workspace->entered());
        QVERIFY(app.workspace->selectedTab() == Workspace::Account && app.opener.opened.isEmpty());
        QTRY_COMPARE(app.text("matchCode"), QStringLiteral("Match code: K7Q2"));
        QVERIFY(app.click("checkConnection"));
        QTRY_COMPARE(app.items("headline").size(), 2);
        QCOMPARE(app.items("explorerLink").size() + app.items("verify").size(), 2);
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
        QVERIFY(dir.isValid() && app.window()->grabWindow().save(dir.filePath("account.png")));
        QProcess zbar;
        zbar.start("zbarimg", {"--raw", "-q", dir.filePath("account.png")});
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

    // The window loads nothing from the network: a picture from a loopback address is refused,
    // and were the engine to fetch it, it would knock.
    void networkRefused()
    {
        QTcpServer beacon;
        QVERIFY(beacon.listen(QHostAddress::LocalHost));
        int knocks = 0;
        QObject::connect(&beacon, &QTcpServer::newConnection, [&] { ++knocks; });
        AppHarness app;
        QVERIFY(openScreen(app, OnHome));
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression(QStringLiteral("Only the program.s own resources are loaded$")));
        QQmlComponent picture(&app.kelvra->engine());
        const QString source = QStringLiteral("http://127.0.0.1:%1/y").arg(beacon.serverPort());
        picture.setData(QStringLiteral(R"(import QtQuick; Image { source: "%1" })").arg(source).toUtf8(),
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
        int files = 0;
        QDirIterator qmls(QStringLiteral(":/Kelvra"), {QStringLiteral("*.qml")}, QDir::Files,
                          QDirIterator::Subdirectories);
        for (; qmls.hasNext(); ++files) {
            QFile file(qmls.next());
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QString qml = QString::fromUtf8(file.readAll());
            QVERIFY2(qml.count(element) == qml.count(plain) && qml.count(format) == qml.count(plain),
                     qPrintable(file.fileName()));
        }
        QVERIFY(files > 20);
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
        app.service.stall(path);
        const qsizetype checks = app.service.count("/device/status");
        if (how == u"pull") {
            QQuickItem *flickable = app.item(screen == OnHome      ? "homeScroll"
                                             : screen == OnMarkets ? "quoteList"
                                                                   : "accountScroll");
            // The failure has just changed the screen: the gesture starts once it is laid out.
            QVERIFY(QQuickTest::qWaitForPolish(app.window()));
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
        app.service.release(path, LoopbackHttp::json(good));
        // The quotes' status names the minute they came in; the retry may land in the next one.
        const auto unclocked = [](QString text) {
            return text.replace(QRegularExpression(QStringLiteral("refreshed .+$")),
                                QStringLiteral("refreshed"));
        };
        QTRY_COMPARE(unclocked(app.text(shown)), unclocked(answer));
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
