#include "marketfeed.h"

#include <QJsonArray>
#include <QRandomGenerator>

#include <algorithm>
#include <cmath>

namespace {

double uniform(double low, double high)
{
    return low + (high - low) * QRandomGenerator::global()->generateDouble();
}

double cents(double value)
{
    return std::round(value * 100) / 100;
}

} // namespace

MarketFeed::MarketFeed()
{
    const struct
    {
        const char *name;
        double price;
        double volume;
    } seeds[] = {{"BTC-USD", 67000, 9000}, {"ETH-USD", 3200, 110000}, {"SOL-USD", 150, 1800000}};

    for (const auto &seed : seeds) {
        Pair pair;
        pair.name = QString::fromLatin1(seed.name);
        pair.anchor = seed.price;
        pair.price = seed.price * uniform(0.99, 1.01);
        pair.open = seed.price * uniform(0.97, 1.03);
        pair.high = std::max(pair.open, pair.price) * uniform(1.002, 1.015);
        pair.low = std::min(pair.open, pair.price) * uniform(0.985, 0.998);
        pair.volume = seed.volume * uniform(0.9, 1.1);
        m_pairs.push_back(pair);
    }
}

void MarketFeed::step(Pair &pair)
{
    // At least 0.02 %, so that even the cheapest pair moves by a cent or more every time.
    const double size = uniform(0.0002, 0.001);
    bool up = QRandomGenerator::global()->bounded(2) == 1;
    if (pair.price > pair.anchor * 1.08)
        up = false;
    else if (pair.price < pair.anchor * 0.92)
        up = true;
    pair.price *= up ? 1 + size : 1 - size;
    pair.high = std::max(pair.high, pair.price);
    pair.low = std::min(pair.low, pair.price);
    pair.volume += pair.volume * uniform(0.00001, 0.0001);
}

QJsonObject MarketFeed::next(const QDateTime &now)
{
    const QString time = now.toUTC().toString(Qt::ISODateWithMs);
    QJsonArray quotes;
    for (Pair &pair : m_pairs) {
        step(pair);
        // Whole cents, so that the quoted bid and ask lie strictly either side of the price.
        const qint64 price = std::llround(pair.price * 100);
        const qint64 halfSpread = std::max<qint64>(1, std::llround(price * 0.00001));
        quotes.append(QJsonObject{
            {QStringLiteral("pair"), pair.name},
            {QStringLiteral("price"), price / 100.0},
            {QStringLiteral("bid"), (price - halfSpread) / 100.0},
            {QStringLiteral("ask"), (price + halfSpread) / 100.0},
            {QStringLiteral("change"), cents((pair.price - pair.open) / pair.open * 100)},
            {QStringLiteral("high"), std::llround(pair.high * 100) / 100.0},
            {QStringLiteral("low"), std::llround(pair.low * 100) / 100.0},
            {QStringLiteral("volume"), cents(pair.volume)},
            {QStringLiteral("time"), time},
        });
    }
    return {{QStringLiteral("quotes"), quotes}};
}
