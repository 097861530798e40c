#include "faultypeer.h"

#include <QTcpSocket>
#include <QTimer>

#include <sys/socket.h>

#include <memory>

FaultyPeer::FaultyPeer()
{
    if (!listen(QHostAddress::LocalHost, 0))
        qFatal("FaultyPeer: no free loopback port");
}

QString FaultyPeer::origin() const
{
    return QStringLiteral("http://127.0.0.1:%1").arg(serverPort());
}

void FaultyPeer::answer(const QByteArray &path, const QByteArray &good, const QByteArray &wrong)
{
    m_good.insert(path, good);
    m_wrong.insert(path, wrong);
}

void FaultyPeer::play(const QByteArray &path, const Play &play)
{
    m_path = path;
    m_play = play;
    m_good.insert("/moved", m_good.value(path));
}

void FaultyPeer::incomingConnection(qintptr descriptor)
{
    auto *socket = new QTcpSocket(this);
    socket->setSocketDescriptor(descriptor);
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    auto pending = std::make_shared<QByteArray>();
    connect(socket, &QTcpSocket::readyRead, this, [this, socket, pending] {
        *pending += socket->readAll();
        const qsizetype end = pending->indexOf("\r\n\r\n");
        if (end < 0)
            return;
        qsizetype length = 0;
        for (const QByteArray &line : pending->left(end).split('\n')) {
            if (line.toLower().startsWith("content-length:"))
                length = line.mid(15).trimmed().toLongLong();
        }
        if (pending->size() < end + 4 + length)
            return;
        const QByteArray path = pending->split(' ').value(1);
        pending->clear();
        ++m_counts[path];
        serve(socket, path);
    });
}

QByteArray FaultyPeer::response(int status, const QByteArray &body, const QByteArray &extra)
{
    return "HTTP/1.1 " + QByteArray::number(status)
           + " X\r\nContent-Type: application/json\r\nContent-Length: " + QByteArray::number(body.size())
           + "\r\nConnection: close\r\n" + extra + "\r\n" + body;
}

void FaultyPeer::serve(QTcpSocket *socket, const QByteArray &path)
{
    const Fault fault = path == m_path ? m_play.fault : Fault::None;
    const QByteArray good = m_good.value(path);
    const auto finish = [socket](const QByteArray &bytes) {
        socket->write(bytes);
        socket->disconnectFromHost();
    };
    switch (fault) {
    case Fault::None:
        finish(m_good.contains(path) ? response(200, good) : response(404, "{}"));
        return;
    case Fault::Stall:
        return;
    case Fault::ResetInBody: {
        const QByteArray whole = response(200, good);
        socket->write(whole.left(whole.size() - good.size() / 2));
        // A linger of zero turns the close into a reset, once the client has read the head.
        QTimer::singleShot(250, socket, [socket] {
            const linger reset{1, 0};
            ::setsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
            socket->abort();
            socket->deleteLater();
        });
        return;
    }
    case Fault::CloseBeforeReply:
        socket->disconnectFromHost();
        return;
    case Fault::NotHttp:
        finish(QByteArray("SSH-2.0-OpenSSH_9.2\r\n\x00\x01\x02\xff", 25));
        return;
    case Fault::Status:
        finish(response(m_play.status, R"({"error":"refused"})",
                        m_play.location.isEmpty() ? QByteArray() : "Location: " + m_play.location + "\r\n"));
        return;
    case Fault::Endless:
        endless(socket);
        return;
    case Fault::Truncated:
        finish(response(200, good.left(good.size() / 2)));
        return;
    case Fault::WrongTypes:
        finish(response(200, m_wrong.value(path)));
        return;
    case Fault::Drip: {
        // Qt's time-out runs on until the first byte of the body, so the head goes at once.
        const QByteArray whole = response(200, good);
        socket->write(whole.left(whole.size() - good.size()));
        auto rest = std::make_shared<QByteArray>(good);
        auto *drip = new QTimer(socket);
        connect(drip, &QTimer::timeout, socket, [socket, rest, drip] {
            socket->write(rest->left(8));
            rest->remove(0, 8);
            if (rest->isEmpty()) {
                drip->stop();
                socket->disconnectFromHost();
            }
        });
        drip->start(150);
        return;
    }
    }
}

void FaultyPeer::endless(QTcpSocket *socket)
{
    // No length and no end: only the client can stop it.
    socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n[");
    const auto more = [this, socket] {
        static const QByteArray rows = QByteArray(R"({"a":1},)").repeated(2048);
        while (socket->state() == QAbstractSocket::ConnectedState && socket->bytesToWrite() < 64 * 1024) {
            socket->write(rows);
            m_pushed += rows.size();
        }
    };
    connect(socket, &QTcpSocket::bytesWritten, socket, more);
    connect(socket, &QTcpSocket::disconnected, this, [this] { m_endlessClosed = true; });
    more();
}
