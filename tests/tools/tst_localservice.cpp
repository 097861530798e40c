#include "localservice.h"
#include "markets.h"
#include "number.h"
#include "quiet.h"
#include "serviceclient.h"
#include "stamp.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QTest>

using namespace std::chrono_literals;

namespace {

const QStringList bearerPaths{"/device/status", "/api/account", "/api/history"};

} // namespace

class TestLocalService : public QObject
{
    Q_OBJECT

    ServiceClient client;
    std::unique_ptr<LocalService> shared;

    Exchanged call(LocalService &service, const QByteArray &method, const QString &path,
                   const QByteArray &body = {}, const Headers &headers = {})
    {
        return client.call(service, method, path, body, headers);
    }

private slots:
    void initTestCase()
    {
        shared = running();
        QVERIFY(shared);
    }

    void init() { failOnAnyWarning(); }

    void deviceFlow()
    {
        LocalService &service = *shared;
        SignIn signIn;
        client.begin(service, signIn);
        if (QTest::currentTestFailed())
            return;
        const QByteArray right = claimBody(signIn.id, signIn.verifier);
        const QByteArray wrong = claimBody(signIn.id, QString(64, u'0'));

        QCOMPARE(call(service, "POST", "/device/claim", right, jsonType()).object(),
                 QJsonObject({{"pending", true}}));
        QCOMPARE(call(service, "POST", "/device/claim", wrong, jsonType()).status, 403);

        Exchanged approved;
        client.decide(signIn, "approve", approved);
        QCOMPARE(approved.status, 200);

        // A wrong verifier is refused and leaves the sign-in to its rightful claimer.
        const Exchanged refused = call(service, "POST", "/device/claim", wrong, jsonType());
        QCOMPARE(refused.status, 403);
        QVERIFY(isErrorReply(refused));
        const qint64 before = QDateTime::currentMSecsSinceEpoch();
        const Exchanged claimed = call(service, "POST", "/device/claim", right, jsonType());
        QCOMPARE(claimed.status, 200);
        const QJsonObject session = claimed.object();
        QVERIFY(session.value("token").isString());
        QVERIFY(session.value("expires").isDouble());
        const QString token = session.value("token").toString();
        const qint64 expires = qint64(session.value("expires").toDouble());
        QVERIFY(expires >= before + 900'000 && expires <= QDateTime::currentMSecsSinceEpoch() + 900'000);
        QCOMPARE(call(service, "POST", "/device/claim", right, jsonType()).status, 409);

        QCOMPARE(call(service, "GET", "/device/status", {}, bearer(token)).object(),
                 QJsonObject({{"authenticated", true}}));
        const QJsonObject account = call(service, "GET", "/api/account", {}, bearer(token)).object();
        QVERIFY(QRegularExpression("^0x[0-9a-f]{40}$").match(account.value("owner").toString()).hasMatch());
        QVERIFY(numberFromText(account.value("nativeBalance").toString()));
        QVERIFY(numberFromText(account.value("tokenBalance").toString()));

        const Exchanged history = call(service, "GET", "/api/history", {}, bearer(token));
        QCOMPARE(history.status, 200);
        const QJsonDocument rows = QJsonDocument::fromJson(history.body);
        QVERIFY(rows.isArray());
        QVERIFY(rows.array().size() >= 3);
        for (const QJsonValue &value : rows.array()) {
            const QJsonObject row = value.toObject();
            for (const char *key : {"id", "amount", "state", "recipient", "created", "hash", "reason"})
                QVERIFY2(row.value(key).isString(), key);
            QVERIFY(stamp(row.value("created").toString()));
            QVERIFY(numberFromText(row.value("amount").toString()));
            QVERIFY(QRegularExpression("^0x[0-9a-f]{64}$").match(row.value("hash").toString()).hasMatch());
            const QJsonObject receipt =
                call(service, "GET", "/api/receipt/" + row.value("id").toString(), {}, bearer(token))
                    .object();
            QVERIFY(!receipt.value("explanation").toString().isEmpty());
            QVERIFY(!receipt.value("limitation").toString().isEmpty());
        }

        QCOMPARE(call(service, "POST", "/device/logout", "{}", bearer(token) + jsonType()).status, 200);
        for (const QString &path :
             bearerPaths + QStringList{"/api/receipt/" + rows.array().first()["id"].toString()})
            QCOMPARE(call(service, "GET", path, {}, bearer(token)).status, 401);
        QCOMPARE(call(service, "POST", "/device/logout", "{}", bearer(token) + jsonType()).status, 401);
    }

    void decision_data()
    {
        QTest::addColumn<QString>("choice");
        QTest::addColumn<int>("claimStatus");
        QTest::newRow("approved") << "approve" << 200;
        QTest::newRow("denied") << "deny" << 403;
    }

