// The market snapshot body, as the service sends it, into the quotes the store shows.
#include "snapshot.h"
#include "check.h"
#include "markets.h"

#include <cmath>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const auto object = snapshotObject(bytes(data, size));
    if (!object)
        return 0;
    const auto quotes = Markets::parse(*object);
    if (!quotes)
        return 0;
    // Three quotes or none; never a part of a snapshot.
    FUZZ_CHECK(quotes->size() == 3, QString::number(quotes->size()));
    for (const Quote &quote : *quotes) {
        FUZZ_CHECK(std::isfinite(quote.price()) && quote.price() > 0, QString::number(quote.price()));
        FUZZ_CHECK(quote.id() == quote.pair(), quote.pair());
        FUZZ_CHECK(quote.pair().startsWith(quote.symbol()), quote.pair());
    }
    return 0;
}
