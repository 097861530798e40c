#pragma once

#include <QByteArray>
#include <QHash>
#include <QString>

#include <chrono>

// The bearer tokens handed out by granted sign-ins. Only a digest of each token is kept, so the
// table itself holds nothing that would open a session. Times are milliseconds since the epoch.
class Sessions
{
public:
    struct Issued
    {
        QString token;
        qint64 expires = 0; // the first millisecond at which the token no longer works
    };

    explicit Sessions(std::chrono::milliseconds lifetime);

    Issued issue(qint64 now);
    bool valid(const QString &token, qint64 now);
    // False when the token did not open a live session.
    bool end(const QString &token, qint64 now);

private:
    static QByteArray digest(const QString &token);
    void forgetExpired(qint64 now);

    std::chrono::milliseconds m_lifetime;
    QHash<QByteArray, qint64> m_expiry; // token digest -> expiry
};
