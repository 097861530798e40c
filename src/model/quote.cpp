#include "model/quote.h"

#include <array>
#include <utility>

namespace {

constexpr std::array catalogue{
    Asset{u"BTC-USD", u"Bitcoin"},
    Asset{u"ETH-USD", u"Ethereum"},
    Asset{u"SOL-USD", u"Solana"},
};

} // namespace

std::span<const Asset> assetCatalogue()
{
    return catalogue;
}

Quote::Quote(QString pair, double price, double change, double high, double low, double volume, double bid,
             double ask, QString time)
    : m_pair(std::move(pair))
    , m_price(price)
    , m_change(change)
    , m_high(high)
    , m_low(low)
    , m_volume(volume)
    , m_bid(bid)
    , m_ask(ask)
    , m_time(std::move(time))
{}

QString Quote::name() const
{
    // Exact, case-sensitive lookup on the whole pair code.
    for (const auto &entry : catalogue) {
        if (entry.pair == m_pair)
            return entry.name.toString();
    }
    return m_pair;
}

QString Quote::symbol() const
{
    const qsizetype dash = m_pair.indexOf(u'-');
    return dash < 0 ? m_pair : m_pair.left(dash);
}
