#include "http.h"

#include <QUrl>

#include <arpa/inet.h>
#include <ctime>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

double monotonicMs()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) * 1e3 + double(ts.tv_nsec) / 1e6;
}

} // namespace

std::optional<Exchange> exchange(const QString &origin, const QByteArray &method, const QByteArray &path,
                                 const QByteArray &body, const QByteArray &contentType)
{
    const QUrl url(origin);
    if (url.host() != QLatin1String("127.0.0.1") || url.port() <= 0)
        return std::nullopt;
    const QByteArray host = "127.0.0.1:" + QByteArray::number(url.port());
    QByteArray request = method + ' ' + path + " HTTP/1.1\r\nHost: " + host + "\r\nConnection: close\r\n";
    if (!body.isEmpty() || method == "POST")
        request += "Content-Type: " + contentType + "\r\nContent-Length: " + QByteArray::number(body.size())
                   + "\r\n";
    request += "\r\n" + body;

    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(quint16(url.port()));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return std::nullopt;
    Exchange result;
    QByteArray reply;
    const double began = monotonicMs();
    bool ok = connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0
              && write(fd, request.constData(), size_t(request.size())) == ssize_t(request.size());
    // The reply ends where its Content-Length says, or when the service closes.
    qsizetype bodyStart = -1;
    qsizetype length = -1;
    while (ok) {
        char chunk[16384];
        const ssize_t got = read(fd, chunk, sizeof chunk);
        if (got <= 0)
            break;
        reply.append(chunk, got);
        if (bodyStart < 0 && (bodyStart = reply.indexOf("\r\n\r\n")) >= 0) {
            bodyStart += 4;
            for (const QByteArray &line : reply.left(bodyStart).split('\n')) {
                if (line.toLower().startsWith("content-length:"))
                    length = line.mid(15).trimmed().toLongLong();
            }
        }
        if (bodyStart >= 0 && length >= 0 && reply.size() - bodyStart >= length)
            break;
    }
    result.ms = monotonicMs() - began;
    close(fd);
    if (!ok || bodyStart < 0)
        return std::nullopt;
    const QList<QByteArray> statusLine = reply.left(reply.indexOf("\r\n")).split(' ');
    result.status = statusLine.size() > 1 ? statusLine[1].toInt() : 0;
    result.body = reply.mid(bodyStart);
    return result;
}
