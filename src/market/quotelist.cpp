#include "market/quotelist.h"

#include "market/markets.h"
#include "model/fixed.h"
#include "model/publish.h"
#include "model/regionformat.h"

QuoteList::QuoteList(QObject *parent)
    : QAbstractListModel(parent)
{}

void QuoteList::setMarket(Markets *market)
{
    if (!follow(this, m_market, market, [this](Markets *store) {
            connect(store, &Markets::quotesChanged, this, &QuoteList::rebuild);
        }))
        return;
    rebuild();
    emit marketChanged();
}

void QuoteList::setQuery(const QString &query)
{
    if (publish(this, m_query, query, &QuoteList::queryChanged))
        rebuild();
}

int QuoteList::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant QuoteList::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const Quote &quote = m_rows.at(index.row());
    switch (role) {
    case IdRole:
        return quote.id();
    case NameRole:
        return quote.name();
    case SymbolRole:
        return quote.symbol();
    case PriceRole:
        return usd(quote.price());
    case ChangeRole:
        return changeText(quote.change());
    case RisingRole:
        return rising(quote.change());
    default:
        return {};
    }
}

QHash<int, QByteArray> QuoteList::roleNames() const
{
    return {{IdRole, "quoteId"},  {NameRole, "name"},     {SymbolRole, "symbol"},
            {PriceRole, "price"}, {ChangeRole, "change"}, {RisingRole, "rising"}};
}

bool QuoteList::matches(const Quote &quote, const QString &query, const QLocale &locale)
{
    if (query.isEmpty())
        return true;
    const QString needle = locale.toLower(query);
    return locale.toLower(quote.name()).contains(needle) || locale.toLower(quote.symbol()).contains(needle);
}

QString QuoteList::changeText(double change)
{
    return signedFixed(change, 2) + QStringLiteral("% · 24h");
}

void QuoteList::rebuild()
{
    const qsizetype before = m_rows.size();
    beginResetModel();
    m_rows.clear();
    if (m_market) {
        const QLocale locale = QLocale::system();
        for (const Quote &quote : m_market->quotes()) {
            if (matches(quote, m_query, locale))
                m_rows.append(quote);
        }
    }
    endResetModel();
    if (m_rows.size() != before)
        emit countChanged();
    const bool unmatched = m_rows.isEmpty() && m_market && !m_market->quotes().isEmpty();
    const QString empty = unmatched ? QStringLiteral("No asset matches this search.") : QString();
    if (empty != m_emptyText) {
        m_emptyText = empty;
        emit emptyTextChanged();
    }
}
