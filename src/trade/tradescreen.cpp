#include "trade/tradescreen.h"

#include "market/markets.h"
#include "trade/papertrade.h"

#include <QVariantMap>

#include <utility>

namespace {

// Assigns and notifies only on a real change, so that a view writing back what it shows does
// not loop.
template<typename Signal>
void assign(TradeScreen *screen, QString &field, const QString &value, Signal changed)
{
    if (field == value)
        return;
    field = value;
    emit(screen->*changed)();
}

} // namespace

TradeScreen::TradeScreen(Markets *market, QObject *parent)
    : QObject(parent)
    , m_market(market)
{
    if (m_market)
        connect(m_market, &Markets::quotesChanged, this, &TradeScreen::snapshotChanged);
}

void TradeScreen::setAsset(const QString &asset)
{
    if (m_asset == asset)
        return;
    m_asset = asset;
    emit assetChanged();
    emit snapshotChanged();
}

void TradeScreen::setSize(const QString &size)
{
    assign(this, m_size, size, &TradeScreen::sizeChanged);
}

void TradeScreen::setSide(const QString &side)
{
    assign(this, m_side, side, &TradeScreen::sideChanged);
}

void TradeScreen::setFee(const QString &fee)
{
    assign(this, m_fee, fee, &TradeScreen::feeChanged);
}

void TradeScreen::setSlippage(const QString &slippage)
{
    assign(this, m_slippage, slippage, &TradeScreen::slippageChanged);
}

void TradeScreen::setPreview(const QString &preview)
{
    assign(this, m_preview, preview, &TradeScreen::previewChanged);
}

std::optional<Quote> TradeScreen::q() const
{
    if (!m_market)
        return std::nullopt;
    for (const Quote &quote : m_market->quotes()) {
        if (quote.pair() == m_asset)
            return quote;
    }
    return std::nullopt;
}

QString TradeScreen::row(QString SnapshotRows::*field) const
{
    const auto quote = q();
    return quote ? snapshotRows(*quote).*field : QString();
}

QVariantList TradeScreen::assetOptions()
{
    const auto option = [](const QString &name, const QString &value) {
        return QVariantMap{{QStringLiteral("name"), name}, {QStringLiteral("value"), value}};
    };
    return {
        option(QStringLiteral("Bitcoin"), QStringLiteral("BTC-USD")),
        option(QStringLiteral("Ethereum"), QStringLiteral("ETH-USD")),
        option(QStringLiteral("Solana"), QStringLiteral("SOL-USD")),
    };
}

void TradeScreen::calculate()
{
    const PaperOrder order{m_size, m_fee, m_slippage, m_side};
    // The time is read once, here: the preview then stays as it is, even once its quote is stale.
    setPreview(paperPreview(order, q(), m_clock ? m_clock() : QDateTime::currentDateTimeUtc()));
}

void TradeScreen::setClock(Clock clock)
{
    m_clock = std::move(clock);
}
