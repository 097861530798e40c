#include "localservice.h"
#include "markets.h"
#include "number.h"
#include "quiet.h"
#include "stamp.h"

#include <QCoroNetworkReply>
#include <QCoroTask>
#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTest>

using namespace std::chrono_literals;

namespace {

const QByteArray J = "application/json";
const QByteArray F = "application/x-www-form-urlencoded";
const QStringList bearerPaths{"/device/status", "/api/account", "/api/history"};
const QString goodChallenge(64, u'a');

QByteArray jsonText(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

bool matches(const char *pattern, const QJsonValue &value)
{
    return QRegularExpression(pattern).match(value.toString()).hasMatch();
}

// What came back for one request made as the app or a browser would.
struct Reply
{
    int status = 0;
    QByteArray body;
    QList<QNetworkReply::RawHeaderPair> headers;

    QByteArray header(const QByteArray &name) const
    {
        for (const auto &[key, value] : headers) {
            if (key.compare(name, Qt::CaseInsensitive) == 0)
                return value;
        }
        return {};
    }
    QJsonObject object() const { return QJsonDocument::fromJson(body).object(); }
    bool isError() const
    {
        return header("Content-Type").startsWith(J) && !object()["error"].toString().isEmpty();
    }
};

QCoro::Task<Reply> exchange(QNetworkAccessManager *client, QNetworkRequest request, QByteArray method,
                            QByteArray body)
{
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setTransferTimeout(10000);
    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply *)> reply(
        client->sendCustomRequest(request, method, body), [](QNetworkReply *r) { r->deleteLater(); });
    co_await reply.get();
    co_return Reply{reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(),
                    reply->isOpen() ? reply->readAll() : QByteArray(), reply->rawHeaderPairs()};
}

std::unique_ptr<LocalService> running(std::chrono::milliseconds lifetime = 900s, qsizetype historyBytes = 0)
{
    OwnerRecords records(QDateTime::currentDateTimeUtc());
    if (historyBytes && !records.padHistory(historyBytes))
        return nullptr;
    auto service = std::make_unique<LocalService>(std::move(records), lifetime);
    return service->start() ? std::move(service) : nullptr;
}

// A device sign-in under way, as the app holds it.
struct SignIn
{
    QString id;
    QString code;
    QString verifier;
    QUrl approval;
};

} // namespace

// The local service driven over HTTP as the app and the owner's browser drive it.
class TestLocalService : public QObject
{
    Q_OBJECT

    QNetworkAccessManager m_client;
    std::unique_ptr<LocalService> m_service;
    LocalService *m_on = nullptr; // where requests go; m_service unless a test says otherwise
    QString m_token;              // a live session on m_service

    // `authorization` is a bearer token, or a whole header value when it has a blank.
    Reply send(const QByteArray &method, const QString &pathOrUrl, const QByteArray &body = {},
               const QByteArray &type = {}, const QString &authorization = {})
    {
        QNetworkRequest request(pathOrUrl.startsWith(u'/') ? QUrl(m_on->origin() + pathOrUrl)
                                                           : QUrl(pathOrUrl));
        if (!type.isEmpty())
            request.setRawHeader("Content-Type", type);
        if (!authorization.isEmpty())
            request.setRawHeader("Authorization",
                                 (authorization.contains(u' ') ? "" : "Bearer ") + authorization.toLatin1());
        return QCoro::waitFor(exchange(&m_client, request, method, body));
    }
    Reply get(const QString &path, const QString &token = {}) { return send("GET", path, {}, {}, token); }
    Reply claim(const SignIn &signIn, const QString &verifier = {})
    {
        return send(
            "POST", "/device/claim",
            jsonText({{"id", signIn.id}, {"verifier", verifier.isEmpty() ? signIn.verifier : verifier}}), J);
    }

    // Starts a sign-in with a fresh verifier; empty when it did not start as the app expects.
    SignIn begin()
    {
        QByteArray bytes(32, '\0');
        for (char &b : bytes)
            b = char(QRandomGenerator::global()->bounded(256));
        const QString verifier = QString::fromLatin1(bytes.toHex());
        const QByteArray challenge =
            QCryptographicHash::hash(verifier.toLatin1(), QCryptographicHash::Sha256).toHex();
        const QJsonObject started =
            send("POST", "/device/start", jsonText({{"challenge", QString::fromLatin1(challenge)}}), J)
                .object();
        const SignIn signIn{started["id"].toString(), started["code"].toString(), verifier,
                            QUrl(started["approvalUrl"].toString())};
        // The app opens the portal only on the service's own host.
        const bool usable = !signIn.id.isEmpty() && signIn.code.size() == 4
                            && signIn.approval.adjusted(QUrl::RemovePath).toString() == m_on->origin();
        return usable ? signIn : SignIn{};
    }

