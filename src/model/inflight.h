#pragma once

#include <QList>
#include <QPointer>

class QNetworkReply;

// The replies a store is waiting for. When the store goes away its requests are aborted, so the
// service sees them end and no reply outlives its use. QCoro resumes the suspended operations
// afterwards, from the event loop; they find the store gone (their QPointer to it is null) and
// touch nothing of it.
class Inflight
{
public:
    Inflight() = default;
    Inflight(const Inflight &) = delete;
    Inflight &operator=(const Inflight &) = delete;
    ~Inflight();

    void add(QNetworkReply *reply);
    bool closing() const { return m_closing; }

private:
    QList<QPointer<QNetworkReply>> m_replies;
    bool m_closing = false;
};
