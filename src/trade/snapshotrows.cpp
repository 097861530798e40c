#include "trade/snapshotrows.h"

#include "model/fixed.h"
#include "model/regionformat.h"
#include "model/stamp.h"

namespace {

QString dollarPair(double first, double second)
{
    return u'$' + fixed(first, 2) + QStringLiteral(" / $") + fixed(second, 2);
}

} // namespace

SnapshotRows snapshotRows(const Quote &quote)
{
    const double spread = (quote.ask() - quote.bid()) / quote.price() * 100;
    const auto time = stamp(quote.time());
    return {
        usd(quote.price()),
        signedFixed(quote.change(), 2) + u'%',
        dollarPair(quote.low(), quote.high()),
        dollarPair(quote.bid(), quote.ask()),
        // A crossed book, or a price that makes the spread NaN, shows no spread.
        fixed(spread > 0 ? spread : 0.0, 3) + u'%',
        fixed(quote.volume(), 2) + u' ' + quote.symbol(),
        time ? shortDateTime(*time) : QStringLiteral("Unavailable"),
    };
}
