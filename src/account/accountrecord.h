#pragma once

#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

#include "owner/ownersession.h"

// What the owner wallet section shows of the session's account record. Values are shown as the
// service wrote them; a missing key or a value that is not a JSON string shows its fallback.
class AccountRecord : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(OwnerSession *session READ session WRITE setSession NOTIFY sessionChanged REQUIRED)
    Q_PROPERTY(QString address READ address NOTIFY changed)
    Q_PROPERTY(QString nativeBalance READ nativeBalance NOTIFY changed)
    Q_PROPERTY(QString tokenBalance READ tokenBalance NOTIFY changed)

public:
    explicit AccountRecord(QObject *parent = nullptr);

    OwnerSession *session() const { return m_session; }
    void setSession(OwnerSession *session);

    QString address() const { return address(record()); }
    QString nativeBalance() const { return nativeBalance(record()); }
    QString tokenBalance() const { return tokenBalance(record()); }

    // "owner", else "Unavailable".
    static QString address(const QJsonObject &record);
    // "nativeBalance" and "tokenBalance", else "—".
    static QString nativeBalance(const QJsonObject &record);
    static QString tokenBalance(const QJsonObject &record);

signals:
    void sessionChanged();
    void changed();

private:
    QJsonObject record() const;

    QPointer<OwnerSession> m_session;
};
