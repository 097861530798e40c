#include "market/markets.h"

#include "model/json.h"
#include "model/publish.h"
#include "model/regionformat.h"
#include "model/snapshot.h"

#include <QDateTime>

#include <cmath>

namespace {

std::optional<Quote> parseRow(const QJsonObject &row)
{
    const auto pair = readText(row, u"pair");
    if (!pair)
        return std::nullopt;
    const auto price = readNumber(row, u"price");
    if (!price || !std::isfinite(*price) || *price <= 0)
        return std::nullopt;
    const auto time = readText(row, u"time");
    if (!time)
        return std::nullopt;
    const double p = *price;
    return Quote(*pair, p, readNumber(row, u"change").value_or(0), readNumber(row, u"high").value_or(p),
                 readNumber(row, u"low").value_or(p), readNumber(row, u"volume").value_or(0),
                 readNumber(row, u"bid").value_or(p), readNumber(row, u"ask").value_or(p), *time);
}

} // namespace

Markets::Markets(QNetworkAccessManager *client, Service service, QObject *parent)
    : QObject(parent)
    , m_client(client)
    , m_service(std::move(service))
    , m_status(QStringLiteral("Loading market snapshot…"))
{}

std::optional<QList<Quote>> Markets::parse(const QJsonObject &snapshot)
{
    const auto rows = readObjects(snapshot, u"quotes");
    if (!rows)
        return std::nullopt;
    QList<Quote> quotes;
    for (const QJsonValue &row : *rows) {
        if (auto quote = parseRow(row.toObject()))
            quotes.append(*quote);
    }
    // A snapshot is three quotes or nothing: never shown in part.
    if (quotes.size() != 3)
        return std::nullopt;
    return quotes;
}

QCoro::Task<> Markets::load()
{
    if (m_loading || !m_client)
        co_return;
    setLoading(true);

    QPointer<Markets> self(this);
    const auto snapshot =
        co_await readSnapshot(*m_client, m_service, QStringLiteral("/market-data"), m_inflight);
    if (!self || m_inflight.closing())
        co_return;

    const auto quotes = snapshot ? parse(*snapshot) : std::nullopt;
    // Quotes shown before a failed load are removed, not kept.
    publish(this, m_quotes, quotes.value_or(QList<Quote>{}), &Markets::quotesChanged);
    publish(this, m_status,
            quotes
                ? QStringLiteral("Coinbase Exchange · refreshed ") + shortTime(QDateTime::currentDateTime())
                : QStringLiteral("Quotes unavailable. Refresh to retry."),
            &Markets::statusChanged);
    setLoading(false);
}

QCoro::QmlTask Markets::loadTask()
{
    return load();
}

void Markets::setLoading(bool loading)
{
    publish(this, m_loading, loading, &Markets::loadingChanged);
}
