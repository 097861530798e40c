#include "localservice.h"
#include "quiet.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTest>

#include <array>
#include <map>

namespace {

constexpr char J[] = "Content-Type: application/json\r\n";
constexpr char F[] = "Content-Type: application/x-www-form-urlencoded\r\n";
// What a browser adds to a form it posts from one of the service's own pages.
constexpr char B[] = "Origin: http://127.0.0.1:{port}\r\nSec-Fetch-Site: same-origin\r\n";
constexpr std::chrono::milliseconds lifetime(60000);

QByteArray jsonText(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// A device sign-in under way as the app holds it: the service's answer to the start ("id",
// "code", "approvalUrl"), the "verifier" and the "portal" page's path.
using SignIn = QJsonObject;

// An answer as it came off the wire.
struct Reply
{
    QByteArray raw;

    int status() const { return raw.startsWith("HTTP/1.1 ") ? raw.mid(9, 3).toInt() : 0; }
    QByteArray header(const char *name) const
    {
        const QRegularExpression line(QStringLiteral("\r\n%1: *([^\r]*)").arg(QLatin1String(name)),
                                      QRegularExpression::CaseInsensitiveOption);
        return line.match(QString::fromLatin1(raw.left(raw.indexOf("\r\n\r\n")))).captured(1).toLatin1();
    }
    QByteArray body() const { return raw.mid(raw.indexOf("\r\n\r\n") + 4); }
    bool whole() const
    {
        return raw.contains("\r\n\r\n") && body().size() >= header("Content-Length").toInt();
    }
    QJsonObject object() const { return QJsonDocument::fromJson(body()).object(); }
    // A refusal is a small JSON object that names the fault.
    bool isError() const
    {
        return header("Content-Type").startsWith("application/json") && body().size() < 200
               && !object()["error"].toString().isEmpty();
    }
};

} // namespace

// The local service driven over the wire as the app and the owner's browser drive it.
class TestLocalService : public QObject
{
    Q_OBJECT

    LocalService m_service{OwnerRecords(QDateTime::currentDateTimeUtc()), lifetime};
    qint64 m_now = QDateTime::currentMSecsSinceEpoch(); // the service's clock
    std::map<QByteArray, QByteArray> m_held;            // what {name} stands for in a request

    // One request on a connection of its own: the method and path, header lines and the body, where
    // {name} stands for m_held[name]. Host and Content-Length are added unless `headers` has them.
    Reply send(QByteArray request, QByteArray headers = {}, QByteArray body = {})
    {
        for (QByteArray *part : {&request, &headers, &body}) {
            for (const auto &[name, value] : m_held)
                part->replace('{' + name + '}', value);
        }
        if (!headers.contains("Host: "))
            headers += "Host: 127.0.0.1:" + m_held["port"] + "\r\n";
        if (!headers.contains("Content-Length: "))
            headers += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, m_service.port());
        socket.write(request + " HTTP/1.1\r\n" + headers + "\r\n" + body);
        Reply reply;
        QEventLoop loop;
        connect(&socket, &QTcpSocket::readyRead, &loop, [&] {
            reply.raw += socket.readAll();
            if (reply.whole())
                loop.quit();
        });
        connect(&socket, &QTcpSocket::disconnected, &loop, &QEventLoop::quit);
        loop.exec();
        return reply;
    }
    Reply get(const QByteArray &path) { return send("GET " + path); }
    Reply claim(const SignIn &signIn)
    {
        return send("POST /device/claim", J,
                    jsonText({{"id", signIn["id"]}, {"verifier", signIn["verifier"]}}));
    }

    // Starts a sign-in with a fresh verifier; "form" is the token of its portal page's form.
    SignIn begin()
    {
        const QByteArray verifier = QByteArray::number(QRandomGenerator::global()->generate64(), 16);
        const QByteArray challenge = QCryptographicHash::hash(verifier, QCryptographicHash::Sha256).toHex();
        SignIn signIn =
            send("POST /device/start", J, jsonText({{"challenge", QString::fromLatin1(challenge)}})).object();
        signIn["verifier"] = QString::fromLatin1(verifier);
        signIn["portal"] = QUrl(signIn["approvalUrl"].toString()).path();
        signIn["form"] = formToken(get(signIn["portal"].toString().toLatin1()));
        return signIn;
    }

