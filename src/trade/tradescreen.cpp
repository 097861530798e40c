#include "trade/tradescreen.h"

#include "market/markets.h"
#include "model/publish.h"
#include "trade/papertrade.h"

#include <utility>

TradeScreen::TradeScreen(Markets *market, QObject *parent)
    : QObject(parent)
    , m_market(market)
{
    // A child, so that whether it is armed can be seen from outside.
    m_ageTimer.setParent(this);
    m_ageTimer.setSingleShot(true);
    connect(&m_ageTimer, &QTimer::timeout, this, &TradeScreen::updateAge);
    if (m_market)
        connect(m_market, &Markets::quotesChanged, this, &TradeScreen::followQuote);
    followQuote();
}

int TradeScreen::assetIndex() const
{
    const auto catalogue = assetCatalogue();
    for (std::size_t i = 0; i < catalogue.size(); ++i) {
        if (catalogue[i].pair == m_asset)
            return int(i);
    }
    return -1;
}

QStringList TradeScreen::assetNames()
{
    QStringList names;
    for (const Asset &asset : assetCatalogue())
        names.append(asset.name.toString());
    return names;
}

void TradeScreen::setAsset(const QString &asset)
{
    if (publish(this, m_asset, asset, &TradeScreen::assetChanged))
        followQuote();
}

void TradeScreen::setAssetIndex(int index)
{
    const auto catalogue = assetCatalogue();
    if (index >= 0 && std::size_t(index) < catalogue.size())
        setAsset(catalogue[std::size_t(index)].pair.toString());
}

void TradeScreen::setSize(const QString &size)
{
    if (publish(this, m_size, size, &TradeScreen::sizeChanged))
        edited("size");
}

void TradeScreen::setSide(const QString &side)
{
    publish(this, m_side, side, &TradeScreen::sideChanged);
}

void TradeScreen::setFee(const QString &fee)
{
    if (publish(this, m_fee, fee, &TradeScreen::feeChanged))
        edited("fee");
}

void TradeScreen::setSlippage(const QString &slippage)
{
    if (publish(this, m_slippage, slippage, &TradeScreen::slippageChanged))
        edited("slippage");
}

void TradeScreen::edited(const char *field)
{
    if (m_invalidField == QLatin1String(field))
        publish(this, m_invalidField, QString(), &TradeScreen::invalidFieldChanged);
}

void TradeScreen::followQuote()
{
    std::optional<Quote> quote;
    if (m_market) {
        for (const Quote &candidate : m_market->quotes()) {
            if (candidate.pair() == m_asset) {
                quote = candidate;
                break;
            }
        }
    }
    if (quote == m_quote)
        return;
    m_quote = std::move(quote);
    m_rows = m_quote ? snapshotRows(*m_quote) : SnapshotRows{};
    emit snapshotChanged();
    updateAge();
}

void TradeScreen::setShown(bool shown)
{
    if (!publish(this, m_shown, shown, &TradeScreen::shownChanged))
        return;
    // Coming back, the age is worked out anew before the screen is drawn.
    updateAge();
}

void TradeScreen::updateAge()
{
    const QuoteAge age = m_quote ? ::quoteAge(m_quote->time(), now()) : QuoteAge{};
    publish(this, m_age, age.text, &TradeScreen::quoteAgeChanged);
    publish(this, m_fresh, age.fresh, &TradeScreen::quoteFreshChanged);
    // Wakes only when the text is due to change, not every second.
    if (m_shown && age.changesInMs)
        m_ageTimer.start(int(std::min<qint64>(*age.changesInMs, 3'600'000)));
    else
        m_ageTimer.stop();
}

void TradeScreen::calculate()
{
    const PaperOrder order{m_size, m_fee, m_slippage, m_side};
    // The time is read once, here: the preview then stays as it is, even once its quote is stale.
    publish(this, m_preview, paperPreview(order, m_quote, now()), &TradeScreen::previewChanged);
    publish(this, m_invalidField, ::invalidField(order), &TradeScreen::invalidFieldChanged);
}

void TradeScreen::refresh()
{
    if (m_market)
        m_market->load();
}

void TradeScreen::setClock(Clock clock)
{
    m_clock = std::move(clock);
    updateAge();
}

QDateTime TradeScreen::now() const
{
    return m_clock ? m_clock() : QDateTime::currentDateTimeUtc();
}
