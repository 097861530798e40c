// The paper trade calculator over any inputs, any quote and any clock, and the snapshot rows
// of the trade lab for that quote.
#include "check.h"
#include "market/quotelist.h"
#include "model/number.h"
#include "trade/papertrade.h"
#include "trade/snapshotrows.h"

#include <fuzzer/FuzzedDataProvider.h>

namespace {

QString text(FuzzedDataProvider &input)
{
    return QString::fromStdString(input.ConsumeRandomLengthString(40));
}

// Mostly numbers that make sense, sometimes anything at all (a figure near the largest double
// prints over 300 digits, which is slow but fine).
double price(FuzzedDataProvider &input)
{
    return input.ConsumeIntegralInRange(0, 7) != 0 ? input.ConsumeFloatingPointInRange<double>(-10, 100000)
                                                   : input.ConsumeFloatingPoint<double>();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QString invalid =
        QStringLiteral("Load a fresh quote. Enter a positive size and percentages from 0 to below 100.");
    static const QString bidAsk = QStringLiteral("Bid/ask unavailable.");
    FuzzedDataProvider input(data, size);

    const QDateTime now = QDateTime::fromMSecsSinceEpoch(
        input.ConsumeIntegralInRange<qint64>(0, 4'102'444'800'000), Qt::UTC); // up to 2100
    // The side is "Buy" or "Sell" from the view; any other one-line text sells too.
    PaperOrder order{text(input), text(input), text(input),
                     input.ConsumeBool() ? QStringLiteral("Buy") : text(input).remove(u'\n')};
    std::optional<Quote> quote;
    if (input.ConsumeBool()) {
        // A quote made moments before now, or at any time the text says.
        const QString time = input.ConsumeBool()
                                 ? now.addMSecs(-input.ConsumeIntegralInRange<qint64>(-40'000, 130'000))
                                       .toString(Qt::ISODateWithMs)
                                 : text(input);
        quote = Quote(text(input), price(input), price(input), price(input), price(input), price(input),
                      price(input), price(input), time);
        // The region-formatted rows are slow to make; one quote in eight is enough for them.
        if (input.ConsumeIntegralInRange(0, 7) == 0) {
            const SnapshotRows rows = snapshotRows(*quote);
            FUZZ_CHECK(!rows.spread.startsWith(u'-'), rows.spread);
            // Every figure is the one printf writes, whatever the double.
            FUZZ_CHECK(rows.change == cPrintf("%+.2f%%", quote->change()), rows.change);
            FUZZ_CHECK(rows.lowHigh == cPrintf("$%.2f / $%.2f", quote->low(), quote->high()), rows.lowHigh);
            FUZZ_CHECK(rows.bidAsk == cPrintf("$%.2f / $%.2f", quote->bid(), quote->ask()), rows.bidAsk);
            FUZZ_CHECK(rows.volume.startsWith(cPrintf("%.2f ", quote->volume())), rows.volume);
        }
        const QString change = QuoteList::changeText(quote->change());
        FUZZ_CHECK(change == cPrintf("%+.2f%% · 24h", quote->change()), change);
    }

    const QString preview = paperPreview(order, quote, now);
    if (preview == invalid || preview == bidAsk)
        return 0;
    // Otherwise it is the six-line result.
    const QStringList lines = preview.split(u'\n');
    FUZZ_CHECK(lines.size() == 6, preview);
    FUZZ_CHECK(lines[0] == QStringLiteral("Paper ") + order.side.toLower(), preview);
    FUZZ_CHECK(lines[1].startsWith(QStringLiteral("Quantity: ")), preview);
    FUZZ_CHECK(lines[2].startsWith(QStringLiteral("Assumed execution: $")), preview);
    FUZZ_CHECK(lines[3].startsWith(QStringLiteral("Total cost: $"))
                   || lines[3].startsWith(QStringLiteral("Net proceeds: $")),
               preview);
    FUZZ_CHECK(lines[4].startsWith(QStringLiteral("Value at \u22125% / +5%: $")), preview);
    FUZZ_CHECK(lines[5] == QStringLiteral("No order or transaction sent."), preview);
    // A buy costs its size, as printf writes it.
    if (order.side == u"Buy")
        FUZZ_CHECK(lines[3] == cPrintf("Total cost: $%.2f", *numberFromText(order.size)), preview);
    return 0;
}
