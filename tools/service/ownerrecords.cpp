#include "ownerrecords.h"

#include "randomtext.h"

#include <QJsonDocument>

namespace {

struct Vendor
{
    const char *name;
    const char *reason;
};

const Vendor vendors[] = {
    {"Coinbase market data relay", "Market data for BTC-USD, ETH-USD and SOL-USD, one hour"},
    {"Sepolia RPC gateway", "RPC access for balance and allowance reads"},
    {"Inference API", "Model calls to summarise the day's quotes"},
    {"Price alert relay", "Delivery of three price alerts"},
    {"Research desk", "Weekly market structure report"},
    {"Log storage", "Storage of paper-trade logs, 30 days"},
};
constexpr int vendorCount = sizeof(vendors) / sizeof(vendors[0]);

const char *const states[] = {"settled", "settled", "pending", "settled", "refunded", "settled"};
constexpr int stateCount = sizeof(states) / sizeof(states[0]);

// Amounts in cents of a kUSD; the cycle keeps every row of the same length at a given index.
const int amounts[] = {25, 120, 5, 250, 40, 75, 15, 300};
constexpr int amountCount = sizeof(amounts) / sizeof(amounts[0]);

const char filler[] = " Padding for a size test.";

} // namespace

OwnerRecords::OwnerRecords(const QDateTime &now)
    : m_now(now.toUTC())
    , m_owner(QStringLiteral("0x") + randomHex(20))
{
    for (int i = 0; i < vendorCount; ++i)
        m_vendorAddresses.append(QStringLiteral("0x") + randomHex(20));
    QList<Payment> payments;
    for (int i = 0; i < 6; ++i)
        payments.append(payment(i));
    setHistory(std::move(payments));
}

QJsonObject OwnerRecords::account() const
{
    return {{QStringLiteral("owner"), m_owner},
            {QStringLiteral("nativeBalance"), QStringLiteral("0.4821")},
            {QStringLiteral("tokenBalance"), QStringLiteral("12.50")}};
}

std::optional<QJsonObject> OwnerRecords::receipt(const QString &id) const
{
    const auto found = m_byId.constFind(id);
    if (found == m_byId.constEnd())
        return std::nullopt;
    const Payment &p = m_payments.at(*found);
    const QString done = p.state == QLatin1String("pending") ? QStringLiteral("is waiting to settle")
                                                             : QStringLiteral("is %1").arg(p.state);
    return QJsonObject{
        {QStringLiteral("explanation"),
         QStringLiteral("The agent signed an intent to pay %1 kUSD to %2 (%3) for \"%4\", within "
                        "the owner's spending permission. Transaction %5 on Sepolia carries that "
                        "intent and %6.")
             .arg(p.amount, p.vendor, p.recipient, p.reason, p.hash, done)},
        {QStringLiteral("limitation"),
         QStringLiteral("The receipt shows what the agent asked to pay and that the payment was "
                        "sent; it does not show that %1 delivered what was paid for.")
             .arg(p.vendor)},
    };
}

bool OwnerRecords::padHistory(qsizetype bytes)
{
    if (bytes < smallestPaddedHistory())
        return false;
    QList<Payment> payments;
    qsizetype size = 2; // the brackets
    for (int i = 0;; ++i) {
        Payment next = i < m_payments.size() ? m_payments.at(i) : payment(i);
        const qsizetype grown = size + row(next).size() + (payments.isEmpty() ? 0 : 1);
        if (grown > bytes)
            break;
        size = grown;
        payments.append(std::move(next));
    }
    // Plain ASCII that JSON writes as it stands: one character, one byte.
    QString &reason = payments.last().reason;
    for (qsizetype missing = bytes - size; missing > 0;) {
        const QString piece = QString::fromLatin1(filler).left(missing);
        reason += piece;
        missing -= piece.size();
    }
    setHistory(std::move(payments));
    return true;
}

qsizetype OwnerRecords::smallestPaddedHistory() const
{
    return 2 + row(m_payments.isEmpty() ? payment(0) : m_payments.first()).size();
}

OwnerRecords::Payment OwnerRecords::payment(int index) const
{
    const Vendor &vendor = vendors[index % vendorCount];
    const int cents = amounts[index % amountCount];
    Payment p;
    p.id = QStringLiteral("pay_") + randomHex(8);
    p.amount = QStringLiteral("%1.%2").arg(cents / 100).arg(cents % 100, 2, 10, QLatin1Char('0'));
    p.state = QString::fromLatin1(states[index % stateCount]);
    p.recipient = m_vendorAddresses.at(index % vendorCount);
    p.vendor = QString::fromLatin1(vendor.name);
    p.created =
        m_now.addSecs(-3600LL * (3 * index + 1) - 60 * (7 * index % 60)).addMSecs(-(37 * index % 1000));
    p.hash = QStringLiteral("0x") + randomHex(32);
    p.reason = QString::fromLatin1(vendor.reason);
    return p;
}

QByteArray OwnerRecords::row(const Payment &p)
{
    const QJsonObject object{
        {QStringLiteral("id"), p.id},
        {QStringLiteral("amount"), p.amount},
        {QStringLiteral("state"), p.state},
        {QStringLiteral("recipient"), p.recipient},
        {QStringLiteral("created"), p.created.toString(Qt::ISODateWithMs)},
        {QStringLiteral("hash"), p.hash},
        {QStringLiteral("reason"), p.reason},
    };
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

void OwnerRecords::setHistory(QList<Payment> payments)
{
    m_payments = std::move(payments);
    m_byId.clear();
    m_history = "[";
    for (qsizetype i = 0; i < m_payments.size(); ++i) {
        m_byId.insert(m_payments.at(i).id, i);
        if (i > 0)
            m_history += ',';
        m_history += row(m_payments.at(i));
    }
    m_history += ']';
}
