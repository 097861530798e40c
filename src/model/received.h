#pragma once

#include <QByteArray>
#include <QNetworkReply>

#include <QCoroTask>

#include <optional>

// What came back for one request.
struct Received
{
    QByteArray body;
    // The body reached the limit and reading stopped there; the rest was never taken in.
    bool overflow = false;
    // The transfer itself failed: no connection, time-out, reset, cancellation, or bytes that
    // are not HTTP. An HTTP error status alone is not a transport failure.
    bool transportFailed = false;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    // The HTTP status, when the reply was an HTTP response.
    std::optional<int> status;
};

// Waits for the reply to end without blocking the GUI thread, taking in at most `limit` bytes of
// body: once the body reaches the limit the transfer is aborted, so no reply can make us hold
// more than that.
QCoro::Task<Received> receive(QNetworkReply *reply, qsizetype limit);
