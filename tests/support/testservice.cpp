#include "testservice.h"

#include <QCoreApplication>
#include <QMetaEnum>
#include <QTcpSocket>
#include <QUrl>

#include <algorithm>

class TestService::Http : public LoopbackHttp
{
public:
    explicit Http(TestService *owner)
        : m_owner(owner)
    {}

protected:
    void serve(const QHttpServerRequest &request, QHttpServerResponder &&responder) override
    {
        m_owner->serve(request, std::move(responder));
    }

private:
    TestService *m_owner;
};

std::optional<QByteArray> TestService::Seen::header(QByteArrayView name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return std::nullopt;
}

TestService::TestService()
    : m_http(std::make_unique<Http>(this))
{
    if (!m_http->start())
        qFatal("TestService: no free loopback port");
}

TestService::~TestService() = default;

QString TestService::origin() const
{
    return m_http->origin();
}

void TestService::on(const QString &path, const Answer &answer, std::chrono::milliseconds delay)
{
    m_replies.insert(path, Reply{answer, delay});
}

void TestService::onJson(const QString &path, const QJsonValue &value, int status)
{
    on(path, LoopbackHttp::json(value, status));
}

void TestService::stall(const QString &path)
{
    m_replies.insert(path, Reply{{}, {}, true});
}

qsizetype TestService::count(const QString &path) const
{
    return std::count_if(m_seen.begin(), m_seen.end(), [&path](const Seen &s) { return s.path == path; });
}

bool TestService::roundTrip()
{
    QCoreApplication::sendPostedEvents(); // requests the app has queued are started first
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, quint16(QUrl(origin()).port()));
    socket.write("GET /round-trip HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 0\r\n\r\n");
    while (socket.state() != QAbstractSocket::UnconnectedState && !socket.canReadLine())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    return socket.readLine().startsWith("HTTP/1.1 204");
}

void TestService::release(const QString &path, const Answer &answer)
{
    on(path, answer);
    std::erase_if(m_stalled, [&](auto &stalled) {
        if (stalled.first != path)
            return false;
        LoopbackHttp::send(std::move(*stalled.second), answer);
        return true;
    });
}

void TestService::serve(const QHttpServerRequest &request, QHttpServerResponder &&responder)
{
    if (request.url().path() == QLatin1String("/round-trip")) {
        LoopbackHttp::send(std::move(responder), Answer{204, {}, "text/plain", {}});
        return;
    }
    Seen seen{QString::fromLatin1(
                  QMetaEnum::fromType<QHttpServerRequest::Method>().valueToKey(int(request.method())))
                  .toUpper(),
              request.url().path(QUrl::FullyEncoded), request.body(), request.headers()};
    m_seen.append(seen);
    emit received(seen.path);

    const auto reply = m_replies.constFind(seen.path);
    if (reply == m_replies.constEnd()) {
        LoopbackHttp::send(std::move(responder), Answer{404, {}, "text/plain", {}});
    } else if (reply->stall) {
        m_stalled.emplace_back(seen.path, std::make_shared<QHttpServerResponder>(std::move(responder)));
    } else if (reply->delay.count() > 0) {
        m_http->sendLater(std::move(responder), reply->answer, reply->delay);
    } else {
        LoopbackHttp::send(std::move(responder), reply->answer);
    }
}
