#pragma once

#include "loopbackhttp.h"

#include <QHttpServerRequest>
#include <QJsonObject>
#include <QString>

#include <optional>
#include <variant>

// Reading the parts of a request that the service's routes share. Each reader gives either the
// part or the 4xx answer that refuses the request.

// The origin the client reached us by, "http://" and its Host header, when that header names
// this service on the loopback interface (127.0.0.1 or localhost and our port). Any other name
// is refused, so a web page whose host name merely resolves to 127.0.0.1 cannot use the service.
std::variant<QString, LoopbackHttp::Answer> requestOrigin(const QHttpServerRequest &request, quint16 port);

// Refuses a form that another site's page posts here: an Origin header other than `origin` (as
// the client reached us), or a Sec-Fetch-Site that names another site or another origin of this
// one (another port on this machine is same-site). Requests with neither header pass, as a
// program's do; the form's own token is what proves that the post came from our page.
std::optional<LoopbackHttp::Answer> crossSite(const QHttpServerRequest &request, const QString &origin);

// The token of an "Authorization: Bearer …" header; none without one.
std::optional<QString> bearerToken(const QHttpServerRequest &request);

// The body as a JSON object, sent as application/json.
std::variant<QJsonObject, LoopbackHttp::Answer> jsonBody(const QHttpServerRequest &request);

// The one value of a field of a form body (application/x-www-form-urlencoded).
std::variant<QString, LoopbackHttp::Answer> formField(const QHttpServerRequest &request, const QString &name);

// The value of `key` if it is a JSON string.
std::variant<QString, LoopbackHttp::Answer> textField(const QJsonObject &object, const QString &key);
