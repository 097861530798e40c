#include "loopbackhttp.h"

#include <QHostAddress>
#include <QHttpServerResponse>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <memory>

LoopbackHttp::LoopbackHttp(QObject *parent)
    : QAbstractHttpServer(parent)
{}

bool LoopbackHttp::start(quint16 port)
{
    m_port = listen(QHostAddress::LocalHost, port);
    return m_port != 0;
}

QString LoopbackHttp::origin() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(m_port);
}

LoopbackHttp::Answer LoopbackHttp::json(const QJsonValue &value, int status)
{
    Answer answer;
    answer.status = status;
    if (value.isArray())
        answer.body = QJsonDocument(value.toArray()).toJson(QJsonDocument::Compact);
    else
        answer.body = QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact);
    return answer;
}

LoopbackHttp::Answer LoopbackHttp::error(int status, const QString &message)
{
    return json(QJsonObject{{QStringLiteral("error"), message}}, status);
}

void LoopbackHttp::send(QHttpServerResponder &&responder, const Answer &answer)
{
    QHttpServerResponse response(answer.contentType, answer.body,
                                 static_cast<QHttpServerResponder::StatusCode>(answer.status));
    for (const auto &[name, value] : answer.headers)
        response.addHeader(name, value);
    response.write(std::move(responder));
}

void LoopbackHttp::sendLater(QHttpServerResponder &&responder, Answer answer, std::chrono::milliseconds delay)
{
    auto held = std::make_shared<QHttpServerResponder>(std::move(responder));
    QTimer::singleShot(delay, this, [held, answer = std::move(answer)] { send(std::move(*held), answer); });
}

bool LoopbackHttp::handleRequest(const QHttpServerRequest &request, QTcpSocket *socket)
{
    if (m_bodyLimit > 0 && request.body().size() > m_bodyLimit) {
        send(makeResponder(request, socket),
             error(413, QStringLiteral("request body over %1 bytes").arg(m_bodyLimit)));
        return true;
    }
    serve(request, makeResponder(request, socket));
    return true;
}

void LoopbackHttp::missingHandler(const QHttpServerRequest &, QTcpSocket *)
{
    // Never reached: handleRequest takes every request.
}
