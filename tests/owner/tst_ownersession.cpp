#include "ownersession.h"
#include "quiet.h"
#include "regionformat.h"
#include "testservice.h"

#include <QCoroTask>
#include <QJsonArray>
#include <QTest>

using namespace std::chrono_literals;
using Answer = TestService::Answer;
using Answers = QList<Answer>;

namespace {

constexpr double now = 1.75e12;
const QString guest = "Guest demo · no owner session", offline = "Connection unavailable. Retry when online.";
const QString checkFailed = "Unable to verify session or refresh account. Retry when online.";
const QString proofFailed = "Receipt verification unavailable. No payment retried.";
const QString pending = "Waiting for approval · match code K7Q2";
const QString connected =
    "Owner connected · read-only until " + shortTime(QDateTime::fromMSecsSinceEpoch(qint64(now) + 1));
// The proof key made from the bytes 0, 1, ..., 31.
const QByteArray challengeSent =
    R"({"challenge":"6c86c6aac5fb24bcf5d9939cb7d7d5645ce39418f449e03b262dd4fa14b4b92b"})";
const QByteArray claimSent =
    R"({"id":"s1","verifier":"000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f"})";

bool countingBytes(std::span<std::uint8_t> bytes)
{
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = std::uint8_t(i);
    return true;
}

Answer json(const QJsonValue &value, int status = 200)
{
    return LoopbackHttp::json(value, status);
}

Answer claim(const QString &token, double expires = now + 1)
{
    return json(QJsonObject{{"token", token}, {"expires", expires}});
}

const Answer authenticated = json(QJsonObject{{"authenticated", true}});
const QJsonObject account{
    {"wallet", "0xabc"}, {"units", "1500000"}, {"n", 2}, {"ok", true}, {"none", QJsonValue()}};
const QJsonArray rows{QJsonObject{{"id", "p1"}, {"amount", "5"}}};
const QStringList refresh{"/device/claim", "/device/status", "/api/account", "/api/history"};

} // namespace

class TestOwnerSession : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestService> service;

    std::unique_ptr<OwnerSession> session(OwnerSession::RandomSource random = countingBytes)
    {
        auto made = std::make_unique<OwnerSession>(Service{service->origin(), 2s});
        made->setRandomSource(std::move(random));
        made->setClock([] { return now; });
        return made;
    }
    // A sign-in waiting for approval, with the match code K7Q2.
    void startSignIn(OwnerSession &owner)
    {
        service->onJson("/device/start",
                        QJsonObject{{"id", "s1"}, {"approvalUrl", service->origin()}, {"code", "K7Q2"}});
        QVERIFY(QCoro::waitFor(owner.start()));
    }
    // Connected with the account record and one history row.
    void signIn(OwnerSession &owner, const QString &token = "tok")
    {
        startSignIn(owner);
        script({claim(token), authenticated, json(account), json(rows)});
        QCoro::waitFor(owner.check());
        QVERIFY(owner.connected() && owner.code().isEmpty());
    }
    void script(const Answers &answers, std::chrono::milliseconds lastDelay = {})
    {
        for (qsizetype i = 0; i < answers.size(); ++i)
            service->on(refresh.at(i), answers.at(i), i == answers.size() - 1 ? lastDelay : 0ms);
    }
    QStringList paths() const
    {
        QStringList sent;
        for (const auto &seen : service->seen())
            sent.append(seen.path);
        return sent;
    }

