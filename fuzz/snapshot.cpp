// The market snapshot body, as the service sends it, into the quotes the store shows.
#include "model/snapshot.h"
#include "check.h"
#include "market/markets.h"

#include <QStringDecoder>

#include <cmath>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray body = bytes(data, size);
    const auto object = snapshotObject(body);
    if (!object)
        return 0;
    // Only JSON is taken in: UTF-8 throughout, and no control byte but the white space between
    // tokens (inside a string each must be escaped).
    QStringDecoder utf8(QStringConverter::Utf8, QStringConverter::Flag::Stateless);
    (void)utf8.decode(body);
    FUZZ_CHECK(!utf8.hasError(), QString::fromUtf8(body));
    for (const char c : body)
        FUZZ_CHECK(uchar(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r', QString::fromUtf8(body));
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