    // The token that the form on a page carries.
    static QString formToken(const Reply &page)
    {
        static const QRegularExpression hidden("<input type=\"hidden\" name=\"token\" value=\"([^\"]+)\">");
        return hidden.match(QString::fromUtf8(page.body())).captured(1);
    }

    // Opens the portal page and approves as a browser would; the status of that post, or 0 unless
    // the page shows the match code and cannot be framed.
    int approve(const SignIn &signIn)
    {
        const QByteArray portal = signIn["portal"].toString().toLatin1();
        const Reply page = get(portal);
        const QByteArray code = signIn["code"].toString().toUtf8();
        if (!page.header("Content-Type").startsWith("text/html") || page.header("X-Frame-Options") != "DENY"
            || page.header("Referrer-Policy") != "same-origin" || code.isEmpty()
            || !page.body().contains(code))
            return 0;
        return send("POST " + portal, QByteArray(F) + B,
                    "decision=approve&token=" + formToken(page).toLatin1())
            .status();
    }

    // A sign-in approved and claimed, with its token; a claim of it is held as {done}.
    QByteArray signedIn()
    {
        const SignIn signIn = begin();
        m_held["done"] = jsonText({{"id", signIn["id"]}, {"verifier", signIn["verifier"]}});
        return approve(signIn) == 200 ? claim(signIn).object()["token"].toString().toLatin1() : QByteArray();
    }

private slots:
    void initTestCase()
    {
        m_service.clock = [this] { return m_now; };
        QVERIFY(m_service.start());
        m_held["port"] = QByteArray::number(m_service.port());
        m_held["expired"] = signedIn();
        m_now += lifetime.count(); // what was issued so far has expired
        m_held["out"] = signedIn();
        QCOMPARE(send("POST /device/logout", "Authorization: Bearer {out}\r\n").status(), 200);
    }

    void init() { failOnAnyWarning(); }

    void refused_data()
    {
        QTest::addColumn<QString>("request"); // method and path
        QTest::addColumn<QString>("headers"); // {id}: a sign-in waiting for its owner; {live}: a session
        QTest::addColumn<QString>("body");
        QTest::addColumn<int>("status");
        const QString token = QStringLiteral("Authorization: Bearer {%1}\r\n");
        const QString none;
        // Refused while it arrives: Qt's server alone would take in all 64 MiB first.
        addRow("start: 64 MiB on the way", "POST /device/start", QString(J) + "Content-Length: 67108864\r\n",
               QString(32 * 1024, u'x'), 413);
        addRow("claim: wrong verifier", "POST /device/claim", J, R"({"id":"{id}","verifier":"x"})", 403);
        addRow("claim: claimed already", "POST /device/claim", J, "{done}", 409);
        addRow("status: no token", "GET /device/status", none, none, 401);
        addRow("status: Basic scheme", "GET /device/status", "Authorization: Basic {live}\r\n", none, 401);
        addRow("account: expired token", "GET /api/account", token.arg("expired"), none, 401);
        addRow("history: signed-out token", "GET /api/history", token.arg("out"), none, 401);
        // Another site's page that posts a form here, knowing the sign-in's id.
        const QString browser = QString(F) + B;
        const auto with = [](const char *line) { return QString(F) + line + "\r\n"; };
        const QString portal = QStringLiteral("POST /portal/{id}");
        const QString approve = "decision=approve&token={form}";
        addRow("portal: no token", portal, browser, "decision=approve", 403);
        addRow("portal: wrong token", portal, browser, "decision=approve&token=0{form}", 403);
        addRow("portal: another sign-in's token", portal, browser, "decision=approve&token={other}", 403);
        addRow("portal: decided already", "POST {past}", browser, "decision=deny&token={pastForm}", 409);
        addRow("portal: cross-site Origin", portal, with("Origin: http://evil.example"), approve, 403);
        addRow("portal: hidden Origin", portal, with("Origin: null"), approve, 403);
        addRow("portal: Origin on another port", portal, with("Origin: http://127.0.0.1:1"), approve, 403);
        addRow("portal: Sec-Fetch-Site cross-site", portal, with("Sec-Fetch-Site: cross-site"), approve, 403);
        addRow("portal: Sec-Fetch-Site same-site", portal, with("Sec-Fetch-Site: same-site"), approve, 403);
        const QString permission = QStringLiteral("POST /contest/permission");
        const QString demo = "active=false&token={demo}";
        addRow("permission: no token", permission, browser, "active=false", 403);
        addRow("permission: wrong token", permission, browser, "active=false&token={form}", 403);
        addRow("permission: cross-site Origin", permission, with("Origin: http://evil.example"), demo, 403);
        addRow("permission: Sec-Fetch-Site same-site", permission, with("Sec-Fetch-Site: same-site"), demo,
               403);
        // A page elsewhere whose host name resolves to 127.0.0.1 must not reach the service.
        addRow("foreign host", "GET /market-data", "Host: rebound.example:{port}\r\n", none, 421);
    }

