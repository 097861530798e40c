#include "vault/vaultbalance.h"

#include "quiet.h"
#include "testservice.h"

#include <QCoroTask>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QTest>

namespace {

const QString enabled = QStringLiteral("Permission enabled; expiry and limits still apply");
const QString revoked = QStringLiteral("Permission revoked · agent cannot spend");
const QStringList failed{"—", "—", "Balance unavailable. Refresh to retry."};

// The example reply with some keys set to other values.
QByteArray answer(std::initializer_list<std::pair<QString, QJsonValue>> changes = {})
{
    QJsonObject object{{"balanceUnits", "25000000"}, {"agentBudgetUnits", "1500000"}, {"active", true}};
    for (const auto &[key, value] : changes)
        object.insert(key, value);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

class TestVaultBalance : public QObject
{
    Q_OBJECT

    TestService service;
    QNetworkAccessManager client;

private slots:
    void init() { failOnAnyWarning(); }

    void reply_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("shown");
        QTest::addColumn<int>("status");
        addRow("example", answer(), QStringList{"25.00 kUSD", "1.50 kUSD", enabled}, 200);
        // Anything but a JSON true means the permission is off; -0 is no negative amount, and
        // printf keeps its sign.
        addRow("balance -0, active as a string", answer({{"balanceUnits", "-0"}, {"active", "true"}}),
               QStringList{"-0.00 kUSD", "1.50 kUSD", revoked}, 200);
        addRow("rounding", answer({{"balanceUnits", "4999"}, {"agentBudgetUnits", "5000"}}),
               QStringList{"0.00 kUSD", "0.01 kUSD", enabled}, 200);
        // Exact halfway figures round to even, as printf does.
        addRow("halfway", answer({{"balanceUnits", "2625000"}, {"agentBudgetUnits", "125000"}}),
               QStringList{"2.62 kUSD", "0.12 kUSD", enabled}, 200);
        addRow("balance -1", answer({{"balanceUnits", "-1"}}), failed, 200);
        addRow("budget -1", answer({{"agentBudgetUnits", "-1"}}), failed, 200);
        addRow("blank after", answer({{"agentBudgetUnits", "1500000 "}}), failed, 200);
        addRow("inf", answer({{"balanceUnits", "inf"}}), failed, 200);
        // Only a 200 counts, whatever the body.
        for (const int status : {201, 404})
            QTest::addRow("%d", status) << answer() << failed << status;
    }

    void reply()
    {
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        service.on("/contest/status", {status, body});
        VaultBalance vault(&client, Service{service.origin()});
        QCoro::waitFor(vault.load());
        QTEST((QStringList{vault.balance(), vault.budget(), vault.status()}), "shown");
    }
};

QTEST_GUILESS_MAIN(TestVaultBalance)
#include "tst_vaultbalance.moc"
