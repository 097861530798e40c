#include "vaultbalance.h"

#include "commalocale.h"
#include "quiet.h"
#include "testservice.h"

#include <QCoroTask>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QTest>

#include <memory>

using namespace std::chrono_literals;

namespace {

const QString path = QStringLiteral("/contest/status");
const QString dash = QStringLiteral("—");
const QString enabled = QStringLiteral("Permission enabled; expiry and limits still apply");
const QString revoked = QStringLiteral("Permission revoked · agent cannot spend");
const QString unavailable = QStringLiteral("Balance unavailable. Refresh to retry.");
const QStringList failed{dash, dash, unavailable};

// The example reply, with one key set to another value or, when undefined, left out.
QByteArray answer(const QString &key = {}, const QJsonValue &value = {})
{
    QJsonObject object{{"balanceUnits", "25000000"}, {"agentBudgetUnits", "1500000"}, {"active", true}};
    if (value.isUndefined())
        object.remove(key);
    else if (!key.isEmpty())
        object[key] = value;
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QStringList fields(const VaultBalance &vault)
{
    return {vault.balance(), vault.budget(), vault.status()};
}

QStringList shows(const QString &balance, const QString &permission = enabled)
{
    return {balance, "1.50 kUSD", permission};
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
        QTest::newRow("example") << 200 << answer() << shows("25.00 kUSD");
        // Anything but a JSON true, a missing key included, means the permission is off.
        QTest::newRow("inactive") << 200 << answer("active", false) << shows("25.00 kUSD", revoked);
        QTest::newRow("active missing")
            << 200 << answer("active", QJsonValue::Undefined) << shows("25.00 kUSD", revoked);
        QTest::newRow("active as a string")
            << 200 << answer("active", "true") << shows("25.00 kUSD", revoked);
        QTest::newRow("balance -0") << 200 << answer("balanceUnits", "-0") << shows("0.00 kUSD");
        QTest::newRow("balance 4999") << 200 << answer("balanceUnits", "4999") << shows("0.00 kUSD");
        QTest::newRow("balance 5000") << 200 << answer("balanceUnits", "5000") << shows("0.01 kUSD");
        QTest::newRow("balance -1") << 200 << answer("balanceUnits", "-1") << failed;
        QTest::newRow("budget -1") << 200 << answer("agentBudgetUnits", "-1") << failed;
        QTest::newRow("balance as a number") << 200 << answer("balanceUnits", 25000000) << failed;
        QTest::newRow("blank after") << 200 << answer("agentBudgetUnits", "1500000 ") << failed;
        QTest::newRow("inf") << 200 << answer("balanceUnits", "inf") << failed;
        QTest::newRow("budget nan") << 200 << answer("agentBudgetUnits", "nan") << failed;
        QTest::newRow("balance missing") << 200 << answer("balanceUnits", QJsonValue::Undefined) << failed;
        QTest::newRow("201") << 201 << answer() << failed;
        QTest::newRow("500") << 500 << answer() << failed;
        QTest::newRow("top-level array") << 200 << QByteArray(R"([{"balanceUnits":"1"}])") << failed;
    }

    void reply()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        service.on(path, {status, body});
        VaultBalance vault(&client, Service{service.origin()});
        // The figures must not follow a comma-decimal region.
        CommaLocale comma;
        QVERIFY2(comma.active(), "de_DE.UTF-8 is not installed");
        QCoro::waitFor(vault.load());
        QTEST(fields(vault), "shown");
        QCOMPARE(service.seen(path).last().method, "GET");
    }

    void fieldsChangeInOrder()
    {
        service.on(path, {200, answer()});
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
        service.on(path, {200, answer()});
        QCoro::waitFor(vault.load());
        // Stalled past the time-out: the figures shown before are not kept.
        service.stall(path);
        QCoro::waitFor(vault.load());
        QCOMPARE(fields(vault), failed);
        service.on(path, {200, answer("active", false)});
        QCoro::waitFor(vault.load());
        QCOMPARE(fields(vault), shows("25.00 kUSD", revoked));
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
