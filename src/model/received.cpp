#include "model/received.h"

#include <QPointer>

#include <array>
#include <coroutine>

namespace {

// Qt reports HTTP error statuses as reply errors too (ContentNotFoundError for a 404 and so
// on); those still came with a complete HTTP response. ContentReSendError sits among them but
// means the request could not be sent again after its connection closed.
bool isHttpStatusError(QNetworkReply::NetworkError error)
{
    if (error == QNetworkReply::ContentReSendError)
        return false;
    return (error >= QNetworkReply::ContentAccessDenied && error <= QNetworkReply::UnknownContentError)
           || (error >= QNetworkReply::InternalServerError && error <= QNetworkReply::UnknownServerError);
}

// Keeps the body below `limit` bytes by stopping at the first byte that would reach it.
bool append(Received &received, const QByteArray &chunk, qsizetype limit)
{
    const qsizetype room = limit - received.body.size();
    if (chunk.size() >= room) {
        received.body.append(chunk.left(room));
        received.overflow = true;
        return false;
    }
    received.body.append(chunk);
    return true;
}

// Resumes the reader from the reply's own signal, once it has bytes to read, has ended or is
// gone. QCoro's wait resumes through the event queue instead, a turn of the loop later; at
// start-up that turn comes after the first frame, which holds the GUI thread while it is drawn,
// so a snapshot answered on loopback would miss the first frame by a whole frame.
class Readable
{
public:
    explicit Readable(QNetworkReply *reply)
        : m_reply(reply)
    {}

    bool await_ready() const { return !m_reply || m_reply->bytesAvailable() > 0 || m_reply->isFinished(); }

    void await_suspend(std::coroutine_handle<> reader)
    {
        const auto wake = [this, reader] {
            for (const auto &connection : m_connections)
                QObject::disconnect(connection);
            reader.resume();
        };
        m_connections = {QObject::connect(m_reply, &QIODevice::readyRead, m_reply, wake),
                         QObject::connect(m_reply, &QNetworkReply::finished, m_reply, wake),
                         QObject::connect(m_reply, &QObject::destroyed, m_reply, wake)};
    }

    void await_resume() const {}

private:
    QNetworkReply *m_reply;
    std::array<QMetaObject::Connection, 3> m_connections;
};

} // namespace

QCoro::Task<Received> receive(QNetworkReply *sent, qsizetype limit)
{
    Received received;
    // The reply belongs to its manager, which may go away while we wait (the window closes);
    // QCoro still resumes us then, later, so the reply is only touched while it exists.
    const QPointer<QNetworkReply> reply(sent);
    // Keeps Qt's own buffer small, so that the limit bounds what is held in memory.
    reply->setReadBufferSize(64 * 1024);

    bool within = true;
    while (within && reply->isRunning()) {
        // Wakes on new data and on the end of the reply, whichever comes first.
        if (reply->bytesAvailable() == 0)
            co_await Readable(reply.get());
        if (!reply) {
            received.transportFailed = true;
            received.error = QNetworkReply::OperationCanceledError;
            co_return received;
        }
        // A time-out or an abort closes the reply; reading it then would only warn.
        if (!reply->isOpen())
            break;
        within = append(received, reply->readAll(), limit);
    }
    if (!within) {
        reply->abort();
    } else if (reply->isOpen()) {
        append(received, reply->readAll(), limit);
    }

    received.error = reply->error();
    received.transportFailed =
        !received.overflow && received.error != QNetworkReply::NoError && !isHttpStatusError(received.error);
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.isValid())
        received.status = status.toInt();
    co_return received;
}
