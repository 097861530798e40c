#include "vaultbalance.h"

#include "commalocale.h"
#include "quiet.h"
#include "testservice.h"

#include <QCoroTask>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace std::chrono_literals;

namespace {

const QString path = QStringLiteral("/contest/status");
const QString dash = QStringLiteral("—");
const QString enabled = QStringLiteral("Permission enabled; expiry and limits still apply");
const QString revoked = QStringLiteral("Permission revoked · agent cannot spend");
const QString unavailable = QStringLiteral("Balance unavailable. Refresh to retry.");

const QJsonObject example{{"balanceUnits", "25000000"}, {"agentBudgetUnits", "1500000"}, {"active", true}};

QJsonObject with(QJsonObject object, const QString &key, const QJsonValue &value)
{
    if (value.isUndefined())
        object.remove(key);
    else
        object[key] = value;
    return object;
}

QByteArray body(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QStringList fields(const VaultBalance &vault)
{
    return {vault.balance(), vault.budget(), vault.status()};
}

} // namespace

class TestVaultBalance : public QObject
{
    Q_OBJECT

    TestService service;
    QNetworkAccessManager client;

private slots:
    void init() { failOnAnyWarning(); }

    void startsLoading()
    {
        VaultBalance vault(&client, Service{service.origin()});
        QCOMPARE(fields(vault), (QStringList{dash, dash, "Loading on-chain balance…"}));
        QCOMPARE(service.count(path), 0);
    }

    void reply_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("shown");

        const QStringList failed{dash, dash, unavailable};
        const auto balance = [](const QJsonValue &v) { return body(with(example, "balanceUnits", v)); };
        const auto budget = [](const QJsonValue &v) { return body(with(example, "agentBudgetUnits", v)); };
        const auto active = [](const QJsonValue &v) { return body(with(example, "active", v)); };
        const auto shows = [](const QString &figure, const QString &permission = enabled) {
            return QStringList{figure, "1.50 kUSD", permission};
        };

        QTest::newRow("example") << 200 << body(example) << shows("25.00 kUSD");
        QTest::newRow("inactive") << 200 << active(false) << shows("25.00 kUSD", revoked);
        QTest::newRow("active missing")
            << 200 << active(QJsonValue::Undefined) << shows("25.00 kUSD", revoked);
        QTest::newRow("active null") << 200 << active(QJsonValue::Null) << shows("25.00 kUSD", revoked);
        QTest::newRow("active as a string") << 200 << active("true") << shows("25.00 kUSD", revoked);
        QTest::newRow("active as 1") << 200 << active(1) << shows("25.00 kUSD", revoked);
        QTest::newRow("balance 0") << 200 << balance("0") << shows("0.00 kUSD");
        QTest::newRow("balance -0") << 200 << balance("-0") << shows("0.00 kUSD");
        QTest::newRow("balance 4999") << 200 << balance("4999") << shows("0.00 kUSD");
        QTest::newRow("balance 5000") << 200 << balance("5000") << shows("0.01 kUSD");
        QTest::newRow("balance 12345678") << 200 << balance("12345678") << shows("12.35 kUSD");
        QTest::newRow("fraction of a unit") << 200 << balance("1.5") << shows("0.00 kUSD");
        QTest::newRow("exponent") << 200 << balance("2.5e9") << shows("2500.00 kUSD");
        QTest::newRow("balance -1") << 200 << balance("-1") << failed;
        QTest::newRow("budget -1") << 200 << budget("-1") << failed;
        QTest::newRow("balance as a number") << 200 << balance(25000000) << failed;
        QTest::newRow("budget as a number") << 200 << budget(1500000) << failed;
        QTest::newRow("blank inside") << 200 << balance("25 000 000") << failed;
        QTest::newRow("blank before") << 200 << balance(" 25000000") << failed;
        QTest::newRow("blank after") << 200 << budget("1500000 ") << failed;
        QTest::newRow("comma") << 200 << balance("1,5") << failed;
        QTest::newRow("empty") << 200 << balance("") << failed;
        QTest::newRow("inf") << 200 << balance("inf") << failed;
        QTest::newRow("budget nan") << 200 << budget("nan") << failed;
        QTest::newRow("balance missing") << 200 << balance(QJsonValue::Undefined) << failed;
        QTest::newRow("budget null") << 200 << budget(QJsonValue::Null) << failed;
        QTest::newRow("201") << 201 << body(example) << failed;
        QTest::newRow("404") << 404 << body(example) << failed;
        QTest::newRow("500") << 500 << body(example) << failed;
        QTest::newRow("top-level array") << 200 << QByteArray(R"([{"balanceUnits":"1"}])") << failed;
        QTest::newRow("not JSON") << 200 << QByteArray("balance: 25") << failed;
    }

