#include "trade/papertrade.h"

#include "model/fixed.h"
#include "model/number.h"
#include "model/stamp.h"

#include <cmath>

namespace {

const QString invalidInput =
    QStringLiteral("Load a fresh quote. Enter a positive size and percentages from 0 to below 100.");

constexpr double largestSize = 1'000'000'000;
// A quote may be up to two minutes old, or up to 30 s ahead of a clock that runs slow.
constexpr qint64 oldestMs = 120'000;
constexpr qint64 newestMs = -30'000;

bool isPercentage(double value)
{
    return std::isfinite(value) && value >= 0 && value < 100;
}

bool isFresh(const QString &time, const QDateTime &now)
{
    const auto instant = stamp(time);
    if (!instant)
        return false;
    const qint64 ageMs = instant->msecsTo(now);
    return ageMs >= newestMs && ageMs <= oldestMs;
}

// The symbol comes from the service; a line break in it would add lines of the service's
// making to the preview, so each one shows as U+FFFD.
QString oneLine(QString text)
{
    for (QChar &c : text) {
        if (c.category() == QChar::Other_Control || c.category() == QChar::Separator_Line
            || c.category() == QChar::Separator_Paragraph)
            c = QChar::ReplacementCharacter;
    }
    return text;
}

} // namespace

QString paperPreview(const PaperOrder &order, const std::optional<Quote> &quote, const QDateTime &now)
{
    if (!quote)
        return invalidInput;
    const auto size = numberFromText(order.size);
    const auto fee = numberFromText(order.fee);
    const auto slippage = numberFromText(order.slippage);
    if (!size || !fee || !slippage)
        return invalidInput;
    if (!std::isfinite(*size) || *size <= 0 || *size > largestSize)
        return invalidInput;
    if (!isPercentage(*fee) || !isPercentage(*slippage))
        return invalidInput;
    if (!isFresh(quote->time(), now))
        return invalidInput;

    const bool buy = order.side == u"Buy";
    const double reference = buy ? quote->ask() : quote->bid();
    // Written so that NaN fails as well.
    if (!(reference > 0))
        return QStringLiteral("Bid/ask unavailable.");

    // A buy fills above the ask, a sell below the bid.
    const double signedSlippage = buy ? *slippage : -*slippage;
    const double execution = reference * (signedSlippage / 100 + 1);
    const double keep = 1 - *fee / 100;
    // A buy pays the fee out of the dollars before buying; a sell is sized at the bid and pays
    // the fee out of its proceeds.
    const double quantity = buy ? (*size * keep) / execution : *size / reference;
    const double amount = buy ? *size : (quantity * execution) * keep;
    // Stress is priced at the last trade, not at the bid, ask or execution price.
    const double worth = quantity * quote->price();

    return QStringList{
        QStringLiteral("Paper ") + order.side.toLower(),
        QStringLiteral("Quantity: ") + fixed(quantity, 8) + u' ' + oneLine(quote->symbol()),
        QStringLiteral("Assumed execution: $") + fixed(execution, 2),
        (buy ? QStringLiteral("Total cost: $") : QStringLiteral("Net proceeds: $")) + fixed(amount, 2),
        QStringLiteral("Value at −5% / +5%: $") + fixed(worth * 0.95, 2) + QStringLiteral(" / $")
            + fixed(worth * 1.05, 2),
        QStringLiteral("No order or transaction sent."),
    }
        .join(u'\n');
}
