#include "account/accountrecord.h"

#include "model/json.h"
#include "model/publish.h"
#include "owner/ownersession.h"

AccountRecord::AccountRecord(QObject *parent)
    : QObject(parent)
{}

void AccountRecord::setSession(OwnerSession *session)
{
    if (!follow(this, m_session, session, [this](OwnerSession *store) {
            connect(store, &OwnerSession::ownerChanged, this, &AccountRecord::changed);
        }))
        return;
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
