#pragma once

#include <QHash>
#include <QTcpServer>

#include <functional>

// A peer on a loopback port that answers every path with its good reply as a 200, except the
// one path that is told to misbehave. It counts the requests of each path and what it pushed
// into an endless body.
class FaultyPeer : public QTcpServer
{
    Q_OBJECT

public:
    enum class Fault {
        Stall,       // never answers
        ResetInBody, // half the good body, then a TCP reset
        Endless,     // `status` with a body that never ends
        EndlessHead, // a status line, then header lines that never end
        Drip,        // the good body in small pieces, each well within the time-out
        Reply,       // `status` with `body`, and a Location header when `location` is set
        Raw,         // `body` as it is, not HTTP at all, then the close
    };
    // What a peer that speaks TLS shows the client: the certificate the client is given to
    // trust, or one it knows nothing of.
    enum class Certificate { None, Trusted, Stranger };
    struct Play
    {
        QByteArray path;
        Fault fault = Fault::Reply;
        int status = 200;
        QByteArray body;
        QByteArray location;
        // Reply and Endless send their body in chunks rather than with a length or to the close.
        bool chunked = false;
        // From this play on, every connection shows this certificate (None: no change).
        Certificate certificate = Certificate::None;
    };

    // The good reply of each path; a path it does not know gets an empty one. With `https`, every
    // connection is TLS with the trusted certificate.
    explicit FaultyPeer(const QHash<QByteArray, QByteArray> &good, bool https = false);

    QString origin() const;
    // Makes the play's path misbehave from now on.
    void play(const Play &play);
    // The trusted certificate as PEM, made anew for each test run: what the client is given.
    static QByteArray authority();
    int count(const QByteArray &path) const { return m_counts.value(path); }
    // Every request as it came, head and body, in the order they came.
    const QList<QByteArray> &requests() const { return m_requests; }
    qint64 pushed() const { return m_pushed; }
    bool endlessClosed() const { return m_endlessClosed; }

private:
    void incomingConnection(qintptr descriptor) override;
    void serve(QTcpSocket *socket, const QByteArray &path);
    // Writes what `more` makes while the client reads it, until it goes away.
    void pour(QTcpSocket *socket, std::function<QByteArray()> more);

    QHash<QByteArray, QByteArray> m_good;
    QHash<QByteArray, int> m_counts;
    QList<QByteArray> m_requests;
    Play m_play;
    Certificate m_certificate = Certificate::None;
    qint64 m_pushed = 0;
    bool m_endlessClosed = false;
};
