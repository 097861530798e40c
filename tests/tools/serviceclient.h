#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPair>
#include <QString>
#include <QUrl>

#include "localservice.h"

#include <QCoroNetworkReply>
#include <QCoroTask>

#include <memory>

// One request to the local service, made as the app or a browser would, and what came back.
struct Exchanged
{
    int status = 0;
    QByteArray body;
    QByteArray contentType;
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
};

using Headers = QList<QPair<QByteArray, QByteArray>>;

inline QCoro::Task<Exchanged> exchange(QNetworkAccessManager *client, QByteArray method, QUrl url,
                                       QByteArray body = {}, Headers headers = {})
{
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setTransferTimeout(10000);
    for (const auto &[name, value] : headers)
        request.setRawHeader(name, value);
    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply *)> reply(
        client->sendCustomRequest(request, method, body), [](QNetworkReply *r) { r->deleteLater(); });
    co_await reply.get();
    Exchanged got;
    got.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->isOpen())
        got.body = reply->readAll();
    got.contentType = reply->rawHeader("Content-Type");
    got.headers = reply->rawHeaderPairs();
    co_return got;
}

inline Headers jsonType()
{
    return {{"Content-Type", "application/json"}};
}

inline Headers bearer(const QString &token)
{
    return {{"Authorization", "Bearer " + token.toLatin1()}};
}

inline Headers formType()
{
    return {{"Content-Type", "application/x-www-form-urlencoded"}};
}

// A device sign-in under way, as the app holds it.
struct SignIn
{
    QString id;
    QString code;
    QString verifier;
    QUrl approval;
};

QByteArray claimBody(const QString &id, const QString &verifier);
// A JSON error reply: {"error": "…"}.
bool isErrorReply(const Exchanged &reply);
std::unique_ptr<LocalService> running(std::chrono::milliseconds lifetime = std::chrono::seconds(900),
                                      std::optional<qsizetype> historyBytes = std::nullopt);

// Talks to a local service as the app and the owner's browser do. The steps check what they
// get with QVERIFY; a caller tests QTest::currentTestFailed() before it goes on.
class ServiceClient
{
public:
    Exchanged call(LocalService &service, const QByteArray &method, const QString &path,
                   const QByteArray &body = {}, const Headers &headers = {});
    Exchanged open(const QUrl &url, const QByteArray &method = "GET", const QByteArray &body = {},
                   const Headers &headers = {});

    // Starts a sign-in with a fresh verifier.
    void begin(LocalService &service, SignIn &signIn);
    // Opens the portal page and presses one of its buttons, as a browser would.
    void decide(const SignIn &signIn, const QString &choice, Exchanged &answer);
    // A sign-in taken through to its token.
    void signedIn(LocalService &service, QString &token, qint64 &expires);

private:
    QNetworkAccessManager m_client;
};
