#include "serviceclient.h"

#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTest>

namespace {

QString newVerifier()
{
    QByteArray bytes(32, '\0');
    for (char &b : bytes)
        b = char(QRandomGenerator::global()->bounded(256));
    return QString::fromLatin1(bytes.toHex());
}

} // namespace

QByteArray claimBody(const QString &id, const QString &verifier)
{
    return QJsonDocument(QJsonObject{{"id", id}, {"verifier", verifier}}).toJson();
}

bool isErrorReply(const Exchanged &reply)
{
    return reply.contentType.startsWith("application/json")
           && !reply.object().value("error").toString().isEmpty();
}

std::unique_ptr<LocalService> running(std::chrono::milliseconds lifetime,
                                      std::optional<qsizetype> historyBytes)
{
    OwnerRecords records(QDateTime::currentDateTimeUtc());
    if (historyBytes && !records.padHistory(*historyBytes))
        return nullptr;
    auto service = std::make_unique<LocalService>(std::move(records), lifetime);
    return service->start() ? std::move(service) : nullptr;
}

Exchanged ServiceClient::call(LocalService &service, const QByteArray &method, const QString &path,
                              const QByteArray &body, const Headers &headers)
{
    return open(QUrl(service.origin() + path), method, body, headers);
}

Exchanged ServiceClient::open(const QUrl &url, const QByteArray &method, const QByteArray &body,
                              const Headers &headers)
{
    return QCoro::waitFor(exchange(&m_client, method, url, body, headers));
}

void ServiceClient::begin(LocalService &service, SignIn &signIn)
{
    signIn.verifier = newVerifier();
    const QByteArray challenge =
        QCryptographicHash::hash(signIn.verifier.toLatin1(), QCryptographicHash::Sha256).toHex();
    const Exchanged started =
        call(service, "POST", "/device/start",
             QJsonDocument(QJsonObject{{"challenge", QString::fromLatin1(challenge)}}).toJson(), jsonType());
    QCOMPARE(started.status, 200);
    const QJsonObject object = started.object();
    QVERIFY(object.value("id").isString() && object.value("code").isString());
    signIn.id = object.value("id").toString();
    signIn.code = object.value("code").toString();
    signIn.approval = QUrl(object.value("approvalUrl").toString());
    QVERIFY(!signIn.id.isEmpty());
    QCOMPARE(signIn.code.size(), 4);
    // The app opens the portal only on the service's own host.
    QCOMPARE(signIn.approval.host(), QUrl(service.origin()).host());
    QCOMPARE(signIn.approval.port(), int(service.port()));
}

void ServiceClient::decide(const SignIn &signIn, const QString &choice, Exchanged &answer)
{
    const Exchanged page = open(signIn.approval);
    QCOMPARE(page.status, 200);
    QVERIFY(page.contentType.startsWith("text/html"));
    QVERIFY(page.body.contains(signIn.code.toLatin1()));
    static const QRegularExpression form(QStringLiteral(R"re(<form method="post" action="([^"]+)">)re"));
    static const QRegularExpression button(
        QStringLiteral(R"re(<button type="submit" name="([^"]+)" value="([^"]+)">)re"));
    const QString html = QString::fromUtf8(page.body);
    const auto action = form.match(html);
    QVERIFY(action.hasMatch());
    QByteArray fields;
    for (auto it = button.globalMatch(html); it.hasNext();) {
        const auto match = it.next();
        if (match.captured(2) == choice)
            fields =
                QUrl::toPercentEncoding(match.captured(1)) + '=' + QUrl::toPercentEncoding(match.captured(2));
    }
    QVERIFY2(!fields.isEmpty(), qPrintable(choice));
    answer = open(signIn.approval.resolved(QUrl(action.captured(1))), "POST", fields, formType());
}

void ServiceClient::signedIn(LocalService &service, QString &token, qint64 &expires)
{
    SignIn signIn;
    begin(service, signIn);
    if (QTest::currentTestFailed())
        return;
    Exchanged approved;
    decide(signIn, "approve", approved);
    QCOMPARE(approved.status, 200);
    const Exchanged claimed =
        call(service, "POST", "/device/claim", claimBody(signIn.id, signIn.verifier), jsonType());
    QCOMPARE(claimed.status, 200);
    token = claimed.object().value("token").toString();
    expires = qint64(claimed.object().value("expires").toDouble());
    QVERIFY(!token.isEmpty());
}
