#include "account/historylist.h"
#include "model/regionformat.h"
#include "model/secretmemory.h"
#include "owner/ownersession.h"
#include "quiet.h"
#include "testservice.h"

#include <QAbstractItemModelTester>
#include <QCoroTask>
#include <QJsonArray>
#include <QTest>

#include <algorithm>
#include <numeric>
#include <sys/prctl.h>

using namespace std::chrono_literals;
using Answers = QList<TestService::Answer>;

namespace {

constexpr double now = 1.75e12;
const QString guest = "Guest demo · no owner session";
const QString connectedText =
    "Owner connected · read-only until " + shortTime(QDateTime::fromMSecsSinceEpoch(qint64(now) + 1));
// The proof key made from the bytes 0, 1, ..., 31: its challenge at the start, its verifier at the claim.
const QString startSent =
    "POST /device/start "
    R"({"challenge":"6c86c6aac5fb24bcf5d9939cb7d7d5645ce39418f449e03b262dd4fa14b4b92b"})"
    " application/json -";
const QString claimSent =
    "POST /device/claim "
    R"({"id":"s1","verifier":"000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f"})"
    " application/json -";

const auto json = [](const QJsonValue &value, int status = 200) { return LoopbackHttp::json(value, status); };
const auto claim = [](double expires) { return json(QJsonObject{{"token", "t"}, {"expires", expires}}); };
const QJsonObject account{{"wallet", "0xabc"}, {"n", 2}, {"none", QJsonValue()}};
const QJsonArray rows{QJsonObject{{"id", "p1"}, {"amount", "5"}}};
const Answers refreshed{claim(now + 1), json(QJsonObject{{"authenticated", true}}), json(account),
                        json(rows)};
const QStringList refresh{"/device/claim", "/device/status", "/api/account", "/api/history"};
// What a check of a live session sends.
const QString again = "/device/status /api/account /api/history";

} // namespace

