#pragma once

#include "model/service.h"

#include <QJsonObject>
#include <QNetworkAccessManager>

#include <QCoroTask>

#include <optional>

class Inflight;

// The largest snapshot body we take in. Real snapshots are a few hundred bytes; the limit only
// keeps a broken or hostile server from filling memory.
inline constexpr qsizetype snapshotLimit = 1024 * 1024;

// The top-level object of a snapshot body; none when the body is not JSON or its top level is
// not an object.
std::optional<QJsonObject> snapshotObject(const QByteArray &body);

// A read-only snapshot: GET on the origin followed by `path` through the shared client, which
// follows redirects as Qt does by default. Gives the decoded top-level object of an HTTP 200
// reply; any other outcome (transport failure, another status, 2xx included, a body that is
// not JSON or whose top level is not an object) gives none.
QCoro::Task<std::optional<QJsonObject>> readSnapshot(QNetworkAccessManager &client, Service service,
                                                     QString path, Inflight &inflight);
