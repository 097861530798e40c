#include "quiet.h"
#include "serviceclient.h"

#include <QJsonArray>
#include <QTcpSocket>
#include <QTest>

namespace {

enum class Auth { None, Live, Unknown, Basic };

const QString goodChallenge(64, u'a');

QByteArray jsonText(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace

Q_DECLARE_METATYPE(Auth)

class TestServiceRefusals : public QObject
{
    Q_OBJECT

    ServiceClient client;
    std::unique_ptr<LocalService> service;
    QString token;

    // After every refusal the service must still answer a plain request.
    void stillServes() { QCOMPARE(client.call(*service, "GET", "/market-data").status, 200); }

private slots:
    void initTestCase()
    {
        service = running();
        QVERIFY(service);
        qint64 expires = 0;
        client.signedIn(*service, token, expires);
    }

    void init() { failOnAnyWarning(); }

    void refused_data()
    {
        QTest::addColumn<QByteArray>("method");
        QTest::addColumn<QString>("path"); // {id} stands for a sign-in waiting for its owner
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<Auth>("auth");
        QTest::addColumn<int>("status");

        const QByteArray json = "application/json";
        const QByteArray form = "application/x-www-form-urlencoded";
        const QByteArray none;
        const auto add = [](const char *name, const char *method, const char *path, const QByteArray &type,
                            const QByteArray &body, Auth auth, int status) {
            QTest::newRow(name) << QByteArray(method) << QString::fromLatin1(path) << type << body << auth
                                << status;
        };
        add("start: not JSON", "POST", "/device/start", json, "{challenge:", Auth::None, 400);
        add("start: array", "POST", "/device/start", json, "[]", Auth::None, 400);
        add("start: empty body", "POST", "/device/start", json, none, Auth::None, 400);
        add("start: no challenge", "POST", "/device/start", json, "{}", Auth::None, 400);
        add("start: challenge a number", "POST", "/device/start", json, jsonText({{"challenge", 12}}),
            Auth::None, 400);
        add("start: upper-case challenge", "POST", "/device/start", json,
            jsonText({{"challenge", QString(64, u'A')}}), Auth::None, 400);
        add("start: 63 digits", "POST", "/device/start", json, jsonText({{"challenge", QString(63, u'a')}}),
            Auth::None, 400);
        add("start: sent as text", "POST", "/device/start", "text/plain",
            jsonText({{"challenge", goodChallenge}}), Auth::None, 415);
        add("start: over the cap", "POST", "/device/start", json,
            jsonText({{"challenge", goodChallenge}, {"pad", QString(16 * 1024, u'x')}}), Auth::None, 413);
        add("start: GET", "GET", "/device/start", none, none, Auth::None, 405);
        add("claim: unknown id", "POST", "/device/claim", json, claimBody("nobody", QString(64, u'0')),
            Auth::None, 404);
        add("claim: id a number", "POST", "/device/claim", json, jsonText({{"id", 5}, {"verifier", "abc"}}),
            Auth::None, 400);
        add("claim: no verifier", "POST", "/device/claim", json, jsonText({{"id", "{id}"}}), Auth::None, 400);
        add("claim: verifier null", "POST", "/device/claim", json,
            jsonText({{"id", "{id}"}, {"verifier", QJsonValue::Null}}), Auth::None, 400);
        add("status: no token", "GET", "/device/status", none, none, Auth::None, 401);
        add("status: unknown token", "GET", "/device/status", none, none, Auth::Unknown, 401);
        add("status: Basic scheme", "GET", "/device/status", none, none, Auth::Basic, 401);
        add("account: POST", "POST", "/api/account", json, "{}", Auth::Live, 405);
        add("history: no token", "GET", "/api/history", none, none, Auth::None, 401);
        add("receipt: unknown id", "GET", "/api/receipt/pay_nothing", none, none, Auth::Live, 404);
        add("receipt: empty id", "GET", "/api/receipt/", none, none, Auth::Live, 404);
        add("receipt: no token", "GET", "/api/receipt/pay_nothing", none, none, Auth::None, 401);
        add("logout: no token", "POST", "/device/logout", json, "{}", Auth::None, 401);
        add("logout: body not JSON", "POST", "/device/logout", json, "{", Auth::Live, 400);
        add("portal: unknown id", "GET", "/portal/nobody", none, none, Auth::None, 404);
        add("portal: approve unknown id", "POST", "/portal/nobody", form, "decision=approve", Auth::None,
            404);
        add("portal: odd decision", "POST", "/portal/{id}", form, "decision=maybe", Auth::None, 400);
        add("portal: no decision", "POST", "/portal/{id}", form, "other=1", Auth::None, 400);
        add("portal: two decisions", "POST", "/portal/{id}", form, "decision=deny&decision=approve",
            Auth::None, 400);
        add("portal: sent as JSON", "POST", "/portal/{id}", json, jsonText({{"decision", "approve"}}),
            Auth::None, 415);
        add("permission: odd value", "POST", "/contest/permission", form, "active=yes", Auth::None, 400);
        add("permission: GET", "GET", "/contest/permission", none, none, Auth::None, 405);
        add("market data: POST", "POST", "/market-data", json, "{}", Auth::None, 405);
        add("vault: DELETE", "DELETE", "/contest/status", none, none, Auth::None, 405);
        add("unknown path", "GET", "/device/nothing", none, none, Auth::None, 404);
    }

    void refused()
    {
        QFETCH(QByteArray, method);
        QFETCH(QString, path);
        QFETCH(QByteArray, type);
        QFETCH(QByteArray, body);
        QFETCH(Auth, auth);
        QFETCH(int, status);

        SignIn waiting;
        client.begin(*service, waiting);
        path.replace("{id}", waiting.id);
        body.replace("{id}", waiting.id.toLatin1());
        Headers headers;
        if (!type.isEmpty())
            headers.append({"Content-Type", type});
        if (auth == Auth::Live)
            headers += bearer(token);
        else if (auth == Auth::Unknown)
            headers += bearer(QString(64, u'f'));
        else if (auth == Auth::Basic)
            headers.append({"Authorization", "Basic " + token.toLatin1()});

        const Exchanged reply = client.call(*service, method, path, body, headers);
        QCOMPARE(reply.status, status);
        QVERIFY2(isErrorReply(reply), reply.body.constData());
        if (status == 401)
            QCOMPARE(reply.header("WWW-Authenticate"), QByteArray("Bearer"));
        if (status == 405)
            QVERIFY(!reply.header("Allow").isEmpty());
        stillServes();
        // A refused request changes nothing: the waiting sign-in is still undecided, the
        // session still live.
        QCOMPARE(
            client
                .call(*service, "POST", "/device/claim", claimBody(waiting.id, waiting.verifier), jsonType())
                .object(),
            QJsonObject({{"pending", true}}));
        QCOMPARE(client.call(*service, "GET", "/device/status", {}, bearer(token)).status, 200);
    }

    // Requests no HTTP client library would send.
    void raw_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<QByteArray>("statusLine"); // empty: the connection is simply closed
        QTest::addColumn<QByteArray>("mark");       // in the answer

        QTest::newRow("foreign host") << QByteArray("GET /market-data HTTP/1.1\r\nHost: "
                                                    "rebound.example:{port}\r\n\r\n")
                                      << QByteArray("HTTP/1.1 421") << QByteArray("error");
        QTest::newRow("foreign port") << QByteArray("GET /market-data HTTP/1.1\r\nHost: "
                                                    "127.0.0.1:1\r\n\r\n")
                                      << QByteArray("HTTP/1.1 421") << QByteArray("error");
        QTest::newRow("localhost") << QByteArray("GET /market-data HTTP/1.1\r\nHost: "
                                                 "localhost:{port}\r\n\r\n")
                                   << QByteArray("HTTP/1.1 200") << QByteArray("quotes");
        QTest::newRow("no host") << QByteArray("GET /market-data HTTP/1.0\r\n\r\n")
                                 << QByteArray("HTTP/1.1 400") << QByteArray("error");
        QTest::newRow("not HTTP") << QByteArray::fromHex("160301020000") + "garbage\r\n\r\n"
                                  << QByteArray() << QByteArray();
        // The portal is offered on the host name the app used.
        const QByteArray start = jsonText({{"challenge", goodChallenge}});
        QTest::newRow("start through localhost")
            << "POST /device/start HTTP/1.1\r\nHost: localhost:{port}\r\nContent-Type: "
               "application/json\r\nContent-Length: "
                   + QByteArray::number(start.size()) + "\r\n\r\n" + start
            << QByteArray("HTTP/1.1 200") << QByteArray("\"approvalUrl\":\"http://localhost:{port}/portal/");
    }

    void raw()
    {
        QFETCH(QByteArray, request);
        QFETCH(QByteArray, statusLine);
        QFETCH(QByteArray, mark);
        request.replace("{port}", QByteArray::number(service->port()));
        mark.replace("{port}", QByteArray::number(service->port()));

        QTcpSocket socket;
        QByteArray answer;
        connect(&socket, &QTcpSocket::readyRead, this, [&] { answer += socket.readAll(); });
        socket.connectToHost(QHostAddress::LocalHost, service->port());
        QTRY_COMPARE(socket.state(), QAbstractSocket::ConnectedState);
        socket.write(request);
        if (statusLine.isEmpty()) {
            QTRY_COMPARE(socket.state(), QAbstractSocket::UnconnectedState);
            QVERIFY(answer.isEmpty());
        } else {
            QTRY_VERIFY(answer.contains(mark));
            QVERIFY2(answer.startsWith(statusLine), answer.constData());
        }
        stillServes();
    }

    void historyPadded_data()
    {
        QTest::addColumn<qsizetype>("bytes");
        QTest::newRow("a few kB") << qsizetype(5000);
        QTest::newRow("largest the app takes") << qsizetype(131071);
        QTest::newRow("a megabyte") << qsizetype(1 << 20);
    }

    void historyPadded()
    {
        QFETCH(qsizetype, bytes);
        auto padded = running(std::chrono::seconds(900), bytes);
        QVERIFY(padded);
        QString session;
        qint64 expires = 0;
        client.signedIn(*padded, session, expires);
        if (QTest::currentTestFailed())
            return;
        const Exchanged history = client.call(*padded, "GET", "/api/history", {}, bearer(session));
        QCOMPARE(history.status, 200);
        QCOMPARE(history.body.size(), bytes);
        const QJsonDocument document = QJsonDocument::fromJson(history.body);
        QVERIFY(document.isArray());
        for (const QJsonValue &row : document.array())
            QVERIFY(row.isObject() && row["id"].isString() && row["created"].isString());
        // The stretched last payment is a payment like any other.
        const QString last = document.array().last()["id"].toString();
        QCOMPARE(client.call(*padded, "GET", "/api/receipt/" + last, {}, bearer(session)).status, 200);
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

QTEST_GUILESS_MAIN(TestServiceRefusals)
#include "tst_servicerefusals.moc"
