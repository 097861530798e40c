#pragma once

#include <QAbstractHttpServer>
#include <QByteArray>
#include <QHttpServerRequest>
#include <QHttpServerResponder>
#include <QJsonValue>
#include <QList>
#include <QPair>
#include <QString>

#include <chrono>

// An HTTP server on the loopback interface that hands every request, whatever its path, to one
// function. The local Kelvra service and the scriptable service of the tests both stand on it.
class LoopbackHttp : public QAbstractHttpServer
{
public:
    struct Answer
    {
        int status = 200;
        QByteArray body;
        QByteArray contentType = "application/json";
        QList<QPair<QByteArray, QByteArray>> headers;
    };

    explicit LoopbackHttp(QObject *parent = nullptr);

    // Listens on 127.0.0.1; port 0 takes a free one. False when the port cannot be had.
    bool start(quint16 port = 0);
    quint16 port() const { return m_port; }
    // "http://127.0.0.1:PORT"
    QString origin() const;

    // Requests whose body is longer than `bytes` are refused with 413 and never served; 0, the
    // default, takes any size. Call before start().
    void setBodyLimit(qsizetype bytes) { m_bodyLimit = bytes; }
    // Room for the request line and headers beside the body.
    static constexpr qsizetype headRoom = 8 * 1024;
    // At most `most` connections at once, those beyond closed as they come; a connection on
    // which nothing has arrived or left for `idle` is closed. 0 sets no limit. Call before start().
    void setConnectionLimits(int most, std::chrono::milliseconds idle)
    {
        m_mostConnections = most;
        m_idleLimit = idle;
    }

    static Answer json(const QJsonValue &value, int status = 200);
    // {"error": message} with the status.
    static Answer error(int status, const QString &message);
    static void send(QHttpServerResponder &&responder, const Answer &answer);
    // Sends the answer after `delay`, leaving the server free to serve others meanwhile.
    void sendLater(QHttpServerResponder &&responder, Answer answer, std::chrono::milliseconds delay);

protected:
    virtual void serve(const QHttpServerRequest &request, QHttpServerResponder &&responder) = 0;

private:
    bool handleRequest(const QHttpServerRequest &request, QTcpSocket *socket) override;
    void missingHandler(const QHttpServerRequest &request, QTcpSocket *socket) override;

    quint16 m_port = 0;
    qsizetype m_bodyLimit = 0;
    int m_mostConnections = 0;
    std::chrono::milliseconds m_idleLimit{0};
};
