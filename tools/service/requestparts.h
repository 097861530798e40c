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

// The token of an "Authorization: Bearer …" header; none without one.
std::optional<QString> bearerToken(const QHttpServerRequest &request);

// The body as a JSON object, sent as application/json.
std::variant<QJsonObject, LoopbackHttp::Answer> jsonBody(const QHttpServerRequest &request);

// The one value of a field of a form body (application/x-www-form-urlencoded).
std::variant<QString, LoopbackHttp::Answer> formField(const QHttpServerRequest &request, const QString &name);

// The value of `key` if it is a JSON string.
std::variant<QString, LoopbackHttp::Answer> textField(const QJsonObject &object, const QString &key);
