#include "model/inflight.h"

#include <QNetworkReply>

Inflight::~Inflight()
{
    m_closing = true;
    const auto replies = m_replies;
    for (const auto &reply : replies) {
        if (reply && reply->isRunning())
            reply->abort();
    }
}

void Inflight::add(QNetworkReply *reply)
{
    m_replies.removeIf([](const QPointer<QNetworkReply> &r) { return r.isNull() || r->isFinished(); });
    m_replies.append(reply);
}
