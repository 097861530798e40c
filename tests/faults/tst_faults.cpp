#include "faultypeer.h"
#include "market/markets.h"
#include "model/regionformat.h"
#include "owner/ownersession.h"
#include "quiet.h"
#include "vault/vaultbalance.h"

#include <QCoroTask>
#include <QNetworkAccessManager>
#include <QTest>

using namespace std::chrono_literals;
using Certificate = FaultyPeer::Certificate;
using Fault = FaultyPeer::Fault;
using Play = FaultyPeer::Play;

namespace {

// Every request the app makes, in the order of Request, with its good reply, the same keys holding
// values of the wrong JSON type, and what it leaves behind when it succeeds, fails, and gets its
// mistyped answer (when that differs from a failure): the text it shows, and whether the owner's
// session was kept or cleared.
enum class Request { Market, Vault, Start, Claim, Status, Account, History, Receipt, Logout };
struct Wire
{
    bool post;
    QByteArray path, good, wrong;
    QString ok, failed, mistyped;
};
constexpr qint64 expiry = 4102444800000; // 2100-01-01
const QString kept = " · kept";
const QString owner =
    "Owner connected · read-only until " + shortTime(QDateTime::fromMSecsSinceEpoch(expiry)) + kept;
const QString unable = "Unable to verify session or refresh account. Retry when online." + kept;
const QString guest = "Guest demo · no owner session · cleared";
const QList<Wire> wires{
    {false, "/market-data",
     R"({"quotes":[{"pair":"BTC-USD","price":65000,"time":"t"},{"pair":"ETH-USD","price":3000,"time":"t"},)"
     R"({"pair":"SOL-USD","price":150,"time":"t"}]})",
     R"({"quotes":{"pair":"BTC-USD","price":65000,"time":"t"}})", "3 quotes" + kept,
     "Quotes unavailable. Refresh to retry." + kept},
    {false, "/contest/status", R"({"balanceUnits":"25000000","agentBudgetUnits":"1500000","active":true})",
     R"({"balanceUnits":25000000,"agentBudgetUnits":1500000,"active":"true"})",
     "Permission enabled; expiry and limits still apply" + kept,
     "Balance unavailable. Refresh to retry." + kept},
    {true, "/device/start", R"({"id":"s1","code":"K7Q2","approvalUrl":"http://127.0.0.1/p"})",
     R"({"id":7,"code":7,"approvalUrl":["x"]})", "Waiting for passkey approval · match code K7Q2" + kept,
     "Connection unavailable. Retry when online." + kept},
    // A claim without a usable token fails; a status without a JSON true ends the session; a
    // record or rows of the wrong types are kept, shown with their fallbacks.
    {true, "/device/claim", R"({"token":"t0k","expires":)" + QByteArray::number(expiry) + "}",
     R"({"pending":"true","token":7,"expires":"soon"})", owner, unable},
    {false, "/device/status", R"({"authenticated":true})", R"({"authenticated":"true"})", owner, unable,
     "Session expired or signed out. · cleared"},
    {false, "/api/account", R"({"owner":"0xowner","nativeBalance":"0.5","tokenBalance":"12.5"})",
     R"({"owner":7,"nativeBalance":0.5,"tokenBalance":true})", owner, unable, owner},
    {false, "/api/history", R"([{"id":"p1","amount":"1.25","hash":"0xab"}])", R"({"rows":{"id":"p1"}})",
     owner, unable, owner},
    {false, "/api/receipt/p1", R"({"explanation":"A","limitation":"B"})",
     R"({"explanation":5,"limitation":true})", "A\nB" + kept,
     "Receipt verification unavailable. No payment retried." + kept, "Receipt unavailable\n" + kept},
    {true, "/device/logout", R"({"signedOut":true})", R"({"signedOut":"yes"})", guest, guest},
};

} // namespace