    void decision()
    {
        QFETCH(QString, choice);
        QFETCH(int, claimStatus);
        SignIn signIn;
        client.begin(*shared, signIn);
        Exchanged answer;
        client.decide(signIn, choice, answer);
        QCOMPARE(answer.status, 200);
        QCOMPARE(
            call(*shared, "POST", "/device/claim", claimBody(signIn.id, signIn.verifier), jsonType()).status,
            claimStatus);
        // Decided once: the page offers no buttons, and a second decision is refused.
        const Exchanged page = client.open(signIn.approval);
        QCOMPARE(page.status, 200);
        QVERIFY(!page.body.contains("<form"));
        const Exchanged again = client.open(signIn.approval, "POST", "decision=approve", formType());
        QCOMPARE(again.status, 409);
    }

    void expiredToken()
    {
        auto service = running(400ms);
        QVERIFY(service);
        QString token;
        qint64 expires = 0;
        client.signedIn(*service, token, expires);
        if (QTest::currentTestFailed())
            return;
        QVERIFY(expires - QDateTime::currentMSecsSinceEpoch() <= 400);
        QTest::qWait(int(qMax<qint64>(0, expires - QDateTime::currentMSecsSinceEpoch()) + 20));
        for (const QString &path : bearerPaths) {
            const Exchanged refused = call(*service, "GET", path, {}, bearer(token));
            QCOMPARE(refused.status, 401);
            QCOMPARE(refused.header("WWW-Authenticate"), QByteArray("Bearer"));
            QVERIFY(isErrorReply(refused));
        }
    }

    void marketMoves()
    {
        std::optional<QList<Quote>> previous;
        for (int round = 0; round < 5; ++round) {
            const QDateTime before = QDateTime::currentDateTimeUtc();
            const Exchanged reply = call(*shared, "GET", "/market-data");
            const QDateTime after = QDateTime::currentDateTimeUtc();
            QCOMPARE(reply.status, 200);
            const auto quotes = Markets::parse(reply.object());
            QVERIFY(quotes);
            for (int i = 0; i < 3; ++i) {
                const Quote &q = quotes->at(i);
                QCOMPARE(q.pair(), QStringList({"BTC-USD", "ETH-USD", "SOL-USD"}).at(i));
                QVERIFY(q.bid() < q.price() && q.price() < q.ask());
                QVERIFY(q.low() <= q.price() && q.price() <= q.high());
                QVERIFY(q.volume() > 0);
                QVERIFY2(QRegularExpression(R"(\.\d{3}Z$)").match(q.time()).hasMatch(), qPrintable(q.time()));
                const auto time = stamp(q.time());
                QVERIFY(time);
                QVERIFY(*time >= before.addMSecs(-1) && *time <= after);
                if (previous)
                    QVERIFY2(q.price() != previous->at(i).price(), qPrintable(q.pair()));
            }
            previous = quotes;
        }
    }

    void vaultPermission()
    {
        const auto status = [&] { return call(*shared, "GET", "/contest/status").object(); };
        QVERIFY(numberFromText(status().value("balanceUnits").toString()));
        QVERIFY(numberFromText(status().value("agentBudgetUnits").toString()));
        const Headers form{{"Content-Type", "application/x-www-form-urlencoded"}};
        for (const bool active : {false, true}) {
            const Exchanged set =
                call(*shared, "POST", "/contest/permission", active ? "active=true" : "active=false", form);
            QCOMPARE(set.status, 303);
            QCOMPARE(set.header("Location"), QByteArray("/demo.html"));
            QCOMPARE(status().value("active"), QJsonValue(active));
            // The demo page offers the opposite switch.
            QVERIFY(call(*shared, "GET", "/demo.html")
                        .body.contains(active ? R"(value="false")" : R"(value="true")"));
        }
    }

    void pages_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("mark");
        QTest::newRow("home") << "/" << QByteArray(R"(id="agent")");
        QTest::newRow("demo") << "/demo.html" << QByteArray("<form");
        QTest::newRow("competition") << "/competition.html" << QByteArray("/contest/status");
    }

    void pages()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, mark);
        const Exchanged page = call(*shared, "GET", path);
        QCOMPARE(page.status, 200);
        QVERIFY(page.contentType.startsWith("text/html"));
        QVERIFY(page.body.contains(mark));
        QVERIFY(!page.body.contains("<script"));
        QCOMPARE(page.header("X-Frame-Options"), QByteArray("DENY"));
    }
};

QTEST_GUILESS_MAIN(TestLocalService)
#include "tst_localservice.moc"