private slots:
    void init()
    {
        failOnAnyWarning();
        service = std::make_unique<TestService>();
    }

    void start_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QJsonObject>("answer");
        QTest::addColumn<bool>("accepted");

        const auto row = [](const char *name, const QJsonValue &link, bool accepted,
                            const QJsonValue &id = "s1", int status = 200) {
            QTest::newRow(name) << status << QJsonObject{{"id", id}, {"approvalUrl", link}, {"code", "K7Q2"}}
                                << accepted;
        };
        row("portal on the service", "{origin}/approve?s=1", true);
        row("right host, other scheme and port", "https://127.0.0.1/approve", true);
        row("user part, right host", "http://evil.example@127.0.0.1/", true);
        row("user part naming the service", "http://127.0.0.1@evil.example/", false);
        row("another host", "http://evil.example/approve", false);
        row("host beginning with it", "http://127.0.0.1.evil.example/", false);
        row("host ending with it", "http://evil127.0.0.1/", false);
        row("not a URL", "not a url", false);
        row("approvalUrl a number", 1, false);
        row("id a number", "{origin}", false, 1);
        row("500", "{origin}", false, "s1", 500);
        row("401", "{origin}", false, "s1", 401);
        QTest::newRow("no code") << 200 << QJsonObject{{"id", "s1"}, {"approvalUrl", "{origin}"}} << true;
        QTest::newRow("code a number")
            << 200 << QJsonObject{{"id", "s1"}, {"approvalUrl", "{origin}"}, {"code", 7}} << true;
    }

    void start()
    {
        QFETCH(int, status);
        QFETCH(QJsonObject, answer);
        QFETCH(bool, accepted);
        const QString link = answer.value("approvalUrl").toString().replace("{origin}", service->origin());
        if (answer.value("approvalUrl").isString())
            answer["approvalUrl"] = link;
        service->on("/device/start", json(answer, status));

        auto owner = session();
        QCOMPARE(QCoro::waitFor(owner->start()), accepted ? std::optional<QUrl>(link) : std::nullopt);
        const auto sent = service->seen().constFirst();
        QCOMPARE(sent.body + sent.header("Content-Type").value_or("-"), challengeSent + "application/json");
        QCOMPARE(sent.header("Authorization"), std::nullopt);
        const QString code = accepted ? answer.value("code").toString() : QString();
        QCOMPARE(owner->code(), code);
        QCOMPARE(owner->status(), accepted ? "Waiting for passkey approval · match code " + code : offline);
        QCOMPARE(owner->generation(), status == 401 ? 1 : 0);
        // Only a started sign-in is claimed, with the verifier behind the challenge.
        service->onJson("/device/claim", QJsonObject{{"pending", true}});
        QCoro::waitFor(owner->check());
        QCOMPARE(paths().mid(1), accepted ? QStringList{"/device/claim"} : QStringList());
        QCOMPARE(service->seen().constLast().body, accepted ? claimSent : sent.body);
    }

    void check_data()
    {
        QTest::addColumn<Answers>("answers"); // to the claim, status, account and history
        QTest::addColumn<QString>("status");
        QTest::addColumn<bool>("cleared");
        QTest::addColumn<QJsonObject>("owner"); // empty: not connected
        QTest::addColumn<QJsonArray>("history");

        const auto row = [](const char *name, const Answers &answers, const QString &status,
                            bool cleared = false, const QJsonObject &owner = {},
                            const QJsonArray &history = {}) {
            QTest::newRow(name) << answers << status << cleared << owner << history;
        };
        const auto refreshed = [](const Answer &record, const Answer &rowsAnswer) {
            return Answers{claim("t"), authenticated, record, rowsAnswer};
        };
        const Answer fail = json({}, 500), denied = json({}, 401);
        row("full refresh", refreshed(json(account), json(rows)), connected, false, account, rows);
        row("rows under a rows key", refreshed(json(account), json(QJsonObject{{"rows", rows}})), connected,
            false, account, rows);
        row("history empty", refreshed(json(account), json(QJsonArray())), connected, false, account);
        row("rows not an array", refreshed(json(account), json(QJsonObject{{"rows", 5}})), connected, false,
            account);
        row("account as an array", refreshed(json(rows), json(rows)), connected, false, {{"rows", rows}},
            rows);
        row("pending, token ignored",
            {json(QJsonObject{{"pending", true}, {"token", "t"}, {"expires", now + 1}})}, pending);
        row("empty token", {claim("")}, "Waiting for passkey approval · match code K7Q2");
        row("expires exactly now", {claim("t", now)}, "Session expired. Sign in again.", true);
        row("not authenticated", {claim("t"), json(QJsonObject{{"authenticated", false}})},
            "Session expired or signed out.", true);
        row("authenticated as text", {claim("t"), json(QJsonObject{{"authenticated", "true"}})},
            "Session expired or signed out.", true);
        row("no token", {json(QJsonObject{{"pending", false}})}, checkFailed);
        row("expires as text", {json(QJsonObject{{"token", "t"}, {"expires", "9999999999999"}})},
            checkFailed);
        row("claim 401", {denied}, checkFailed, true);
        row("status 500", {claim("t"), fail}, checkFailed);
        row("account 401", {claim("t"), authenticated, denied}, checkFailed, true);
        row("history of numbers", refreshed(json(account), json(QJsonArray{1})), checkFailed);
    }

    void check()
    {
        QFETCH(Answers, answers);
        QFETCH(QString, status);
        QFETCH(bool, cleared);
        QFETCH(QJsonObject, owner);
        QFETCH(QJsonArray, history);
        auto session = this->session();
        startSignIn(*session);
        script(answers);

        QCoro::waitFor(session->check());
        QCOMPARE(session->status(), status);
        QCOMPARE(session->connected(), !owner.isEmpty());
        QCOMPARE(session->generation(), cleared ? 1 : 0);
        QCOMPARE(session->owner(), owner);
        QCOMPARE(session->history(), history);
        // One request after another as far as the answers lead; the claimed token goes with
        // every later one.
        QCOMPARE(paths().mid(1), refresh.mid(0, answers.size()));
        for (const auto &seen : service->seen().mid(2))
            QCOMPARE(seen.header("Authorization"), QByteArray("Bearer t"));
    }

    void verify_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<Answer>("answer");
        QTest::addColumn<bool>("sent");
        QTest::addColumn<QString>("proof");

        const Answer ab = json(QJsonObject{{"explanation", "A"}, {"limitation", "B"}});
        QTest::newRow("explanation and limitation") << "p1" << ab << true << "A\nB";
        QTest::newRow("empty answer") << "p1" << json(QJsonObject{}) << true << "Receipt unavailable\n";
        QTest::newRow("explanation a number")
            << "p1" << json(QJsonObject{{"explanation", 5}, {"limitation", "B"}}) << true
            << "Receipt unavailable\nB";
        QTest::newRow("empty id") << "" << ab << true << "A\nB";
        QTest::newRow("escapes kept as given") << "a%20b" << ab << true << "A\nB";
        QTest::newRow("500") << "p1" << Answer{500, ab.body} << true << proofFailed;
        QTest::newRow("not JSON") << "p1" << Answer{200, "Receipt"} << true << proofFailed;
        QTest::newRow("401") << "p1" << json({}, 401) << true << proofFailed;
        QTest::newRow("a blank in the id") << "a b" << ab << false << proofFailed;
        QTest::newRow("broken escape") << "%zz" << ab << false << proofFailed;
    }

    void verify()
    {
        QFETCH(QString, id);
        QFETCH(Answer, answer);
        QFETCH(bool, sent);
        QFETCH(QString, proof);
        auto owner = session();
        signIn(*owner);
        service->on("/api/receipt/" + id, answer);

        QCoro::waitFor(owner->verify(id));
        QCOMPARE(owner->proof(), proof);
        QCOMPARE(paths().constLast(), sent ? "/api/receipt/" + id : "/api/history");
        QCOMPARE(service->seen().constLast().header("Authorization"), QByteArray("Bearer tok"));
        // Only a 401 ends the session; any other failure leaves it as it was.
        const bool denied = answer.status == 401;
        QCOMPARE(owner->status(), denied ? guest : connected);
        QCOMPARE(owner->history(), denied ? QJsonArray() : rows);
    }

    void logout_data()
    {
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<bool>("reachable");
        QTest::newRow("signed in") << true << true;
        QTest::newRow("service gone") << true << false;
        QTest::newRow("sign-in waiting, no token") << false << true;
    }

    void logout()
    {
        QFETCH(bool, signedIn);
        QFETCH(bool, reachable);
        auto owner = session();
        signedIn ? signIn(*owner) : startSignIn(*owner);
        service->onJson("/api/receipt/p1", QJsonObject{{"explanation", "A"}});
        QCoro::waitFor(owner->verify("p1"));
        service->onJson("/device/logout", QJsonObject{}, 500);
        if (!reachable)
            service.reset();

        QCoro::waitFor(owner->logout());
        QCOMPARE(owner->status(), guest);
        QVERIFY(!owner->connected() && owner->owner().isEmpty() && owner->history().isEmpty());
        QVERIFY(owner->code().isEmpty() && owner->proof().isEmpty());
        QCOMPARE(owner->generation(), 1);
        if (!service)
            return;
        const auto sent = service->seen().constLast();
        QCOMPARE(sent.method + sent.path + sent.body + sent.header("Content-Type").value_or("-"),
                 "POST/device/logout{}application/json");
        QCOMPARE(sent.header("Authorization"),
                 signedIn ? std::optional<QByteArray>("Bearer tok") : std::nullopt);
        // Nothing is left to claim or refresh.
        QCoro::waitFor(owner->check());
        QCOMPARE(service->seen().constLast().path, "/device/logout");
    }

    void staleResultsDropped_data()
    {
        QTest::addColumn<int>("waiting");   // the request of the check that is still out
        QTest::addColumn<bool>("byLogout"); // else by a 401 on a receipt
        QTest::newRow("sign-out during the claim") << 0 << true;
        QTest::newRow("sign-out during the history") << 3 << true;
        QTest::newRow("401 elsewhere during the history") << 3 << false;
    }

    void staleResultsDropped()
    {
        QFETCH(int, waiting);
        QFETCH(bool, byLogout);
        auto owner = session();
        waiting == 0 ? startSignIn(*owner) : signIn(*owner);
        const QJsonArray fresh{QJsonObject{{"fresh", 1}}};
        script(Answers{claim("new"), authenticated, json(fresh), json(fresh)}.mid(0, waiting + 1), 300ms);
        service->onJson("/device/logout", QJsonObject{});
        service->onJson("/api/receipt/r", QJsonObject{}, 401);
        std::optional<QCoro::Task<>> other;
        connect(service.get(), &TestService::received, this, [&](const QString &path) {
            if (path == refresh.at(waiting) && !other)
                other.emplace(byLogout ? owner->logout() : owner->verify("r"));
        });

        QCoro::waitFor(owner->check());
        QVERIFY(other && other->isReady());
        QCOMPARE(owner->status(), guest);
        QVERIFY(!owner->connected() && owner->owner().isEmpty() && owner->history().isEmpty());
        // A dropped claim stores no token: the check went no further.
        QCOMPARE(paths().mid(paths().lastIndexOf(refresh.at(waiting)) + 1),
                 QStringList{byLogout ? "/device/logout" : "/api/receipt/r"});
    }

    void sequences()
    {
        // Nothing to claim or refresh: nothing is sent.
        auto owner = session([](std::span<std::uint8_t>) { return false; });
        QCoro::waitFor(owner->check());
        owner->clear();
        owner->clear();
        QCOMPARE(owner->generation(), 2);
        // A failed source of random bytes sends nothing.
        QCOMPARE(QCoro::waitFor(owner->start()), std::nullopt);
        QCOMPARE(owner->status(), offline);
        QVERIFY(service->seen().isEmpty());

        // A new sign-in while signed in: the old token goes with the start and the claim, the
        // new one with everything after the claim.
        owner->setRandomSource(countingBytes);
        signIn(*owner, "old");
        startSignIn(*owner);
        script({claim("new"), authenticated, json(account), json(rows)});
        QCoro::waitFor(owner->check());
        QStringList bearers;
        for (const auto &seen : service->seen().mid(5))
            bearers.append(seen.header("Authorization").value_or("-"));
        QCOMPARE(bearers,
                 QStringList({"Bearer old", "Bearer old", "Bearer new", "Bearer new", "Bearer new"}));

        // A failed refresh empties the records and keeps the session.
        service->on("/api/history", json({}, 503));
        QCoro::waitFor(owner->check());
        QVERIFY(owner->connected() && owner->owner().isEmpty() && owner->history().isEmpty());
        QCOMPARE(owner->status(), checkFailed);
    }

    void overlappingStarts()
    {
        // The first start is answered last: its identifier stays, with the second's verifier.
        service->on("/device/start", [this, n = 0](const TestService::Seen &) mutable {
            return TestService::Reply{
                json(QJsonObject{{"id", ++n == 1 ? "first" : "second"}, {"approvalUrl", service->origin()}}),
                n == 1 ? 300ms : 0ms};
        });
        auto owner = session();
        auto first = owner->start();
        owner->setRandomSource([](std::span<std::uint8_t> bytes) {
            std::ranges::fill(bytes, 0xff);
            return true;
        });
        QVERIFY(QCoro::waitFor(owner->start()) && QCoro::waitFor(first));
        service->onJson("/device/claim", QJsonObject{{"pending", true}});
        QCoro::waitFor(owner->check());
        QCOMPARE(service->seen().constLast().body,
                 R"({"id":"first","verifier":")" + QByteArray(64, 'f') + R"("})");
    }

    void destroyedWhileWaiting()
    {
        auto owner = session();
        startSignIn(*owner);
        service->stall("/device/claim");
        auto task = owner->check();
        QTRY_COMPARE(service->count("/device/claim"), 1);
        // The operation runs to its end without touching what is gone.
        owner.reset();
        QTRY_VERIFY(task.isReady());
    }
};

QTEST_GUILESS_MAIN(TestOwnerSession)
#include "tst_ownersession.moc"
