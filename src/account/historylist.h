#pragma once

#include <QAbstractListModel>
#include <QJsonArray>
#include <QJsonObject>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include <optional>

#include "owner/ownersession.h"

// The payment history entries of the account screen, one per row of the session's history, keyed
// by position: two rows with the same "id" are two entries.
class HistoryList : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(OwnerSession *session READ session WRITE setSession NOTIFY sessionChanged REQUIRED)
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        HeadlineRole = Qt::UserRole + 1,
        RecipientRole,
        DateRole,
        HasHashRole,
        ExplorerRole,
        PaymentIdRole,
        HasReasonRole,
        ReasonRole,
    };

    explicit HistoryList(QObject *parent = nullptr);

    OwnerSession *session() const { return m_session; }
    void setSession(OwnerSession *session);
    int count() const { return static_cast<int>(m_rows.size()); }

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // What one history row shows in `role`, as data() gives it.
    static QVariant value(const QJsonObject &row, int role);
    // "<amount> kUSD · <state>", with "—" and "Unknown" standing in.
    static QString headline(const QJsonObject &row);
    // The payment's date and time in the region's form and the local zone, or "Date unavailable".
    static QString dateLine(const QJsonObject &row);
    // The Sepolia explorer's page for a transaction hash, the hash escaped as one path segment;
    // none for "." and "..", which no escaping keeps in place (the entry is still shown, its link
    // is not usable).
    static std::optional<QUrl> explorerUrl(const QString &hash);

signals:
    void sessionChanged();
    void countChanged();

private:
    void rebuild();

    QPointer<OwnerSession> m_session;
    QJsonArray m_rows;
};
