#pragma once

#include <QHash>
#include <QTcpServer>

// A peer on a loopback port that answers every path with its good reply, except the one path
// that is told to misbehave. It counts the requests of each path and what it pushed into an
// endless body.
class FaultyPeer : public QTcpServer
{
    Q_OBJECT

public:
    enum class Fault {
        None,
        Stall,            // never answers
        ResetInBody,      // half the body, then a TCP reset
        CloseBeforeReply, // closes without a byte
        NotHttp,          // bytes of another protocol
        Status,           // `status` with a small JSON error, or a redirect to `location`
        Endless,          // a 200 whose body never ends
        Truncated,        // half of the good body, its length declared as such
        WrongTypes,       // the good body's keys, each with a value of another JSON type
        Drip,             // the good body in small pieces, each well within the time-out
    };
    struct Play
    {
        Fault fault = Fault::None;
        int status = 0;
        QByteArray location;
    };

    FaultyPeer();

    QString origin() const;
    // The good reply of a path, and the one with mistyped values.
    void answer(const QByteArray &path, const QByteArray &good, const QByteArray &wrong);
    // Makes `path` misbehave from now on; "/moved" answers with the path's good reply.
    void play(const QByteArray &path, const Play &play);
    int count(const QByteArray &path) const { return m_counts.value(path); }
    qint64 pushed() const { return m_pushed; }
    bool endlessClosed() const { return m_endlessClosed; }

private:
    void incomingConnection(qintptr descriptor) override;
    void serve(QTcpSocket *socket, const QByteArray &path);
    static QByteArray response(int status, const QByteArray &body, const QByteArray &extra = {});
    void endless(QTcpSocket *socket);

    QHash<QByteArray, QByteArray> m_good;
    QHash<QByteArray, QByteArray> m_wrong;
    QHash<QByteArray, int> m_counts;
    QByteArray m_path;
    Play m_play;
    qint64 m_pushed = 0;
    bool m_endlessClosed = false;
};
