#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

// What the service knows about the one owner it serves: the wallet, the payments the agent made
// from the vault, and a receipt for each payment. Made up once at start and fixed from then on.
class OwnerRecords
{
public:
    // A handful of payments, the latest made shortly before `now`.
    explicit OwnerRecords(const QDateTime &now);

    // {"owner": "0x…", "nativeBalance": "…", "tokenBalance": "…"}
    QJsonObject account() const;
    // The payment history as the service sends it: a compact JSON array of payments.
    const QByteArray &history() const { return m_history; }
    // {"explanation": …, "limitation": …} for a payment of the history; none for any other id.
    std::optional<QJsonObject> receipt(const QString &id) const;

    // Replaces the history with as many payments as fit into exactly `bytes` bytes, the last
    // one's reason stretched to fill the rest. False, and nothing changed, when not even one
    // payment fits.
    bool padHistory(qsizetype bytes);
    // The smallest size padHistory() can reach.
    qsizetype smallestPaddedHistory() const;

private:
    struct Payment
    {
        QString id;
        QString amount; // kUSD, two decimals
        QString state;
        QString recipient;
        QString vendor;
        QDateTime created;
        QString hash;
        QString reason;
    };

    Payment payment(int index) const;
    static QByteArray row(const Payment &payment);
    void setHistory(QList<Payment> payments);

    QDateTime m_now;
    QString m_owner;
    QList<QString> m_vendorAddresses;
    QList<Payment> m_payments;
    QHash<QString, qsizetype> m_byId;
    QByteArray m_history;
};
