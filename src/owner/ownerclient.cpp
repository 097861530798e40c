#include "ownerclient.h"

#include "json.h"
#include "received.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>

namespace {

// The size test comes first, so an oversized 401 is refused without forgetting the session.
RequestResult judge(const Received &received, bool tooLarge)
{
    if (tooLarge)
        return SessionError::badServerResponse;
    if (received.transportFailed)
        return received.error;
    if (!received.status)
        return SessionError::badServerResponse;
    if (*received.status == 401)
        return SessionError::userAuthenticationRequired;
    if (*received.status != 200 && *received.status != 202)
        return SessionError::badServerResponse;

    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(received.body, &error);
    if (error.error != QJsonParseError::NoError)
        return error;
    if (document.isObject())
        return document.object();
    const QJsonArray rows = document.array();
    if (!holdsOnlyObjects(rows))
        return SessionError::badServerResponse;
    return QJsonObject{{QStringLiteral("rows"), rows}};
}

} // namespace

OwnerClient::OwnerClient(Service service)
    : m_service(std::move(service))
{}

OwnerClient::~OwnerClient() = default;

std::shared_ptr<QNetworkAccessManager> OwnerClient::manager()
{
    if (!m_manager) {
        m_manager = std::make_shared<QNetworkAccessManager>();
        // NoRedirect: a 3xx answer is final and is refused for its status, so the bearer token
        // never follows a redirect anywhere, the service's own origin included. A fresh manager
        // has no disk cache and keeps its cookie jar in memory.
        m_manager->setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
    }
    return m_manager;
}

QCoro::Task<RequestResult> OwnerClient::send(QString path, std::optional<Fields> body, QString token)
{
    const auto url = m_service.url(path);
    if (!url)
        co_return SessionError::badUrl;

    QNetworkRequest request = m_service.request(*url);
    QByteArray payload;
    if (body) {
        // String values only, so writing cannot fail.
        QJsonObject object;
        for (auto field = body->cbegin(); field != body->cend(); ++field)
            object.insert(field.key(), field.value());
        payload = QJsonDocument(object).toJson(QJsonDocument::Compact);
        request.setRawHeader("Content-Type", "application/json");
    }
    if (!token.isEmpty())
        request.setRawHeader("Authorization", "Bearer " + token.toUtf8());

    // The request keeps the manager, and with it the reply, alive to its end: after an abort
    // QCoro resumes the waiting coroutine from the event loop, when this client may be gone.
    const std::shared_ptr<QNetworkAccessManager> client = manager();
    const std::unique_ptr<QNetworkReply, void (*)(QNetworkReply *)> reply(
        body ? client->post(request, payload) : client->get(request),
        [](QNetworkReply *r) { r->deleteLater(); });
    m_inflight.add(reply.get());
    const Received received = co_await receive(reply.get(), ownerReplyLimit);
    // Qt keeps the body of a 401 to itself, so its size shows only in the declared length.
    const QVariant declared = reply->header(QNetworkRequest::ContentLengthHeader);
    co_return judge(received,
                    received.overflow || (declared.isValid() && declared.toLongLong() >= ownerReplyLimit));
}
