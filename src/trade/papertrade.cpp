#include "trade/papertrade.h"

#include "model/fixed.h"
#include "model/number.h"
#include "model/stamp.h"

#include <algorithm>
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

constexpr qint64 minuteMs = 60'000;
constexpr qint64 hourMs = 60 * minuteMs;

std::optional<qint64> ageMs(const QString &time, const QDateTime &now)
{
    const auto instant = stamp(time);
    if (!instant)
        return std::nullopt;
    return instant->msecsTo(now);
}

bool isFresh(qint64 ageMs)
{
    return ageMs >= newestMs && ageMs <= oldestMs;
}

bool isFresh(const QString &time, const QDateTime &now)
{
    const auto age = ageMs(time, now);
    return age && isFresh(*age);
}

std::optional<double> positiveSize(const QString &text)
{
    const auto size = numberFromText(text);
    if (!size || !std::isfinite(*size) || *size <= 0 || *size > largestSize)
        return std::nullopt;
    return size;
}

std::optional<double> percentage(const QString &text)
{
    const auto value = numberFromText(text);
    if (!value || !isPercentage(*value))
        return std::nullopt;
    return value;
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

QString invalidField(const PaperOrder &order)
{
    if (!positiveSize(order.size))
        return QStringLiteral("size");
    if (!percentage(order.fee))
        return QStringLiteral("fee");
    if (!percentage(order.slippage))
        return QStringLiteral("slippage");
    return {};
}

QuoteAge quoteAge(const QString &time, const QDateTime &now)
{
    const auto age = ageMs(time, now);
    if (!age)
        return {QStringLiteral("Quote time unreadable · not fresh"), false, std::nullopt};
    if (*age < newestMs)
        return {QStringLiteral("Quoted ahead of this device's clock · not fresh"), false, newestMs - *age};
    const bool fresh = isFresh(*age);
    const QString stale = QStringLiteral(" · no longer fresh, refresh the snapshot");
    if (*age >= hourMs)
        return {QStringLiteral("Quoted over an hour ago") + stale, false, std::nullopt};
    const qint64 minutes = std::max<qint64>(*age, 0) / minuteMs;
    const QString text = minutes == 0 ? QStringLiteral("Quoted less than a minute ago")
                                      : QStringLiteral("Quoted %1 min ago").arg(minutes);
    // The next whole minute, or the moment it goes stale if that comes first.
    qint64 next = (minutes + 1) * minuteMs - *age;
    if (fresh)
        next = std::min(next, oldestMs + 1 - *age);
    return {fresh ? text : text + stale, fresh, next};
}

QString paperPreview(const PaperOrder &order, const std::optional<Quote> &quote, const QDateTime &now)
{
    const auto size = positiveSize(order.size);
    const auto fee = percentage(order.fee);
    const auto slippage = percentage(order.slippage);
    if (!quote || !size || !fee || !slippage || !isFresh(quote->time(), now))
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