    void reply()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QStringList, shown);
        service.on(path, {status, body});
        VaultBalance vault(&client, Service{service.origin()});

        // The figures must not follow a comma-decimal region.
        CommaLocale comma;
        QVERIFY2(comma.active(), "de_DE.UTF-8 is not installed");
        QCoro::waitFor(vault.load());
        QCOMPARE(fields(vault), shown);
        QCOMPARE(service.seen(path).last().method, "GET");
    }

    void fieldsChangeInOrder_data()
    {
        QTest::addColumn<int>("status");
        QTest::newRow("figures") << 200;
        QTest::newRow("unavailable") << 404;
    }

    void fieldsChangeInOrder()
    {
        QFETCH(int, status);
        service.on(path, {status, body(example)});
        VaultBalance vault(&client, Service{service.origin()});
        QStringList changes;
        connect(&vault, &VaultBalance::balanceChanged, this, [&] { changes << "balance"; });
        connect(&vault, &VaultBalance::budgetChanged, this, [&] { changes << "budget"; });
        connect(&vault, &VaultBalance::statusChanged, this, [&] { changes << "status"; });

        auto task = vault.load();
        // Nothing changes while the request runs.
        QCOMPARE(changes, QStringList{});
        QCoro::waitFor(task);
        QCOMPARE(changes, (QStringList{"balance", "budget", "status"}));
    }

    void recovers()
    {
        VaultBalance vault(&client, Service{service.origin(), 300ms});
        service.on(path, {200, body(example)});
        QCoro::waitFor(vault.load());
        QCOMPARE(vault.balance(), "25.00 kUSD");

        // Stalled past the time-out: the figures shown before are not kept.
        service.stall(path);
        QCoro::waitFor(vault.load());
        QCOMPARE(fields(vault), (QStringList{dash, dash, unavailable}));

        service.on(path, {200, body(with(example, "active", false))});
        QCoro::waitFor(vault.load());
        QCOMPARE(fields(vault), (QStringList{"25.00 kUSD", "1.50 kUSD", revoked}));
    }

    void unreachable()
    {
        VaultBalance vault(&client, Service{QStringLiteral("http://127.0.0.1:1")});
        QCoro::waitFor(vault.load());
        QCOMPARE(fields(vault), (QStringList{dash, dash, unavailable}));
    }

    void lastReplyWins_data()
    {
        QTest::addColumn<int>("firstDelay");
        QTest::addColumn<int>("secondDelay");
        QTest::addColumn<QString>("balance");
        QTest::newRow("first ends last") << 400 << 0 << "1.00 kUSD";
        QTest::newRow("second ends last") << 0 << 400 << "2.00 kUSD";
    }

    void lastReplyWins()
    {
        QFETCH(int, firstDelay);
        QFETCH(int, secondDelay);
        QFETCH(QString, balance);
        int calls = 0;
        service.on(path, [&](const TestService::Seen &) {
            ++calls;
            const QJsonObject reply = with(example, "balanceUnits", calls == 1 ? "1000000" : "2000000");
            return TestService::Reply{{200, body(reply)},
                                      std::chrono::milliseconds(calls == 1 ? firstDelay : secondDelay)};
        });
        VaultBalance vault(&client, Service{service.origin()});

        auto first = vault.load();
        // Wait until the first request has arrived, so that the service sees them in order.
        QTRY_COMPARE(calls, 1);
        auto second = vault.load();
        QCoro::waitFor(first);
        QCoro::waitFor(second);
        QCOMPARE(calls, 2);
        QCOMPARE(vault.balance(), balance);
    }

    void goneWhileLoading()
    {
        service.stall(path);
        auto vault = std::make_unique<VaultBalance>(&client, Service{service.origin()});
        auto task = vault->load();
        QTRY_COMPARE(service.count(path) > 0, true);
        vault.reset();
        // Going away aborts the request: the load ends well before the 12 s time-out.
        QTRY_VERIFY_WITH_TIMEOUT(task.isReady(), 3000);
    }
};

QTEST_GUILESS_MAIN(TestVaultBalance)
#include "tst_vaultbalance.moc"