    void refused()
    {
        QFETCH(QString, request);
        QFETCH(QString, headers);
        QFETCH(QString, body);
        const SignIn waiting = begin();
        m_held["id"] = waiting["id"].toString().toLatin1();
        m_held["form"] = waiting["form"].toString().toLatin1();
        const SignIn decided = begin();
        m_held["past"] = decided["portal"].toString().toLatin1();
        m_held["pastForm"] = decided["form"].toString().toLatin1();
        QCOMPARE(approve(decided), 200);
        m_held["other"] = begin()["form"].toString().toLatin1();
        m_held["demo"] = formToken(get("/demo.html")).toLatin1();
        m_held["live"] = signedIn();
        const bool active = m_service.agentActive();
        const Reply reply = send(request.toUtf8(), headers.toUtf8(), body.toUtf8());
        QTEST(reply.status(), "status");
        QVERIFY2(reply.isError(), reply.raw.constData());
        QVERIFY(reply.status() != 401 || reply.header("WWW-Authenticate") == "Bearer");
        // Refused, it changed nothing: the waiting sign-in is still undecided, the session live.
        QCOMPARE(claim(waiting).object(), QJsonObject({{"pending", true}}));
        QCOMPARE(send("GET /device/status", "Authorization: Bearer {live}\r\n").status(), 200);
        QCOMPARE(m_service.agentActive(), active);
    }

    // Connections beyond the cap are closed as they come; one that sends nothing is closed.
    void connections()
    {
        LocalService capped(OwnerRecords(QDateTime::currentDateTimeUtc()), lifetime);
        LocalService idling(OwnerRecords(QDateTime::currentDateTimeUtc()), lifetime);
        capped.setConnectionLimits(2, std::chrono::hours(1));
        idling.setConnectionLimits(8, std::chrono::milliseconds(200));
        QVERIFY(capped.start() && idling.start());
        std::array<QTcpSocket, 4> sockets; // three to the capped service, a silent one to the other
        for (int i = 0; i < 4; ++i) {
            sockets[i].connectToHost(QHostAddress::LocalHost, (i < 3 ? capped : idling).port());
            QVERIFY(sockets[i].waitForConnected());
        }
        QTRY_VERIFY(sockets[2].state() == QAbstractSocket::UnconnectedState
                    && sockets[3].state() == QAbstractSocket::UnconnectedState);
        QVERIFY(sockets[3].readAll().isEmpty());
        // The two within the cap are served.
        sockets[0].write("GET /contest/status HTTP/1.1\r\nHost: 127.0.0.1:"
                         + QByteArray::number(capped.port()) + "\r\n\r\n");
        QByteArray answer;
        QTRY_VERIFY((answer += sockets[0].readAll()).size() > 12);
        QVERIFY2(answer.startsWith("HTTP/1.1 200 "), answer.constData());
        QCOMPARE(sockets[1].state(), QAbstractSocket::ConnectedState);
    }
};

QTEST_GUILESS_MAIN(TestLocalService)
#include "tst_localservice.moc"
