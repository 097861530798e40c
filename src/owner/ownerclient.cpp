#include "owner/ownerclient.h"

#include "model/json.h"
#include "model/received.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QStringEncoder>

#include <curl/curl.h>

#include <cctype>
#include <cstring>
#include <string_view>

namespace {

// The header line in one buffer of its own, encoded in place, so that the driver can wipe the
// only copy of the token it makes.
QByteArray bearerHeader(const QString &token)
{
    static constexpr std::string_view prefix = "Authorization: Bearer ";
    QStringEncoder utf8(QStringEncoder::Utf8);
    const auto start = static_cast<qsizetype>(prefix.size());
    QByteArray header(start + utf8.requiredSpace(token.size()), Qt::Uninitialized);
    std::memcpy(header.data(), prefix.data(), prefix.size());
    const char *end = utf8.appendToBuffer(header.data() + start, token);
    header.truncate(end - header.constData());
    return header;
}

// curl's transport failures as Qt names them; callers only tell failure from success.
QNetworkReply::NetworkError transportError(int code)
{
    switch (static_cast<CURLcode>(code)) {
    case CURLE_OPERATION_TIMEDOUT:
        return QNetworkReply::TimeoutError;
    case CURLE_COULDNT_CONNECT:
        return QNetworkReply::ConnectionRefusedError;
    case CURLE_COULDNT_RESOLVE_HOST:
        return QNetworkReply::HostNotFoundError;
    case CURLE_ABORTED_BY_CALLBACK:
        return QNetworkReply::OperationCanceledError;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
        return QNetworkReply::SslHandshakeFailedError;
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
        return QNetworkReply::RemoteHostClosedError;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_UNSUPPORTED_PROTOCOL: // an answer in HTTP/0.9 style: bytes that are not HTTP
        return QNetworkReply::ProtocolFailure;
    default:
        return QNetworkReply::UnknownNetworkError;
    }
}

} // namespace

// The rule, which keeps a receipt identifier from leading anywhere outside
// "/api/receipt/": the path begins with "/" and holds only RFC 3986 path characters (letters,
// digits, "-._~!$&'()*+,;=:@/" and "%" with two hex digits), so nothing is escaped, cut off at
// "?" or "#", or refused on the way; and none of its segments is "." or "..", however written:
// escaped (%2e), next to an escaped slash or backslash (%2f, %5c) or before a ";" parameter, as
// servers that decode or strip those first would resolve it.
std::optional<QByteArray> exactTarget(const QString &path)
{
    static constexpr std::string_view marks = "-._~!$&'()*+,;=:@/%";
    if (!path.startsWith(u'/'))
        return std::nullopt;
    QByteArray target;
    target.reserve(path.size());
    for (const QChar c : path) {
        const char16_t u = c.unicode();
        const bool alnum = (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9');
        if (!alnum && (u > 0x7f || marks.find(char(u)) == std::string_view::npos))
            return std::nullopt;
        target.append(char(u));
    }
    const auto hex = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    for (qsizetype at = target.indexOf('%'); at >= 0; at = target.indexOf('%', at + 1)) {
        if (at + 2 >= target.size() || !hex(target[at + 1]) || !hex(target[at + 2]))
            return std::nullopt;
    }
    const QByteArray decoded = QByteArray::fromPercentEncoding(target).replace('\\', '/');
    for (const QByteArray &segment : decoded.split('/')) {
        const qsizetype parameter = segment.indexOf(';');
        const QByteArray name = parameter < 0 ? segment : segment.left(parameter);
        if (name == "." || name == "..")
            return std::nullopt;
    }
    return target;
}

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

OwnerClient::~OwnerClient()
{
    m_closing = true;
}

QCoro::Task<RequestResult> OwnerClient::send(QString path, std::optional<Fields> body, QString token)
{
    const std::optional<QByteArray> target = exactTarget(path);
    if (!target)
        co_return SessionError::unsendable;

    CurlRequest request;
    request.url = m_service.origin.toUtf8() + *target;
    request.idle = m_service.timeout;
    request.bodyLimit = ownerReplyLimit;
    request.authorities = m_service.authorities;
    if (!token.isEmpty())
        request.headers.append(bearerHeader(token));
    if (body) {
        // String values only, so writing cannot fail.
        QJsonObject object;
        for (auto field = body->cbegin(); field != body->cend(); ++field)
            object.insert(field.key(), field.value());
        request.body = QJsonDocument(object).toJson(QJsonDocument::Compact);
        request.headers.append(QByteArrayLiteral("Content-Type: application/json"));
    }

    // Made apart from the co_await for GCC 12. Nothing after the wait touches this client, which
    // may be gone by then.
    QCoro::Task<CurlReply> transfer = m_loop.perform(std::move(request));
    CurlReply reply = co_await transfer;
    if (reply.refused)
        co_return SessionError::unsendable;
    Received received;
    received.body = std::move(reply.body);
    received.overflow = reply.overflow;
    received.transportFailed = reply.code != CURLE_OK && !reply.overflow;
    if (received.transportFailed)
        received.error = transportError(reply.code);
    if (reply.status > 0)
        received.status = static_cast<int>(reply.status);
    co_return judgeReply(received, received.overflow);
}
