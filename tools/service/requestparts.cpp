#include "requestparts.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <QUrlQuery>

namespace {

// The media type without its parameters ("application/json; charset=utf-8"), lower case.
QByteArray mediaType(const QHttpServerRequest &request)
{
    QByteArray value = request.value("Content-Type");
    if (const qsizetype semicolon = value.indexOf(';'); semicolon >= 0)
        value.truncate(semicolon);
    return value.trimmed().toLower();
}

LoopbackHttp::Answer unsupported(const char *expected)
{
    return LoopbackHttp::error(415,
                               QStringLiteral("the body must be sent as %1").arg(QLatin1String(expected)));
}

} // namespace

std::variant<QString, LoopbackHttp::Answer> requestOrigin(const QHttpServerRequest &request, quint16 port)
{
    const QString host = QString::fromLatin1(request.value("Host")).toLower();
    if (host.isEmpty())
        return LoopbackHttp::error(400, QStringLiteral("no Host header"));
    const QString suffix = QStringLiteral(":%1").arg(port);
    for (const QLatin1String name : {QLatin1String("127.0.0.1"), QLatin1String("localhost")}) {
        if (host == name + suffix || (port == 80 && host == name))
            return QStringLiteral("http://") + host;
    }
    return LoopbackHttp::error(421, QStringLiteral("this service answers only to 127.0.0.1 and "
                                                   "localhost"));
}

std::optional<LoopbackHttp::Answer> crossSite(const QHttpServerRequest &request, const QString &origin)
{
    const QByteArray from = request.value("Origin");
    const QByteArray site = request.value("Sec-Fetch-Site").trimmed().toLower();
    // A browser that hides where a form came from sends "null".
    if ((!from.isEmpty() && from != origin.toLatin1()) || site == "cross-site" || site == "same-site")
        return LoopbackHttp::error(403, QStringLiteral("forms are taken only from this service's own pages"));
    return std::nullopt;
}

std::optional<QString> bearerToken(const QHttpServerRequest &request)
{
    const QByteArray value = request.value("Authorization");
    const qsizetype blank = value.indexOf(' ');
    if (blank < 0 || value.left(blank).compare("Bearer", Qt::CaseInsensitive) != 0)
        return std::nullopt;
    const QByteArray token = value.mid(blank + 1).trimmed();
    if (token.isEmpty())
        return std::nullopt;
    return QString::fromLatin1(token);
}

std::variant<QJsonObject, LoopbackHttp::Answer> jsonBody(const QHttpServerRequest &request)
{
    if (mediaType(request) != "application/json")
        return unsupported("application/json");
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(request.body(), &error);
    if (error.error != QJsonParseError::NoError)
        return LoopbackHttp::error(400, QStringLiteral("the body is not JSON: %1").arg(error.errorString()));
    if (!document.isObject())
        return LoopbackHttp::error(400, QStringLiteral("the body must be a JSON object"));
    return document.object();
}

std::variant<QString, LoopbackHttp::Answer> formField(const QHttpServerRequest &request, const QString &name)
{
    if (mediaType(request) != "application/x-www-form-urlencoded")
        return unsupported("application/x-www-form-urlencoded");
    // A form encodes a blank as "+", which QUrlQuery leaves as it is.
    QByteArray body = request.body();
    body.replace('+', ' ');
    const QUrlQuery form(QString::fromUtf8(body));
    const QStringList values = form.allQueryItemValues(name, QUrl::FullyDecoded);
    if (values.size() != 1)
        return LoopbackHttp::error(400, QStringLiteral("the form needs exactly one field \"%1\"").arg(name));
    return values.first();
}

std::variant<QString, LoopbackHttp::Answer> textField(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = object.value(key);
    if (value.isUndefined())
        return LoopbackHttp::error(400, QStringLiteral("\"%1\" is missing").arg(key));
    if (!value.isString())
        return LoopbackHttp::error(400, QStringLiteral("\"%1\" must be a string").arg(key));
    return value.toString();
}
