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

// The preview of a market order of `order` against `quote` at the instant `now`: the six-line
// result, "Bid/ask unavailable." when the side's own price is not positive, or the one
// invalid-input message for a missing or stale quote and for any number out of its range.
// Pure: the same arguments always give the same text.
QString paperPreview(const PaperOrder &order, const std::optional<Quote> &quote, const QDateTime &now);
