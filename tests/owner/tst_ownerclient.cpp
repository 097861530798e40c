#include "faultypeer.h"
#include "owner/ownerclient.h"
#include "quiet.h"

#include <QCoroTask>
#include <QTest>

using Fault = FaultyPeer::Fault;
using Play = FaultyPeer::Play;

namespace {

// The result as one word: "ok", the session's error, or "other" for a failure of transport or JSON.
QString outcome(const RequestResult &result)
{
    if (std::holds_alternative<QJsonObject>(result))
        return "ok";
    const auto *error = std::get_if<SessionError>(&std::get<RequestError>(result));
    static const QStringList names{"badServerResponse", "userAuthenticationRequired", "unsendable"};
    return error ? names.value(int(*error)) : "other";
}

// A GET as it must arrive; "{host}" stands for the peer's host and port.
QByteArray get(const QByteArray &target, const QByteArray &token = {})
{
    return "GET " + target + " HTTP/1.1\r\nHost: {host}\r\n"
           + (token.isEmpty() ? QByteArray() : "Authorization: Bearer " + token + "\r\n") + "\r\n";
}

} // namespace

class TestOwnerClient : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    // What reaches the peer, byte for byte; an empty text: nothing at all, the request fails.
    void wire_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("post");
        QTest::addColumn<QString>("token");
        QTest::addColumn<QString>("origin"); // instead of the peer's, "{host}" standing for it
        QTest::addColumn<QByteArray>("sent");
        const auto row = [](const char *name, const QString &path, const QByteArray &sent, bool post = false,
                            const QString &token = {}, const QString &origin = {}) {
            QTest::newRow(name) << path << post << token << origin << sent;
        };
        // Only Host, Authorization with a token, and Content-Type and Content-Length with a body.
        row("GET with a token", "/api/account", get("/api/account", "t0k.x"), false, "t0k.x");
        row("POST with a body and a token", "/device/claim",
            "POST /device/claim HTTP/1.1\r\nHost: {host}\r\nAuthorization: Bearer t0k\r\n"
            "Content-Type: application/json\r\nContent-Length: 26\r\n\r\n"
            R"({"id":"s1","verifier":"v"})",
            true, "t0k");
        row("POST without a token", "/device/logout",
            "POST /device/logout HTTP/1.1\r\nHost: {host}\r\nContent-Type: application/json\r\n"
            "Content-Length: 2\r\n\r\n{}",
            true);
        row("token with a line break", "/api/account", {}, false, "t\r\nX-Injected: 1");
        row("token with a NUL", "/api/account", {}, false, QString::fromLatin1("t\0x", 3));
        // A receipt identifier goes as given, or not at all when it could leave "/api/receipt/" or
        // reach the service as anything else than given.
        for (const QByteArray id : {"p1", "", "a%41b", "a%2fb", "a/b", "...", "a.b", "~p-1_(x)!"})
            QTest::addRow("receipt \"%s\"", id.constData())
                << QString("/api/receipt/" + id) << false << QString() << QString()
                << get("/api/receipt/" + id);
        for (const char *id :
             {"../../device/logout", "p1/..", ".", "p1/./x", "%2e%2E", ".%2e/x", "..%2fx", "..%5cx", "..;x/y",
              "a b", "a#b", "a?b", "a\tb", "a\nb", "a\\b", "a%4", "a%zz", "\xc3\xa9"})
            QTest::addRow("receipt \"%s\"", id)
                << "/api/receipt/" + QString::fromUtf8(id) << false << QString() << QString() << QByteArray();
        // https, or http to a loopback host; nothing else leaves.
        row("localhost", "/api/account", get("/api/account"), false, {}, "http://localhost:{port}");
        row("ftp", "/api/account", {}, false, {}, "ftp://{host}");
        row("http elsewhere", "/api/account", {}, false, {}, "http://kelvra.invalid:{port}");
    }

    void wire()
    {
        QFETCH(QString, path);
        QFETCH(bool, post);
        QFETCH(QString, token);
        QFETCH(QString, origin);
        QFETCH(QByteArray, sent);
        FaultyPeer peer({});
        const QString host = "127.0.0.1:" + QString::number(peer.serverPort());
        const QString port = QString::number(peer.serverPort());
        const Service at{origin.isEmpty() ? peer.origin()
                                          : QString(origin).replace("{host}", host).replace("{port}", port)};
        if (origin.startsWith("http://localhost"))
            sent.replace("{host}", "localhost:" + port.toLatin1());
        OwnerClient client(at);
        const std::optional<Fields> body =
            post ? std::optional(path == "/device/claim" ? Fields{{"id", "s1"}, {"verifier", "v"}} : Fields{})
                 : std::nullopt;
        const RequestResult result = QCoro::waitFor(client.send(path, body, token));
        QCOMPARE(peer.requests(),
                 sent.isEmpty() ? QList<QByteArray>() : QList{sent.replace("{host}", host.toLatin1())});
        QCOMPARE(outcome(result) == "unsendable", sent.isEmpty());
    }

    // Replies, framed by their length or in chunks, against the size limit and the 401 check,
    // and a head without end refused for its size, not left to the peer's close; the other
    // faults are played to every request through the stores that make it.
    void transport_data()
    {
        QTest::addColumn<Play>("play");
        QTest::addColumn<QString>("result");
        const QByteArray limit = QByteArray("{}").leftJustified(131072); // valid JSON
        for (const bool chunked : {false, true}) {
            const auto row = [chunked](const char *name, const Play &play, const char *result) {
                QTest::addRow("%s%s", chunked ? "chunked " : "", name) << play << QString(result);
            };
            row("202", {.status = 202, .body = "{}", .chunked = chunked}, "ok");
            row("204", {.status = 204, .body = "{}", .chunked = chunked}, "badServerResponse");
            row("one byte below the limit", {.body = limit.chopped(1), .chunked = chunked}, "ok");
            row("at the limit", {.body = limit, .chunked = chunked}, "badServerResponse");
            // The size test comes before the 401 test, so an oversized 401 does not end the session.
            row("401 at the limit", {.status = 401, .body = limit, .chunked = chunked}, "badServerResponse");
        }
        addRow("endless head", Play{.fault = Fault::EndlessHead}, QString("badServerResponse"));
    }

    void transport()
    {
        QFETCH(Play, play);
        QFETCH(QString, result);
        FaultyPeer peer({});
        play.path = "/r";
        peer.play(play);
        OwnerClient client(Service{peer.origin()});
        QCOMPARE(outcome(QCoro::waitFor(client.send("/r", std::nullopt, "t"))), result);
        QCOMPARE(peer.count("/r"), 1);
        QTRY_VERIFY(play.fault != Fault::EndlessHead || peer.endlessClosed());
    }
};

QTEST_GUILESS_MAIN(TestOwnerClient)
#include "tst_ownerclient.moc"
