#include "model/received.h"

#include <QCoroNetworkReply>
#include <QPointer>

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
            co_await qCoro(reply.get()).waitForReadyRead(std::chrono::milliseconds{-1});
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
