#include "account/accountrecord.h"

#include "model/json.h"
#include "owner/ownersession.h"

AccountRecord::AccountRecord(QObject *parent)
    : QObject(parent)
{}

void AccountRecord::setSession(OwnerSession *session)
{
    if (m_session == session)
        return;
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    m_session = session;
    if (m_session)
        connect(m_session, &OwnerSession::ownerChanged, this, &AccountRecord::changed);
    emit sessionChanged();
    emit changed();
}

QJsonObject AccountRecord::record() const
{
    return m_session ? m_session->owner() : QJsonObject{};
}

QString AccountRecord::address(const QJsonObject &record)
{
    return readText(record, u"owner").value_or(QStringLiteral("Unavailable"));
}

QString AccountRecord::nativeBalance(const QJsonObject &record)
{
    return readText(record, u"nativeBalance").value_or(QStringLiteral("—"));
}

QString AccountRecord::tokenBalance(const QJsonObject &record)
{
    return readText(record, u"tokenBalance").value_or(QStringLiteral("—"));
}
