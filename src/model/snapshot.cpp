#include "model/snapshot.h"

#include "model/inflight.h"
#include "model/json.h"
#include "model/received.h"

#include <QPointer>

std::optional<QJsonObject> snapshotObject(const QByteArray &body)
{
    QJsonParseError error{};
    const QJsonDocument document = readJson(body, error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    return document.object();
}

QCoro::Task<std::optional<QJsonObject>> readSnapshot(QNetworkAccessManager &client, Service service,
                                                     QString path, Inflight &inflight)
{
    const auto url = service.url(path);
    if (!url)
        co_return std::nullopt;

    QNetworkReply *reply = client.get(service.request(*url));
    const QPointer<QNetworkReply> alive(reply);
    inflight.add(reply);
    const Received received = co_await receive(reply, snapshotLimit);
    if (alive)
        alive->deleteLater();

    if (received.overflow || received.transportFailed || received.status != 200)
        co_return std::nullopt;
    co_return snapshotObject(received.body);
}
