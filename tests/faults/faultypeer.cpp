#include "faultypeer.h"

#include <QProcess>
#include <QRegularExpression>
#include <QSslConfiguration>
#include <QSslKey>
#include <QSslSocket>
#include <QTcpSocket>
#include <QTimer>

#include <sys/socket.h>

#include <memory>

namespace {

// A throwaway self-signed certificate for 127.0.0.1 and its key, from the openssl tool.
QSslConfiguration makeIdentity()
{
    QProcess openssl;
    openssl.start("openssl",
                  {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                   "-days", "1", "-subj", "/CN=127.0.0.1", "-addext", "subjectAltName=IP:127.0.0.1",
                   "-keyout", "/dev/stdout", "-out", "/dev/stdout"});
    openssl.waitForFinished();
    const QByteArray pem = openssl.readAllStandardOutput();
    QSslConfiguration identity = QSslConfiguration::defaultConfiguration();
    identity.setLocalCertificate(QSslCertificate::fromData(pem).value(0));
    identity.setPrivateKey(QSslKey(pem, QSsl::Ec));
    if (identity.localCertificate().isNull() || identity.privateKey().isNull())
        qFatal("FaultyPeer: openssl made no certificate");
    return identity;
}

const QSslConfiguration &identity(FaultyPeer::Certificate certificate)
{
    static const QSslConfiguration trusted = makeIdentity(), stranger = makeIdentity();
    return certificate == FaultyPeer::Certificate::Trusted ? trusted : stranger;
}

} // namespace

FaultyPeer::FaultyPeer(const QHash<QByteArray, QByteArray> &good, bool https)
    : m_good(good)
    , m_certificate(https ? Certificate::Trusted : Certificate::None)
{
    if (!listen(QHostAddress::LocalHost, 0))
        qFatal("FaultyPeer: no free loopback port");
}

QString FaultyPeer::origin() const
{
    return (m_certificate == Certificate::None ? "http" : "https")
           + QStringLiteral("://127.0.0.1:%1").arg(serverPort());
}

void FaultyPeer::play(const Play &play)
{
    m_play = play;
    if (play.certificate != Certificate::None)
        m_certificate = play.certificate;
}

QByteArray FaultyPeer::authority()
{
    return identity(Certificate::Trusted).localCertificate().toPem();
}

void FaultyPeer::incomingConnection(qintptr descriptor)
{
    QTcpSocket *socket = nullptr;
    if (m_certificate == Certificate::None) {
        socket = new QTcpSocket(this);
        socket->setSocketDescriptor(descriptor);
    } else {
        // What arrives is read once decrypted; a client that refuses the certificate just closes.
        auto *tls = new QSslSocket(this);
        tls->setSocketDescriptor(descriptor);
        tls->setSslConfiguration(identity(m_certificate));
        tls->startServerEncryption();
        socket = tls;
    }
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    auto pending = std::make_shared<QByteArray>();
    connect(socket, &QTcpSocket::readyRead, this, [this, socket, pending] {
        // A request is served once its head and its declared body are in.
        static const QRegularExpression declared("content-length: *(\\d+)",
                                                 QRegularExpression::CaseInsensitiveOption);
        *pending += socket->readAll();
        const qsizetype end = pending->indexOf("\r\n\r\n");
        const qsizetype length =
            declared.match(QString::fromLatin1(pending->left(end))).captured(1).toLongLong();
        if (end < 0 || pending->size() < end + 4 + length)
            return;
        const QByteArray path = pending->split(' ').value(1);
        m_requests.append(pending->left(end + 4 + length));
        pending->clear();
        ++m_counts[path];
        serve(socket, path);
    });
}

void FaultyPeer::serve(QTcpSocket *socket, const QByteArray &path)
{
    const QByteArray good = m_good.value(path);
    const Play play = path == m_play.path ? m_play : Play{path, Fault::Reply, 200, good, {}};
    const auto chunk = [](const QByteArray &bytes) {
        return QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n";
    };
    const QByteArray statusLine = "HTTP/1.1 " + QByteArray::number(play.status) + " X\r\n";
    const auto response = [&](const QByteArray &body) {
        QByteArray framed = "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body;
        if (play.chunked) {
            framed = "Transfer-Encoding: chunked\r\n\r\n";
            for (qsizetype at = 0; at < body.size(); at += 16 * 1024)
                framed += chunk(body.mid(at, 16 * 1024));
            framed += "0\r\n\r\n";
        }
        return statusLine + "Content-Type: application/json\r\nConnection: close\r\n"
               + (play.location.isEmpty() ? QByteArray() : "Location: " + play.location + "\r\n") + framed;
    };
    switch (play.fault) {
    case Fault::Stall:
        return;
    case Fault::ResetInBody: {
        socket->write(response(good).chopped(good.size() / 2));
        // A linger of zero turns the close into a reset, once the client has read the head.
        QTimer::singleShot(250, socket, [socket] {
            const linger reset{1, 0};
            ::setsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
            socket->abort();
            socket->deleteLater();
        });
        return;
    }
    case Fault::Endless: {
        // No length and no end: only the client can stop it.
        static const QByteArray rows = QByteArray(R"({"a":1},)").repeated(2048);
        socket->write(statusLine + "Content-Type: application/json\r\n"
                      + (play.chunked ? "Transfer-Encoding: chunked\r\n\r\n" + chunk("[") : "\r\n["));
        pour(socket, [chunked = play.chunked, chunk] { return chunked ? chunk(rows) : rows; });
        return;
    }
    case Fault::EndlessHead:
        socket->write(statusLine);
        pour(socket, [] { return QByteArray("X-Pad: ").append(1000, 'a').append("\r\n").repeated(64); });
        return;
    case Fault::Drip: {
        // Qt's time-out runs on until the first byte of the body, so the head goes at once.
        socket->write(response(good).chopped(good.size()));
        auto *drip = new QTimer(socket);
        connect(drip, &QTimer::timeout, socket, [socket, rest = good]() mutable {
            socket->write(rest.left(8));
            rest.remove(0, 8);
            if (rest.isEmpty())
                socket->disconnectFromHost();
        });
        drip->start(150);
        return;
    }
    case Fault::Reply:
    case Fault::Raw:
        socket->write(play.fault == Fault::Raw ? play.body : response(play.body));
        socket->disconnectFromHost();
        return;
    }
}

void FaultyPeer::pour(QTcpSocket *socket, std::function<QByteArray()> more)
{
    const auto fill = [this, socket, more = std::move(more)] {
        while (socket->state() == QAbstractSocket::ConnectedState && socket->bytesToWrite() < 64 * 1024) {
            const QByteArray bytes = more();
            socket->write(bytes);
            m_pushed += bytes.size();
        }
    };
    connect(socket, &QTcpSocket::bytesWritten, socket, fill);
    connect(socket, &QTcpSocket::disconnected, this, [this] { m_endlessClosed = true; });
    fill();
}
