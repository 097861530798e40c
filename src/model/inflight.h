#pragma once

#include <QList>
#include <QPointer>

class QNetworkReply;

// The replies a store is waiting for. A store that goes away while a request is in flight would
// leave its operation suspended for ever; aborting the replies lets every operation run to its
// end, and `closing` tells it to touch nothing of the store on the way out.
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
