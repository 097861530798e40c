#pragma once

#include "model/quote.h"

#include <QAbstractListModel>
#include <QLocale>
#include <QPointer>
#include <QtQml/qqmlregistration.h>

#include "market/markets.h"

// The rows a market list shows: the store's quotes that pass the search, in the store's order,
// each with its display texts. Rows are positional, so two quotes of one pair are two rows.
class QuoteList : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(Markets *market READ market WRITE setMarket NOTIFY marketChanged REQUIRED)
    Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY queryChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    // What stands in for the rows when the search leaves none of the store's quotes; empty
    // otherwise (with no quotes at all, the store's status says why).
    Q_PROPERTY(QString emptyText READ emptyText NOTIFY emptyTextChanged)

public:
    enum Role { IdRole = Qt::UserRole + 1, NameRole, SymbolRole, PriceRole, ChangeRole, RisingRole };

    explicit QuoteList(QObject *parent = nullptr);

    Markets *market() const { return m_market; }
    void setMarket(Markets *market);
    const QString &query() const { return m_query; }
    void setQuery(const QString &query);
    int count() const { return static_cast<int>(m_rows.size()); }
    const QString &emptyText() const { return m_emptyText; }

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Whether a quote passes the search: an empty query passes everything; otherwise the name
    // or the symbol must contain the query, ignoring case by the locale's own rules. The query
    // is taken as typed (blanks count) and accents are not folded.
    static bool matches(const Quote &quote, const QString &query, const QLocale &locale);
    // "+1.23% · 24h": sign always shown, "." as the decimal separator in every locale.
    static QString changeText(double change);
    // Whether the change is shown in the rising colour (teal) rather than red.
    static bool rising(double change) { return change >= 0; }

signals:
    void marketChanged();
    void queryChanged();
    void countChanged();
    void emptyTextChanged();

private:
    void rebuild();

    QPointer<Markets> m_market;
    QString m_query;
    QList<Quote> m_rows;
    QString m_emptyText;
};
