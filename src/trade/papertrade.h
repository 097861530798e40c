#pragma once

#include "model/quote.h"

#include <QDateTime>
#include <QString>

#include <optional>

// What the user typed in the trade lab. The numbers stay text until a preview is made.
struct PaperOrder
{
    QString size;     // US dollars
    QString fee;      // percent
    QString slippage; // percent of the reference price
    QString side;     // "Buy"; anything else sells
};

// The input that makes `order` invalid, named as the trade screen names it ("size", "fee",
// "slippage"); empty when the numbers are all in range.
QString invalidField(const PaperOrder &order);

// How old a quote is for the trade lab, and whether it is still fresh enough to price an order.
struct QuoteAge
{
    QString text;
    bool fresh = false;
    // How long until the text or the freshness next changes; none when they no longer do.
    std::optional<qint64> changesInMs;

    friend bool operator==(const QuoteAge &, const QuoteAge &) = default;
};

// The age of a quote stamped `time` at the instant `now`.
QuoteAge quoteAge(const QString &time, const QDateTime &now);

// The preview of a market order of `order` against `quote` at the instant `now`: the six-line
// result, "Bid/ask unavailable." when the side's own price is not positive, or the one
// invalid-input message for a missing or stale quote and for any number out of its range.
// Pure: the same arguments always give the same text.
QString paperPreview(const PaperOrder &order, const std::optional<Quote> &quote, const QDateTime &now);
