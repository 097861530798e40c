#pragma once

#include "model/service.h"
#include "owner/curlloop.h"

#include <QJsonObject>
#include <QJsonParseError>
#include <QMap>
#include <QNetworkReply>
#include <QString>

#include <QCoroTask>

#include <optional>
#include <variant>

// Why the owner session refused an answer, or never asked. Like every error of an owner request
// it carries no text: each caller shows a fixed text of its own.
enum class SessionError {
    badServerResponse,          // body too large, not HTTP, or a status other than 200 and 202
    userAuthenticationRequired, // HTTP 401: the service no longer knows the token
    unsendable, // the path or the token cannot go on the wire exactly as given; nothing was sent
};

// Transport failures and JSON parse failures pass through as Qt reports them.
using RequestError = std::variant<SessionError, QNetworkReply::NetworkError, QJsonParseError>;
using RequestResult = std::variant<QJsonObject, RequestError>;

// A request body: keys with string values, sent as one compact JSON object.
using Fields = QMap<QString, QString>;

// No owner answer is taken in from this size on. Real answers are a few kilobytes; the limit
// keeps a broken or hostile service from filling memory.
inline constexpr qsizetype ownerReplyLimit = 128 * 1024;

inline bool failedWith(const RequestResult &result, SessionError code)
{
    const auto *error = std::get_if<RequestError>(&result);
    return error && std::holds_alternative<SessionError>(*error) && std::get<SessionError>(*error) == code;
}

struct Received;

// The request target exactly as it goes on the wire, or none when the path could not arrive as
// written; nothing is sent for it then.
std::optional<QByteArray> exactTarget(const QString &path);

// What one owner reply comes to, tested in this order: too large (at the limit or past it), a
// transport failure, not HTTP, 401, a status other than 200 and 202, a body that is not JSON;
// a top-level array of objects comes back as {"rows": [...]}.
RequestResult judgeReply(const Received &received, bool tooLarge);

// The owner session's own HTTP client: every call to the service with the owner's bearer token
// passes through send(). Each request goes out once, exactly as written, with no header but
// Host, Authorization, Content-Type and Content-Length; it never follows a redirect and keeps
// nothing, no cookie, no cache, no credential.
class OwnerClient
{
public:
    explicit OwnerClient(Service service);
    OwnerClient(const OwnerClient &) = delete;
    OwnerClient &operator=(const OwnerClient &) = delete;
    ~OwnerClient();

    // GET without a body, POST with one. The bearer header is sent only for a non-empty token.
    // An array of objects at the top level comes back as {"rows": [...]}.
    QCoro::Task<RequestResult> send(QString path, std::optional<Fields> body, QString token);

    // True while the client is going away and ending what is in flight.
    bool closing() const { return m_closing; }
    const Service &service() const { return m_service; }

private:
    Service m_service;
    bool m_closing = false;
    CurlLoop m_loop; // last: its transfers end before the rest goes
};
