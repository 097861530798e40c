#include "loopbackhttp.h"

#include <QHostAddress>
#include <QHttpServerResponse>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <memory>

LoopbackHttp::LoopbackHttp(QObject *parent)
    : QAbstractHttpServer(parent)
{}

namespace {

// Qt's server takes in a whole request, however long, before it hands it over: a body of 64 MiB
// held the service at 250 MB. This listener stands in front of it and counts the bytes of each
// request as they arrive; one that grows past the limit is answered 413 and closed there. Nor
// does Qt's server limit how many connections it keeps, or for how long one may sit silent:
// the listener closes those beyond its cap as they come, and those idle for too long.
class GuardedListener : public QTcpServer
{
public:
    GuardedListener(QAbstractHttpServer *http, qsizetype limit, int most, std::chrono::milliseconds idle)
        : QTcpServer(http)
        , m_http(http)
        , m_limit(limit)
        , m_most(most)
        , m_idle(idle)
    {}

protected:
    void incomingConnection(qintptr descriptor) override
    {
        auto *socket = new QTcpSocket(this);
        if (!socket->setSocketDescriptor(descriptor)) {
            delete socket;
            return;
        }
        if (m_most > 0 && m_open >= m_most) {
            socket->abort();
            delete socket;
            return;
        }
        ++m_open;
        // Qt's server lets a socket go once its peer has closed.
        connect(socket, &QObject::destroyed, this, [this] { --m_open; });
        if (m_idle.count() > 0) {
            auto *idle = new QTimer(socket);
            idle->setSingleShot(true);
            idle->setInterval(m_idle);
            connect(idle, &QTimer::timeout, socket, &QTcpSocket::disconnectFromHost);
            connect(socket, &QTcpSocket::readyRead, idle, qOverload<>(&QTimer::start));
            connect(socket, &QTcpSocket::bytesWritten, idle, qOverload<>(&QTimer::start));
            idle->start();
        }
        if (m_limit > 0) {
            // Connected before Qt's server connects its own reader, so it sees new bytes first.
            auto taken = std::make_shared<qint64>(0);
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket, taken] { count(socket, *taken); });
        }
        addPendingConnection(socket);
    }

private:
    // `taken` is the count of the request under way, or -1 once it has been refused.
    void count(QTcpSocket *socket, qint64 &taken)
    {
        if (taken < 0) {
            // Refused: what else comes is dropped until the connection has closed.
            socket->skip(socket->bytesAvailable());
            return;
        }
        // Qt's server reads each request inside a transaction that it commits once the request
        // is whole, so no transaction means a new request begins.
        if (!socket->isTransactionStarted())
            taken = 0;
        taken += socket->bytesAvailable();
        if (taken <= m_limit)
            return;
        disconnect(socket, &QTcpSocket::readyRead, m_http, nullptr);
        // What the server's transaction kept for its reading is dropped with it.
        if (socket->isTransactionStarted())
            socket->commitTransaction();
        socket->skip(socket->bytesAvailable());
        const LoopbackHttp::Answer refusal =
            LoopbackHttp::error(413, QStringLiteral("request over %1 bytes").arg(m_limit));
        socket->write("HTTP/1.1 413 Request Entity Too Large\r\nContent-Type: application/json\r\n"
                      "Connection: close\r\nContent-Length: "
                      + QByteArray::number(refusal.body.size()) + "\r\n\r\n" + refusal.body);
        socket->disconnectFromHost();
        taken = -1;
    }

    QAbstractHttpServer *m_http;
    qsizetype m_limit;
    int m_most;
    std::chrono::milliseconds m_idle;
    int m_open = 0;
};

} // namespace

bool LoopbackHttp::start(quint16 port)
{
    auto *listener = new GuardedListener(this, m_bodyLimit > 0 ? m_bodyLimit + headRoom : 0,
                                         m_mostConnections, m_idleLimit);
    if (!listener->listen(QHostAddress::LocalHost, port)) {
        delete listener;
        return false;
    }
    bind(listener);
    m_port = listener->serverPort();
    return true;
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
