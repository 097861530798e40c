#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// One plain HTTP/1.1 exchange over a fresh loopback connection, with nothing between the socket
// and the bytes: the network floor the app's requests are compared with.
struct Exchange
{
    int status = 0;
    QByteArray body;
    double ms = 0; // from connect() to the last byte of the reply
};

// `origin` is "http://127.0.0.1:PORT". A body makes it a POST with `contentType`.
std::optional<Exchange> exchange(const QString &origin, const QByteArray &method, const QByteArray &path,
                                 const QByteArray &body = {}, const QByteArray &contentType = {});
