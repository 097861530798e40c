#pragma once

#include <QByteArray>
#include <QList>

#include <QCoroTask>

#include <chrono>
#include <memory>
#include <optional>

// One HTTP/1.1 request, sent exactly as given.
struct CurlRequest
{
    // Goes on the wire as written: no dot segment resolved, no escape decoded or added. Only
    // https, or http to a loopback host, is sent.
    QByteArray url;
    // A POST with this body; a GET without one.
    std::optional<QByteArray> body;
    // "Name: value" lines; besides them only Host and, with a body, Content-Length are sent. They
    // are wiped once copied, since one may carry a bearer token.
    QList<QByteArray> headers;
    // The longest wait with no data arriving, the connection included.
    std::chrono::milliseconds idle{12000};
    // Reading stops at the body's first byte at this size.
    qsizetype bodyLimit = 0;
    // PEM certificates trusted instead of the system's bundle; empty: the system's.
    QByteArray authorities;
};

struct CurlReply
{
    // Nothing was sent: the URL or a header cannot go out exactly as given.
    bool refused = false;
    // curl's result (CURLcode); a transfer ended by the idle wait or by the loop going away is
    // CURLE_OPERATION_TIMEDOUT or CURLE_ABORTED_BY_CALLBACK.
    int code = 0;
    // The HTTP status, 0 when no status line came.
    long status = 0;
    QByteArray body;
    // The body or the head reached its limit and the transfer was stopped there.
    bool overflow = false;
};

// libcurl's multi interface on the Qt event loop of the thread that makes it: sockets watched by
// QSocketNotifier, curl's timer kept by a single-shot precise QTimer, each transfer awaited as a
// coroutine that is resumed from the event loop. Nothing blocks the thread and no transfer is
// ever sent twice. One multi handle, made on the first transfer and kept, so the CA store is
// loaded once and TLS sessions are resumed.
class CurlLoop
{
public:
    CurlLoop();
    CurlLoop(const CurlLoop &) = delete;
    CurlLoop &operator=(const CurlLoop &) = delete;
    // Ends every transfer in flight; their waiters resume later, from the event loop, with
    // CURLE_ABORTED_BY_CALLBACK.
    ~CurlLoop();

    QCoro::Task<CurlReply> perform(CurlRequest request);

private:
    class Multi;
    std::unique_ptr<Multi> m_multi;
};