class TestOwnerSession : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestService> service;

    std::unique_ptr<OwnerSession> session()
    {
        auto made = std::make_unique<OwnerSession>(Service{service->origin(), 2s});
        made->setRandomSource([](auto bytes) {
            std::iota(bytes.begin(), bytes.end(), 0);
            return true;
        });
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
    // Every request as "METHOD path body Content-Type Authorization", a missing header as "-".
    QStringList requests() const
    {
        QStringList sent;
        for (const auto &seen : service->seen())
            sent.append(seen.method + ' ' + seen.path + ' ' + seen.body + ' '
                        + seen.header("Content-Type").value_or("-") + ' '
                        + seen.header("Authorization").value_or("-"));
        return sent;
    }

private slots:
    void init()
    {
        failOnAnyWarning();
        service = std::make_unique<TestService>();
    }

    // Without random bytes for a verifier no sign-in starts: nothing is sent, then or at the check.
    void noRandomBytes()
    {
        auto owner = session();
        owner->setRandomSource([](std::span<std::uint8_t>) { return false; });
        QCOMPARE(QCoro::waitFor(owner->start()), std::nullopt);
        QCoro::waitFor(owner->check());
        QVERIFY(service->seen().isEmpty());
    }

    void check_data()
    {
        QTest::addColumn<Answers>("answers"); // to the claim, status, account and history
        QTest::addColumn<bool>("signedIn");   // with the token "old" when the sign-in starts
        QTest::addColumn<bool>("signOut");    // while the last answer is still out
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("then"); // what a second check sends
        const QString waiting = "Waiting for passkey approval · match code K7Q2";
        addRow("full refresh", refreshed, false, false, connectedText, again);
        // A failed refresh empties the records and keeps the session.
        addRow("history fails while signed in", refreshed.mid(0, 3) << json({}, 503), true, false,
               QString("Unable to verify session or refresh account. Retry when online."), again);
        // The old token goes with the start and the claim, the new one after; the expiry shown
        // is the new one.
        addRow("new sign-in while signed in", refreshed, true, false, connectedText, again);
        addRow("pending, token ignored",
               Answers{json(QJsonObject{{"pending", true}, {"token", "t"}, {"expires", now + 1}})}, false,
               false, QString("Waiting for approval · match code K7Q2"), QString("/device/claim"));
        // The same sign-in is claimed again with the same verifier.
        addRow("not pending, no token", Answers{json(QJsonObject{{"pending", false}})}, false, false,
               QString("Unable to verify session or refresh account. Retry when online."),
               QString("/device/claim"));
        addRow("empty token", Answers{json(QJsonObject{{"token", ""}, {"expires", now + 1}})}, false, false,
               waiting, QString());
        addRow("expires exactly now", Answers{claim(now)}, false, false,
               QString("Session expired. Sign in again. · cleared"), QString());
        for (const auto &[name, answer] :
             {std::pair("not authenticated", QJsonObject{{"authenticated", false}}),
              std::pair("authenticated missing", QJsonObject{})})
            addRow(name, Answers{claim(now + 1), json(answer)}, false, false,
                   QString("Session expired or signed out. · cleared"), QString());
        // What a request brings back after a sign-out is stale.
        addRow("sign-out during the claim", Answers{claim(now + 1)}, false, true, guest + " · cleared",
               QString());
        addRow("sign-out during the history", refreshed, false, true, guest + " · cleared", QString());
    }

    void check()
    {
        QFETCH(Answers, answers);
        QFETCH(bool, signedIn);
        QFETCH(bool, signOut);
        QFETCH(QString, status);
        QFETCH(QString, then);
        auto owner = session();
        // The account's entries follow the history, in rows taken out and put in, through every
        // turn of a check.
        HistoryList entries;
        QAbstractItemModelTester tester(&entries, QAbstractItemModelTester::FailureReportingMode::QtTest);
        entries.setSession(owner.get());
        if (signedIn) {
            startSignIn(*owner);
            service->on("/device/claim", json(QJsonObject{{"token", "old"}, {"expires", now + 60000}}));
            for (qsizetype i = 1; i < refresh.size(); ++i)
                service->on(refresh.at(i), refreshed.at(i));
            QCoro::waitFor(owner->check());
            QVERIFY(owner->connected());
        }
        const qsizetype before = service->seen().size();
        startSignIn(*owner);
        for (qsizetype i = 0; i < answers.size(); ++i)
            service->on(refresh.at(i), answers.at(i), signOut && i == answers.size() - 1 ? 300ms : 0ms);
        QCoro::waitFor(owner->verify("a b")); // a proof text to forget, sent nowhere
        std::optional<QCoro::Task<>> logout;
        connect(service.get(), &TestService::received, this, [&](const QString &path) {
            if (signOut && path == refresh.at(answers.size() - 1) && !logout)
                logout.emplace(owner->logout());
        });

        // A refresh lands in one order: account, history, connection, status.
        QStringList landed;
        QObject listening; // gone before `landed`
        for (const auto &[text, changed] : {std::pair("owner", &OwnerSession::ownerChanged),
                                            std::pair("history", &OwnerSession::historyChanged),
                                            std::pair("connected", &OwnerSession::connectedChanged),
                                            std::pair("status", &OwnerSession::statusChanged)}) {
            const QString name = text; // clang 14 cannot capture a structured binding
            connect(owner.get(), changed, &listening, [&landed, name] { landed.append(name); });
        }

        QCoro::waitFor(owner->check());
        QCOMPARE(owner->status() + (owner->generation() ? " · cleared" : ""), status);
        if (status == connectedText && !signedIn)
            QCOMPARE(landed, QStringList({"owner", "history", "connected", "status"}));
        QCOMPARE(owner->connected(), then == again);
        QCOMPARE(owner->owner(), status == connectedText ? account : QJsonObject());
        QCOMPARE(owner->history(), status == connectedText ? rows : QJsonArray());
        QCOMPARE(entries.rowCount(), owner->history().size());
        // The match code stays while its sign-in can still be claimed.
        QCOMPARE(owner->code(), then == "/device/claim" ? "K7Q2" : QString());
        QCOMPARE(owner->proof().isEmpty(), owner->generation() > 0);
        // One request after another as far as the answers lead, the claimed token with each; a
        // sign-out leaves nothing to claim or refresh.
        const QString bearer = signedIn ? "Bearer old" : "-";
        QStringList expected{startSent.chopped(1) + bearer, claimSent.chopped(1) + bearer};
        for (const QString &path : refresh.mid(1, answers.size() - 1))
            expected.append("GET " + path + "  - Bearer t");
        if (signOut)
            expected.append(QString("POST /device/logout {} application/json ")
                            + (answers.size() > 1 ? "Bearer t" : "-"));
        QCOMPARE(requests().mid(before), expected);
        // What is left to claim or refresh goes again as it went.
        const QStringList first = requests();
        QCoro::waitFor(owner->check());
        QStringList paths;
        for (const QString &sent : requests().mid(first.size())) {
            QVERIFY2(first.contains(sent), qPrintable(sent));
            paths.append(sent.section(' ', 1, 1));
        }
        QCOMPARE(paths.join(' '), then);
    }

    // However the session ends, the buffers that held the verifier and the token are overwritten
    // before they are released, and the process cannot dump core while either is held.
    void secrets_data()
    {
        QTest::addColumn<QString>("end");
        addRow("signed out", "logout");
        addRow("the service forgot the token", "401");
        addRow("the store let go", "reset");
        addRow("forgotten while a request still has it", "clear");
    }

    void secrets()
    {
        QFETCH(QString, end);
        static QList<std::pair<const void *, std::size_t>> wiped; // each buffer as overwritten
        wiped.clear();
        setWipeWatcher([](const void *data, std::size_t bytes) { wiped.append({data, bytes}); });
        const auto wipedAt = [](const void *data) {
            return std::any_of(wiped.cbegin(), wiped.cend(),
                               [data](const auto &w) { return w.first == data; });
        };
        const QString secret = "a-long-bearer-token";
        // The session's own token and the copy that each request that sent it had.
        const auto tokenWipes = [&secret] {
            return std::count_if(wiped.cbegin(), wiped.cend(),
                                 [&](const auto &w) { return w.second == secret.size() * sizeof(QChar); });
        };
        const auto dumpable = [] { return prctl(PR_GET_DUMPABLE, 0, 0, 0, 0); };
        QTRY_COMPARE(dumpable(), 1); // requests an earlier test left behind have ended
        auto owner = session();
        startSignIn(*owner);
        const void *verifier = owner->secretsHeldAt().second;
        QVERIFY(verifier && dumpable() == 0);
        service->on("/device/claim", json(QJsonObject{{"token", secret}, {"expires", now + 1}}));
        service->on("/device/status",
                    end == "401" ? json(QJsonObject{}, 401) : json(QJsonObject{{"authenticated", true}}));
        end == "clear" ? service->stall("/api/account")
                       : service->on("/api/account", json(QJsonObject{}, 503));
        service->onJson("/device/logout", QJsonObject{});
        const void *token = nullptr;
        connect(service.get(), &TestService::received, this, [&](const QString &path) {
            if (path == "/device/status")
                token = owner->secretsHeldAt().first;
        });
        auto check = owner->check();
        QTRY_VERIFY(check.isReady() || service->count("/api/account") == 1);
        QVERIFY(token && token != verifier && wipedAt(verifier));
        QCOMPARE(dumpable(), end == "401" ? 1 : 0);
        if (end == "logout") {
            QCoro::waitFor(owner->logout());
        } else if (end == "clear") {
            owner->clear();
            QVERIFY(wipedAt(token));
            QCOMPARE(dumpable(), 0); // the request under way holds a copy
        }
        owner.reset();
        QTRY_VERIFY(check.isReady());
        QVERIFY(wipedAt(token));
        const int sent = end == "logout" ? 3 : end == "401" ? 1 : 2; // status, account, logout
        QCOMPARE(tokenWipes(), 1 + sent);
        QCOMPARE(dumpable(), 1);
        setWipeWatcher(nullptr);
    }
};

QTEST_GUILESS_MAIN(TestOwnerSession)
#include "tst_ownersession.moc"
