#include "snapshotrows.h"

#include "regionformat.h"
#include "stamp.h"

SnapshotRows snapshotRows(const Quote &quote)
{
    const double spread = (quote.ask() - quote.bid()) / quote.price() * 100;
    const auto time = stamp(quote.time());
    return {
        usd(quote.price()),
        QString::asprintf("%+.2f%%", quote.change()),
        QString::asprintf("$%.2f / $%.2f", quote.low(), quote.high()),
        QString::asprintf("$%.2f / $%.2f", quote.bid(), quote.ask()),
        // A crossed book, or a price that makes the spread NaN, shows no spread.
        QString::asprintf("%.3f%%", spread > 0 ? spread : 0.0),
        QString::asprintf("%.2f ", quote.volume()) + quote.symbol(),
        time ? shortDateTime(*time) : QStringLiteral("Unavailable"),
    };
}
