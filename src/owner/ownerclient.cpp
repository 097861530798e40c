#include "ownerclient.h"

#include "json.h"
#include "received.h"

#include <QIODevice>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>

#include <algorithm>
#include <cstring>

namespace {

// A request body that can be read once. Qt silently sends a request again when its connection
// closes before any answer, POST included; for a sign-in start or a claim that is a second
// sign-in or a replayed claim. Qt re-reads the body from its start to do so, and a body that
// cannot go back makes the request fail instead (ContentReSendError).
class SingleUseBody : public QIODevice
{
public:
    explicit SingleUseBody(QByteArray bytes)
        : m_bytes(std::move(bytes))
    {
        open(QIODevice::ReadOnly);
    }

    bool isSequential() const override { return false; }
    qint64 size() const override { return m_bytes.size(); }
    bool reset() override { return !m_read && QIODevice::reset(); }

protected:
    qint64 readData(char *data, qint64 most) override
    {
        m_read = true;
        const qint64 count = std::min(most, m_bytes.size() - pos());
        std::memcpy(data, m_bytes.constData() + pos(), static_cast<size_t>(count));
        return count;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    QByteArray m_bytes;
    bool m_read = false;
};

} // namespace

RequestResult judgeReply(const Received &received, bool tooLarge)
{
    // The size test comes first, so an oversized 401 is refused without forgetting the session.
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
    const QJsonDocument document = readJson(received.body, error);
    if (error.error != QJsonParseError::NoError)
        return error;
    if (document.isObject())
        return document.object();
    const QJsonArray rows = document.array();
    if (!holdsOnlyObjects(rows))
        return SessionError::badServerResponse;
    return QJsonObject{{QStringLiteral("rows"), rows}};
}

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
    auto *upload = body ? new SingleUseBody(payload) : nullptr;
    const std::unique_ptr<QNetworkReply, void (*)(QNetworkReply *)> reply(
        upload ? client->post(request, upload) : client->get(request),
        [](QNetworkReply *r) { r->deleteLater(); });
    if (upload)
        upload->setParent(reply.get());
    m_inflight.add(reply.get());
    const Received received = co_await receive(reply.get(), ownerReplyLimit);
    // Qt keeps the body of a 401 to itself, so its size shows only in the declared length.
    const QVariant declared = reply->header(QNetworkRequest::ContentLengthHeader);
    co_return judgeReply(received, received.overflow
                                       || (declared.isValid() && declared.toLongLong() >= ownerReplyLimit));
}