    // Opens the portal page and presses one of its buttons, as a browser would.
    int decide(const SignIn &signIn, const QString &choice)
    {
        const Reply page = get(signIn.approval.toString());
        static const QRegularExpression form(QStringLiteral("<form method=\"post\" action=\"([^\"]+)\">"));
        static const QRegularExpression button(
            QStringLiteral("<button type=\"submit\" name=\"([^\"]+)\" value=\"([^\"]+)\">"));
        const QString html = QString::fromUtf8(page.body);
        QByteArray fields;
        for (auto it = button.globalMatch(html); it.hasNext();) {
            const auto match = it.next();
            if (match.captured(2) == choice)
                fields = QUrl::toPercentEncoding(match.captured(1)) + '=' + QUrl::toPercentEncoding(choice);
        }
        if (page.status != 200 || !page.header("Content-Type").startsWith("text/html")
            || !page.body.contains(signIn.code.toLatin1()) || fields.isEmpty())
            return 0;
        return send("POST", signIn.approval.resolved(QUrl(form.match(html).captured(1))).toString(), fields,
                    F)
            .status;
    }

    // A sign-in taken through to its token.
    QJsonObject signedIn()
    {
        const SignIn signIn = begin();
        return decide(signIn, "approve") == 200 ? claim(signIn).object() : QJsonObject();
    }

private slots:
    void initTestCase()
    {
        m_service = running();
        QVERIFY(m_service);
        m_on = m_service.get();
        m_token = signedIn()["token"].toString();
        QVERIFY(!m_token.isEmpty());
    }

    void init()
    {
        failOnAnyWarning();
        m_on = m_service.get();
    }

    void deviceFlow()
    {
        const SignIn signIn = begin();
        const QString wrong(64, u'0');
        QCOMPARE(claim(signIn).object(), QJsonObject({{"pending", true}}));
        QCOMPARE(claim(signIn, wrong).status, 403);
        QCOMPARE(decide(signIn, "approve"), 200);
        // A wrong verifier is refused and leaves the sign-in to its rightful claimer.
        const Reply refused = claim(signIn, wrong);
        QVERIFY(refused.status == 403 && refused.isError());
        const qint64 before = QDateTime::currentMSecsSinceEpoch();
        const QJsonObject session = claim(signIn).object();
        const QString token = session["token"].toString();
        const qint64 expires = qint64(session["expires"].toDouble());
        QVERIFY(!token.isEmpty());
        QVERIFY(expires >= before + 900'000 && expires <= QDateTime::currentMSecsSinceEpoch() + 900'000);
        QCOMPARE(claim(signIn).status, 409);

        QCOMPARE(get("/device/status", token).object(), QJsonObject({{"authenticated", true}}));
        const QJsonObject account = get("/api/account", token).object();
        QVERIFY(matches("^0x[0-9a-f]{40}$", account["owner"]));
        QVERIFY(numberFromText(account["nativeBalance"].toString())
                && numberFromText(account["tokenBalance"].toString()));
        const QJsonArray rows = QJsonDocument::fromJson(get("/api/history", token).body).array();
        QVERIFY(rows.size() >= 3);
        for (const QJsonValue &row : rows) {
            for (const char *key : {"id", "amount", "state", "recipient", "created", "hash", "reason"})
                QVERIFY2(row[key].isString(), key);
            QVERIFY(stamp(row["created"].toString()) && numberFromText(row["amount"].toString()));
            QVERIFY(matches("^0x[0-9a-f]{64}$", row["hash"]));
            const QJsonObject receipt = get("/api/receipt/" + row["id"].toString(), token).object();
            QVERIFY(!receipt["explanation"].toString().isEmpty()
                    && !receipt["limitation"].toString().isEmpty());
        }

        QCOMPARE(send("POST", "/device/logout", "{}", J, token).status, 200);
        for (const QString &path : bearerPaths + QStringList{"/api/receipt/" + rows.first()["id"].toString()})
            QCOMPARE(get(path, token).status, 401);
        QCOMPARE(send("POST", "/device/logout", "{}", J, token).status, 401);
    }

