#include "sessions.h"

#include "randomtext.h"

#include <QCryptographicHash>

Sessions::Sessions(std::chrono::milliseconds lifetime)
    : m_lifetime(lifetime)
{}

Sessions::Issued Sessions::issue(qint64 now)
{
    forgetExpired(now);
    Issued issued{randomHex(32), now + m_lifetime.count()};
    m_expiry.insert(digest(issued.token), issued.expires);
    return issued;
}

bool Sessions::valid(const QString &token, qint64 now)
{
    forgetExpired(now);
    return !token.isEmpty() && m_expiry.contains(digest(token));
}

bool Sessions::end(const QString &token, qint64 now)
{
    forgetExpired(now);
    return !token.isEmpty() && m_expiry.remove(digest(token)) > 0;
}

QByteArray Sessions::digest(const QString &token)
{
    return QCryptographicHash::hash(token.toUtf8(), QCryptographicHash::Sha256);
}

void Sessions::forgetExpired(qint64 now)
{
    m_expiry.removeIf([now](const auto &item) { return now >= item.value(); });
}
