#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <vector>

// Three reference quotes that wander a little with every snapshot taken: a small random walk
// around plausible prices, with the 24-hour figures following it.
class MarketFeed
{
public:
    MarketFeed();

    // {"quotes": [...]}: every price has moved one step since the previous snapshot, and every
    // quote carries `now` as its time.
    QJsonObject next(const QDateTime &now);

private:
    struct Pair
    {
        QString name;
        double anchor; // the walk is pulled back when it strays far from here
        double open;   // the price 24 hours ago
        double price;
        double high;
        double low;
        double volume; // in the base asset, over 24 hours
    };

    void step(Pair &pair);

    std::vector<Pair> m_pairs;
};