    void decision_data()
    {
        QTest::addColumn<QString>("choice");
        QTest::addColumn<int>("claimStatus");
        addRow("approved", "approve", 200);
        addRow("denied", "deny", 403);
    }

    void decision()
    {
        QFETCH(QString, choice);
        const SignIn signIn = begin();
        QCOMPARE(decide(signIn, choice), 200);
        QTEST(claim(signIn).status, "claimStatus");
        // Decided once: the page offers no buttons, and a second decision is refused.
        const Reply page = get(signIn.approval.toString());
        QVERIFY(page.status == 200 && !page.body.contains("<form"));
        QCOMPARE(send("POST", signIn.approval.toString(), "decision=approve", F).status, 409);
    }

    void expiredToken()
    {
        auto service = running(400ms);
        QVERIFY(service);
        m_on = service.get();
        const QJsonObject session = signedIn();
        const qint64 left = qint64(session["expires"].toDouble()) - QDateTime::currentMSecsSinceEpoch();
        QVERIFY(session["token"].isString() && left <= 400);
        QTest::qWait(int(qMax<qint64>(0, left) + 20));
        for (const QString &path : bearerPaths) {
            const Reply refused = get(path, session["token"].toString());
            QVERIFY(refused.status == 401 && refused.isError());
            QCOMPARE(refused.header("WWW-Authenticate"), QByteArray("Bearer"));
        }
    }

    void marketMoves()
    {
        std::optional<QList<Quote>> previous;
        for (int round = 0; round < 5; ++round) {
            const QDateTime before = QDateTime::currentDateTimeUtc();
            const auto quotes = Markets::parse(get("/market-data").object());
            const QDateTime after = QDateTime::currentDateTimeUtc();
            QVERIFY(quotes);
            for (int i = 0; i < 3; ++i) {
                const Quote &q = quotes->at(i);
                QCOMPARE(q.pair(), QStringList({"BTC-USD", "ETH-USD", "SOL-USD"}).at(i));
                QVERIFY(q.bid() < q.price() && q.price() < q.ask() && q.low() <= q.price()
                        && q.price() <= q.high());
                QVERIFY(q.volume() > 0 && matches(R"(\.\d{3}Z$)", q.time()));
                QVERIFY(*stamp(q.time()) >= before.addMSecs(-1) && *stamp(q.time()) <= after);
                QVERIFY2(!previous || q.price() != previous->at(i).price(), qPrintable(q.pair()));
            }
            previous = quotes;
        }
    }

    void vaultPermission()
    {
        const auto status = [&] { return get("/contest/status").object(); };
        QVERIFY(numberFromText(status()["balanceUnits"].toString())
                && numberFromText(status()["agentBudgetUnits"].toString()));
        for (const bool active : {false, true}) {
            const Reply set = send("POST", "/contest/permission", active ? "active=true" : "active=false", F);
            QVERIFY(set.status == 303 && set.header("Location") == "/demo.html");
            QCOMPARE(status()["active"], QJsonValue(active));
            // The demo page offers the opposite switch.
            QVERIFY(get("/demo.html").body.contains(active ? R"(value="false")" : R"(value="true")"));
        }
    }