class TestFaults : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    void matrix_data()
    {
        QTest::addColumn<int>("wire");
        QTest::addColumn<Play>("play");
        QTest::addColumn<QString>("outcome");
        QTest::addColumn<QList<int>>("requests"); // how often the peer may see the request
        const QByteArray error = R"({"error":"refused"})", ssh("SSH-2.0-OpenSSH_9.2\r\n\x00\x01\x02\xff", 25);
        for (int i = 0; i < wires.size(); ++i) {
            const Wire &w = wires[i];
            const bool snapshot = Request(i) <= Request::Vault;
            const QString mistyped = w.mistyped.isEmpty() ? w.failed : w.mistyped;
            // Qt sends a snapshot GET again when its connection closes before any answer (twice
            // more for bytes that are not HTTP), and a reset in the body may come before Qt has
            // read the head and count as such a close. Every owner request goes once, and no
            // request reaches a peer whose certificate is refused.
            const auto row = [&](const QByteArray &name, const Play &play, const QString &outcome,
                                 const QList<int> &gets = {1}) {
                QTest::addRow("%s %s", w.path.constData(), name.constData())
                    << i << play << outcome << (snapshot || gets == QList{0} ? gets : QList<int>{1});
            };
            row("good", {.body = w.good}, w.ok);
            // Over https, with the requests that lead up to this one; each client trusts only the
            // certificate it is given.
            row("https", {.body = w.good, .certificate = Certificate::Trusted}, w.ok);
            row("https, untrusted certificate", {.body = w.good, .certificate = Certificate::Stranger},
                w.failed, {0});
            row("no answer", {.fault = Fault::Stall}, w.failed);
            row("reset in the body", {.fault = Fault::ResetInBody}, w.failed, {1, 2});
            row("closed before a reply", {.fault = Fault::Raw}, w.failed, {2});
            row("not HTTP", {.fault = Fault::Raw, .body = ssh}, w.failed, {4});
            // A 401 ends the owner's session; to a snapshot read it is one more failure.
            row("401", {.status = 401, .body = error},
                snapshot ? w.failed : QString(w.failed).replace(kept, " · cleared"));
            // A 401 at the size limit is refused for its size, whatever its framing: the session stays.
            row("chunked 401 of 200 KiB",
                {.status = 401, .body = error.leftJustified(200 << 10), .chunked = true}, w.failed);
            if (!snapshot) {
                row("endless chunked 401", {.fault = Fault::Endless, .status = 401, .chunked = true},
                    w.failed);
                row("endless head", {.fault = Fault::EndlessHead}, w.failed);
            }
            row("500", {.status = 500, .body = error}, w.failed);
            row("503", {.status = 503, .body = error}, w.failed);
            row("endless body", {.fault = Fault::Endless}, w.failed);
            row("truncated JSON", {.body = w.good.left(w.good.size() / 2)}, w.failed);
            row("wrong types", {.body = w.wrong}, mistyped);
            row("slow drip", {.fault = Fault::Drip}, w.ok);
            // Snapshot reads follow redirects, to any origin; owner requests follow none.
            for (const int status : {301, 302, 307, 308}) {
                for (const QByteArray to : {"/moved", "{other}"})
                    row(QByteArray::number(status) + " to " + to,
                        {.status = status, .body = error, .location = to}, snapshot ? w.ok : w.failed);
            }
        }
    }

    void matrix()
    {
        QFETCH(int, wire);
        QFETCH(Play, play);
        QFETCH(QString, outcome);
        QFETCH(QList<int>, requests);
        const Wire &w = wires[wire];
        const Request request = Request(wire);
        QHash<QByteArray, QByteArray> good{{"/moved", w.good}};
        for (const Wire &each : wires)
            good.insert(each.path, each.good);
        const bool https = play.certificate != Certificate::None;
        FaultyPeer peer(good, https), other(good);
        play.path = w.path;
        if (play.location == "{other}")
            play.location = other.origin().toLatin1() + w.path;

        // Owner requests start from the state in which the app makes them.
        const Service service{peer.origin(), 400ms, https ? FaultyPeer::authority() : QByteArray()};
        QNetworkAccessManager shared;
        Markets market(&shared, service);
        VaultBalance vault(&shared, service);
        OwnerSession session(service);
        if (request > Request::Start)
            QVERIFY(QCoro::waitFor(session.start()));
        if (request > Request::Claim)
            QCoro::waitFor(session.check());
        QCOMPARE(session.connected(), request > Request::Claim);
        const int before = peer.count(w.path);
        const qint64 generation = session.generation();
        peer.play(play);

        if (request == Request::Start)
            QCoro::waitFor(session.start());
        else
            QCoro::waitFor(request == Request::Market    ? market.load()
                           : request == Request::Vault   ? vault.load()
                           : request == Request::Receipt ? session.verify("p1")
                           : request == Request::Logout  ? session.logout()
                                                         : session.check());
        const QString shown = request == Request::Market
                                  ? (market.quotes().size() == 3 ? "3 quotes" : market.status())
                              : request == Request::Vault   ? vault.status()
                              : request == Request::Receipt ? session.proof()
                                                            : session.status();
        QCOMPARE(shown + (session.generation() == generation ? kept : " · cleared"), outcome);
        const int seen = peer.count(w.path) - before;
        QVERIFY2(requests.contains(seen), qPrintable(QString::number(seen)));
        // Only a snapshot read reaches a redirect's target; an owner request never takes its token there.
        const bool followed = !play.location.isEmpty() && request <= Request::Vault;
        QCOMPARE(peer.count("/moved") + other.count(w.path), followed ? 1 : 0);
        // Every reply stops being read at its limit, and its connection is closed.
        if (play.fault == Fault::Endless || play.fault == Fault::EndlessHead) {
            QTRY_VERIFY(peer.endlessClosed());
            QCOMPARE_LT(peer.pushed(), 16 << 20);
        }
    }
};

QTEST_GUILESS_MAIN(TestFaults)
#include "tst_faults.moc"
