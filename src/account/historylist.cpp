#include "account/historylist.h"

#include "model/json.h"
#include "model/publish.h"
#include "model/regionformat.h"
#include "model/stamp.h"
#include "owner/ownersession.h"

namespace {

const QByteArray explorerPages = QByteArrayLiteral("https://sepolia.etherscan.io/tx/");

} // namespace

HistoryList::HistoryList(QObject *parent)
    : QAbstractListModel(parent)
{}

void HistoryList::setSession(OwnerSession *session)
{
    if (!follow(this, m_session, session, [this](OwnerSession *store) {
            connect(store, &OwnerSession::historyChanged, this, &HistoryList::rebuild);
        }))
        return;
    rebuild();
    emit sessionChanged();
}

int HistoryList::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant HistoryList::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    return value(m_rows.at(index.row()).toObject(), role);
}

QVariant HistoryList::value(const QJsonObject &row, int role)
{
    const std::optional<QString> hash = readText(row, u"hash");
    switch (role) {
    case HeadlineRole:
        return headline(row);
    case RecipientRole:
        return readText(row, u"recipient").value_or(QString());
    case DateRole:
        return dateLine(row);
    case HasHashRole:
        return hash.has_value();
    case ExplorerRole:
        return hash ? explorerUrl(*hash).value_or(QUrl()) : QUrl();
    case PaymentIdRole:
        return readText(row, u"id").value_or(QString());
    case HasReasonRole:
        return readText(row, u"reason").has_value();
    case ReasonRole:
        return readText(row, u"reason").value_or(QString());
    default:
        return {};
    }
}

QHash<int, QByteArray> HistoryList::roleNames() const
{
    return {{HeadlineRole, "headline"},   {RecipientRole, "recipient"}, {DateRole, "date"},
            {HasHashRole, "hasHash"},     {ExplorerRole, "explorer"},   {PaymentIdRole, "paymentId"},
            {HasReasonRole, "hasReason"}, {ReasonRole, "reason"}};
}

QString HistoryList::headline(const QJsonObject &row)
{
    return readText(row, u"amount").value_or(QStringLiteral("—")) + QStringLiteral(" kUSD · ")
           + readText(row, u"state").value_or(QStringLiteral("Unknown"));
}

QString HistoryList::dateLine(const QJsonObject &row)
{
    if (const auto instant = stamp(readText(row, u"created").value_or(QString())))
        return shortDateTime(*instant);
    return QStringLiteral("Date unavailable");
}

std::optional<QUrl> HistoryList::explorerUrl(const QString &hash)
{
    // A browser takes these for steps up the path however they are escaped.
    if (hash == u"." || hash == u"..")
        return std::nullopt;
    // Everything but letters, digits and "-._~" escaped, so that a slash, backslash, "?", "#" or
    // "%" in the hash stays inside the one segment.
    const QUrl url = QUrl::fromEncoded(explorerPages + QUrl::toPercentEncoding(hash), QUrl::StrictMode);
    if (!url.isValid())
        return std::nullopt;
    return url;
}

void HistoryList::rebuild()
{
    const QJsonArray rows = m_session ? m_session->history() : QJsonArray{};
    if (rows == m_rows)
        return;
    // Rows taken out and put in rather than a reset: a view lays out removals and insertions when
    // it next polishes, after the sections above the entries have taken their new size, and
    // makes only the entries that are then in view. A reset makes them at once, for the space
    // the sections left before.
    const qsizetype before = m_rows.size();
    if (!m_rows.isEmpty()) {
        beginRemoveRows({}, 0, int(m_rows.size()) - 1);
        m_rows = QJsonArray{};
        endRemoveRows();
    }
    if (!rows.isEmpty()) {
        beginInsertRows({}, 0, int(rows.size()) - 1);
        m_rows = rows;
        endInsertRows();
    }
    if (m_rows.size() != before)
        emit countChanged();
}
