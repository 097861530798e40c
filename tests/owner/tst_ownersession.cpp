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
const QString expired = "Session expired or signed out.",
              waitingText = "Waiting for passkey approval · match code ";
const QString connectedText =
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
const QJsonObject account{{"wallet", "0xabc"}, {"n", 2}, {"none", QJsonValue()}};
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
    void verifySignedOut(const OwnerSession &owner)
    {
        QCOMPARE(owner.status(), guest);
        QVERIFY(!owner.connected() && owner.owner().isEmpty() && owner.history().isEmpty());
    }

private slots:
    void init()
    {
        failOnAnyWarning();
        service = std::make_unique<TestService>();
    }

    void start_data()
    {
        QTest::addColumn<QJsonObject>("answer");
        QTest::addColumn<bool>("accepted");
        const auto row = [](const char *name, const QString &link, bool accepted,
                            const QJsonValue &id = "s1") {
            QTest::newRow(name) << QJsonObject{{"id", id}, {"approvalUrl", link}, {"code", "K7Q2"}}
                                << accepted;
        };
        row("portal on the service", "{origin}/approve?s=1", true);
        row("right host, other scheme and port", "https://127.0.0.1/approve", true);
        row("user part, right host", "http://evil.example@127.0.0.1/", true);
        row("user part naming the service", "http://127.0.0.1@evil.example/", false);
        row("another host", "http://evil.example/approve", false);
        row("host beginning with it", "http://127.0.0.1.evil.example/", false);
        row("host ending with it", "http://evil127.0.0.1/", false);
        row("id a number", "{origin}", false, 1);
        QTest::newRow("no code") << QJsonObject{{"id", "s1"}, {"approvalUrl", "{origin}"}} << true;
    }

    void start()
    {
        QFETCH(QJsonObject, answer);
        QFETCH(bool, accepted);
        const QString link = answer.value("approvalUrl").toString().replace("{origin}", service->origin());
        answer["approvalUrl"] = link;
        service->onJson("/device/start", answer);

        auto owner = session();
        QCOMPARE(QCoro::waitFor(owner->start()), accepted ? std::optional<QUrl>(link) : std::nullopt);
        const auto sent = service->seen().constFirst();
        QCOMPARE(sent.body + sent.header("Content-Type").value_or("-"), challengeSent + "application/json");
        QCOMPARE(sent.header("Authorization"), std::nullopt);
        const QString code = accepted ? answer.value("code").toString() : QString();
        QCOMPARE(owner->code(), code);
        QCOMPARE(owner->status(), accepted ? waitingText + code : offline);
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
        QTest::addColumn<bool>("connected"); // with the account and its history
        const auto row = [](const char *name, const Answers &answers, const QString &status,
                            bool cleared = false, bool connected = false) {
            QTest::newRow(name) << answers << status << cleared << connected;
        };
        row("full refresh", {claim("t"), authenticated, json(account), json(rows)}, connectedText, false,
            true);
        row("pending, token ignored",
            {json(QJsonObject{{"pending", true}, {"token", "t"}, {"expires", now + 1}})},
            "Waiting for approval · match code K7Q2");
        row("expires exactly now", {claim("t", now)}, "Session expired. Sign in again.", true);
        row("not authenticated", {claim("t"), json(QJsonObject{{"authenticated", false}})}, expired, true);
        row("no token", {json(QJsonObject{{"pending", false}})}, checkFailed);
    }

    void check()
    {
        QFETCH(Answers, answers);
        QFETCH(QString, status);
        QFETCH(bool, cleared);
        QFETCH(bool, connected);
        auto session = this->session();
        startSignIn(*session);
        script(answers);

        QCoro::waitFor(session->check());
        QCOMPARE(session->status(), status);
        QCOMPARE(session->connected(), connected);
        QCOMPARE(session->generation(), cleared ? 1 : 0);
        QCOMPARE(session->owner(), connected ? account : QJsonObject());
        QCOMPARE(session->history(), connected ? rows : QJsonArray());
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
        QTest::newRow("escapes kept as given") << "a%20b" << ab << true << "A\nB";
        QTest::newRow("a blank in the id") << "a b" << ab << false << proofFailed;
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
        // A failed proof leaves the session as it was.
        QCOMPARE(owner->status(), connectedText);
        QCOMPARE(owner->history(), rows);
    }

    void logout_data()
    {
        QTest::addColumn<bool>("signedIn");
        QTest::newRow("signed in") << true;
        QTest::newRow("sign-in waiting, no token") << false;
    }

    void logout()
    {
        QFETCH(bool, signedIn);
        auto owner = session();
        signedIn ? signIn(*owner) : startSignIn(*owner);
        service->onJson("/api/receipt/p1", QJsonObject{{"explanation", "A"}});
        QCoro::waitFor(owner->verify("p1"));
        service->onJson("/device/logout", QJsonObject{}, 500);

        QCoro::waitFor(owner->logout());
        verifySignedOut(*owner);
        QVERIFY(owner->code().isEmpty() && owner->proof().isEmpty());
        QCOMPARE(owner->generation(), 1);
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
        verifySignedOut(*owner);
        // A dropped claim stores no token: the check went no further.
        QCOMPARE(paths().mid(paths().lastIndexOf(refresh.at(waiting)) + 1),
                 QStringList{byLogout ? "/device/logout" : "/api/receipt/r"});
    }

    void sequences()
    {
        // A failed source of random bytes sends nothing, and there is nothing to claim.
        auto owner = session([](std::span<std::uint8_t>) { return false; });
        QCOMPARE(QCoro::waitFor(owner->start()), std::nullopt);
        QCoro::waitFor(owner->check());
        QCOMPARE(owner->status(), offline);
        QVERIFY(service->seen().isEmpty());

        owner->setRandomSource(countingBytes);
        signIn(*owner);
        // A failed refresh empties the records and keeps the session.
        service->on("/api/history", json({}, 503));
        QCoro::waitFor(owner->check());
        QVERIFY(owner->connected() && owner->owner().isEmpty() && owner->history().isEmpty());
        QCOMPARE(owner->status(), checkFailed);
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