    void pages_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("mark");
        addRow("home", "/", QByteArray(R"(id="agent")"));
        addRow("demo", "/demo.html", QByteArray("<form"));
        addRow("competition", "/competition.html", QByteArray("/contest/status"));
    }

    void pages()
    {
        QFETCH(QString, path);
        QFETCH(QByteArray, mark);
        const Reply page = get(path);
        QVERIFY(page.status == 200 && page.header("Content-Type").startsWith("text/html"));
        QVERIFY(page.body.contains(mark) && !page.body.contains("<script"));
        QCOMPARE(page.header("X-Frame-Options"), QByteArray("DENY"));
    }

    void refused_data()
    {
        QTest::addColumn<QString>("request"); // method and path; {id} is a sign-in waiting for its owner
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("authorization"); // "live": the session's token
        QTest::addColumn<int>("status");
        const QByteArray none;
        const auto challenge = [](const QJsonValue &value) { return jsonText({{"challenge", value}}); };
        const auto claim = [](const QJsonValue &id, const QJsonValue &verifier) {
            return jsonText({{"id", id}, {"verifier", verifier}});
        };
        addRow("start: not JSON", "POST /device/start", J, QByteArray("{challenge:"), "", 400);
        addRow("start: array", "POST /device/start", J, QByteArray("[]"), "", 400);
        addRow("start: empty body", "POST /device/start", J, none, "", 400);
        addRow("start: no challenge", "POST /device/start", J, QByteArray("{}"), "", 400);
        addRow("start: challenge a number", "POST /device/start", J, challenge(12), "", 400);
        addRow("start: upper-case challenge", "POST /device/start", J, challenge(QString(64, u'A')), "", 400);
        addRow("start: 63 digits", "POST /device/start", J, challenge(QString(63, u'a')), "", 400);
        addRow("start: sent as text", "POST /device/start", QByteArray("text/plain"),
               challenge(goodChallenge), "", 415);
        addRow("start: over the cap", "POST /device/start", J,
               jsonText({{"challenge", goodChallenge}, {"pad", QString(16 * 1024, u'x')}}), "", 413);
        addRow("start: GET", "GET /device/start", none, none, "", 405);
        addRow("claim: unknown id", "POST /device/claim", J, claim("nobody", QString(64, u'0')), "", 404);
        addRow("claim: id a number", "POST /device/claim", J, claim(5, "abc"), "", 400);
        addRow("claim: no verifier", "POST /device/claim", J, jsonText({{"id", "{id}"}}), "", 400);
        addRow("claim: verifier null", "POST /device/claim", J, claim("{id}", QJsonValue::Null), "", 400);
        addRow("status: no token", "GET /device/status", none, none, "", 401);
        addRow("status: unknown token", "GET /device/status", none, none, QString(64, u'f'), 401);
        addRow("status: Basic scheme", "GET /device/status", none, none, "Basic live", 401);
        addRow("account: POST", "POST /api/account", J, QByteArray("{}"), "live", 405);
        addRow("history: no token", "GET /api/history", none, none, "", 401);
        addRow("receipt: unknown id", "GET /api/receipt/pay_nothing", none, none, "live", 404);
        addRow("receipt: empty id", "GET /api/receipt/", none, none, "live", 404);
        addRow("receipt: no token", "GET /api/receipt/pay_nothing", none, none, "", 401);
        addRow("logout: no token", "POST /device/logout", J, QByteArray("{}"), "", 401);
        addRow("logout: body not JSON", "POST /device/logout", J, QByteArray("{"), "live", 400);
        addRow("portal: unknown id", "GET /portal/nobody", none, none, "", 404);
        addRow("portal: approve unknown id", "POST /portal/nobody", F, QByteArray("decision=approve"), "",
               404);
        addRow("portal: odd decision", "POST /portal/{id}", F, QByteArray("decision=maybe"), "", 400);
        addRow("portal: no decision", "POST /portal/{id}", F, QByteArray("other=1"), "", 400);
        addRow("portal: two decisions", "POST /portal/{id}", F, QByteArray("decision=deny&decision=approve"),
               "", 400);
        addRow("portal: sent as JSON", "POST /portal/{id}", J, jsonText({{"decision", "approve"}}), "", 415);
        addRow("permission: odd value", "POST /contest/permission", F, QByteArray("active=yes"), "", 400);
        addRow("permission: GET", "GET /contest/permission", none, none, "", 405);
        addRow("market data: POST", "POST /market-data", J, QByteArray("{}"), "", 405);
        addRow("vault: DELETE", "DELETE /contest/status", none, none, "", 405);
        addRow("unknown path", "GET /device/nothing", none, none, "", 404);
    }

    void refused()
    {
        QFETCH(QString, request);
        QFETCH(QByteArray, type);
        QFETCH(QByteArray, body);
        QFETCH(QString, authorization);
        const SignIn waiting = begin();
        const Reply reply =
            send(request.section(u' ', 0, 0).toLatin1(), request.section(u' ', 1).replace("{id}", waiting.id),
                 body.replace("{id}", waiting.id.toLatin1()), type, authorization.replace("live", m_token));
        QTEST(reply.status, "status");
        QVERIFY2(reply.isError(), reply.body.constData());
        QVERIFY(reply.status != 401 || reply.header("WWW-Authenticate") == "Bearer");
        QVERIFY(reply.status != 405 || !reply.header("Allow").isEmpty());
        // A refused request changes nothing: the waiting sign-in is still undecided, the session
        // still live, and the service still answers.
        QCOMPARE(claim(waiting).object(), QJsonObject({{"pending", true}}));
        QCOMPARE(get("/device/status", m_token).status, 200);
    }

    // Requests no HTTP client library would send.
    void raw_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<QByteArray>("answer"); // how it starts; empty: the connection is simply closed
        QTest::addColumn<QByteArray>("mark");   // in the answer
        const QByteArray get = "GET /market-data HTTP/1.1\r\nHost: ";
        const QByteArray start = jsonText({{"challenge", goodChallenge}});
        addRow("foreign host", get + "rebound.example:{port}\r\n\r\n", QByteArray("HTTP/1.1 421"),
               QByteArray("error"));
        addRow("foreign port", get + "127.0.0.1:1\r\n\r\n", QByteArray("HTTP/1.1 421"), QByteArray("error"));
        addRow("localhost", get + "localhost:{port}\r\n\r\n", QByteArray("HTTP/1.1 200"),
               QByteArray("quotes"));
        addRow("no host", QByteArray("GET /market-data HTTP/1.0\r\n\r\n"), QByteArray("HTTP/1.1 400"),
               QByteArray("error"));
        addRow("not HTTP", QByteArray::fromHex("160301020000") + "garbage\r\n\r\n", QByteArray(),
               QByteArray());
        // The portal is offered on the host name the app used.
        addRow("start through localhost",
               "POST /device/start HTTP/1.1\r\nHost: localhost:{port}\r\nContent-Type: "
               "application/json\r\nContent-Length: "
                   + QByteArray::number(start.size()) + "\r\n\r\n" + start,
               QByteArray("HTTP/1.1 200"), QByteArray("\"approvalUrl\":\"http://localhost:{port}/portal/"));
    }

    void raw()
    {
        QFETCH(QByteArray, request);
        QFETCH(QByteArray, answer);
        QFETCH(QByteArray, mark);
        const QByteArray port = QByteArray::number(m_service->port());
        QTcpSocket socket;
        QByteArray got;
        connect(&socket, &QTcpSocket::readyRead, this, [&] { got += socket.readAll(); });
        socket.connectToHost(QHostAddress::LocalHost, m_service->port());
        QTRY_COMPARE(socket.state(), QAbstractSocket::ConnectedState);
        socket.write(request.replace("{port}", port));
        if (answer.isEmpty())
            QTRY_COMPARE(socket.state(), QAbstractSocket::UnconnectedState);
        else
            QTRY_VERIFY(got.contains(mark.replace("{port}", port)));
        QVERIFY2(got.startsWith(answer), got.constData());
        QCOMPARE(get("/market-data").status, 200);
    }

    void historyPadded_data()
    {
        QTest::addColumn<qsizetype>("bytes");
        addRow("a few kB", qsizetype(5000));
        addRow("largest the app takes", qsizetype(131071));
        addRow("a megabyte", qsizetype(1 << 20));
    }

    void historyPadded()
    {
        QFETCH(qsizetype, bytes);
        auto padded = running(900s, bytes);
        QVERIFY(padded);
        m_on = padded.get();
        const QString session = signedIn()["token"].toString();
        const QByteArray history = get("/api/history", session).body;
        QCOMPARE(history.size(), bytes);
        const QJsonArray rows = QJsonDocument::fromJson(history).array();
        QVERIFY(!rows.isEmpty());
        for (const QJsonValue &row : rows)
            QVERIFY(row["id"].isString() && row["created"].isString());
        // The stretched last payment is a payment like any other.
        QCOMPARE(get("/api/receipt/" + rows.last()["id"].toString(), session).status, 200);
    }

    void historyTooSmall()
    {
        OwnerRecords records(QDateTime::currentDateTimeUtc());
        const QByteArray before = records.history();
        const qsizetype smallest = records.smallestPaddedHistory();
        QVERIFY(!records.padHistory(smallest - 1));
        QCOMPARE(records.history(), before);
        QVERIFY(records.padHistory(smallest));
        QCOMPARE(records.history().size(), smallest);
        QCOMPARE(QJsonDocument::fromJson(records.history()).array().size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestLocalService)
#include "tst_localservice.moc"
