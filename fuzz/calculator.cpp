// The paper trade calculator over any inputs, any quote and any clock, and the snapshot rows
// of the trade lab for that quote. The preview is checked against a second working of the
// trade, done here from the rules alone: its own reading of the numbers, its own validity
// tests, and every figure in long double.
#include "check.h"
#include "market/quotelist.h"
#include "model/stamp.h"
#include "trade/papertrade.h"
#include "trade/snapshotrows.h"

#include <cfloat>
#include <cmath>
#include <cstdlib>

#include <fuzzer/FuzzedDataProvider.h>

namespace {

// A figure of the second working, with a bound on the relative error of the same figure worked
// in doubles: each double operation rounds by at most 2^-53, counted here as 2^-52 to cover
// the products of errors. It is `rough` once any value it came from lies outside the normal
// range of a double: there the double working overflows or loses its precision, and its figure
// is not compared.
struct Exact
{
    long double value;
    long double error = 0;
    bool rough = false;
};

constexpr long double step = 0x1p-52L;

bool outsideDoubles(long double value)
{
    return !std::isfinite(value) || std::fabs(value) > DBL_MAX || (value != 0 && std::fabs(value) < DBL_MIN);
}

Exact exact(double value)
{
    return {value, 0, outsideDoubles(value)};
}

Exact operator*(Exact a, Exact b)
{
    const long double value = a.value * b.value;
    return {value, a.error + b.error + step, a.rough || b.rough || outsideDoubles(value)};
}

Exact operator/(Exact a, Exact b)
{
    const long double value = a.value / b.value;
    return {value, a.error + b.error + step, a.rough || b.rough || outsideDoubles(value)};
}

// 1 + percent / 100, as doubles work it: the quotient's rounding is relative to percent / 100,
// which may be nearly 1 while the sum is nearly 0, so it is carried over to the sum.
Exact onePlusPercent(double percent)
{
    const long double part = static_cast<long double>(percent) / 100;
    const long double value = 1 + part;
    return {value, (step * std::fabs(part)) / value + step, outsideDoubles(value)};
}

// The whole text as a C-locale decimal (the target sets no locale): no blank before it, and
// nothing after it that strtod leaves unread.
std::optional<double> readNumber(const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    if (utf8.isEmpty() || std::isspace(static_cast<unsigned char>(utf8.front())))
        return std::nullopt;
    char *end = nullptr;
    const double value = std::strtod(utf8.constData(), &end);
    if (end != utf8.constData() + utf8.size())
        return std::nullopt;
    return value;
}

// A printed figure lies within half a unit of its last decimal of the exact one, give or take
// the error bound of the double working and a relative 1e-17 for the long double one. A rough
// figure only has to be printed.
void checkFigure(const QString &printed, Exact expected, int decimals, const QString &preview)
{
    const QByteArray text = printed.toLatin1();
    char *end = nullptr;
    const long double shown = std::strtold(text.constData(), &end);
    FUZZ_CHECK(!text.isEmpty() && end == text.constData() + text.size(), preview);
    if (expected.rough)
        return;
    FUZZ_CHECK(text.indexOf('.') == text.size() - 1 - decimals, preview);
    const long double tolerance =
        0.5L * std::pow(10.0L, -decimals) + (expected.error + 1e-17L) * std::fabs(expected.value);
    FUZZ_CHECK(std::fabs(shown - expected.value) <= tolerance, preview);
}

// The text after `prefix` up to the first blank.
QString figureAfter(const QString &line, const QString &prefix)
{
    return line.mid(prefix.size()).section(u' ', 0, 0);
}

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

    // Which of the three outcomes the rules give, in their order.
    const auto orderSize = readNumber(order.size);
    const auto orderFee = readNumber(order.fee);
    const auto orderSlippage = readNumber(order.slippage);
    const auto percentage = [](std::optional<double> value) {
        return value && std::isfinite(*value) && *value >= 0 && *value < 100;
    };
    const auto instant = quote ? stamp(quote->time()) : std::nullopt;
    const qint64 ageMs = instant ? now.toMSecsSinceEpoch() - instant->toMSecsSinceEpoch() : 0;
    if (!quote || !orderSize || !std::isfinite(*orderSize) || *orderSize <= 0 || *orderSize > 1e9
        || !percentage(orderFee) || !percentage(orderSlippage) || !instant || ageMs < -30'000
        || ageMs > 120'000) {
        FUZZ_CHECK(preview == invalid, preview);
        return 0;
    }
    const bool buy = order.side == u"Buy";
    const double reference = buy ? quote->ask() : quote->bid();
    if (!(reference > 0)) {
        FUZZ_CHECK(preview == bidAsk, preview);
        return 0;
    }

    // The six-line result.
    const QStringList lines = preview.split(u'\n');
    FUZZ_CHECK(lines.size() == 6, preview);
    FUZZ_CHECK(lines[0] == QStringLiteral("Paper ") + order.side.toLower(), preview);
    FUZZ_CHECK(lines[5] == QStringLiteral("No order or transaction sent."), preview);

    const Exact p = exact(reference);
    const Exact dollars = exact(*orderSize);
    const Exact keep = onePlusPercent(-*orderFee);
    const Exact execution = p * onePlusPercent(buy ? *orderSlippage : -*orderSlippage);
    const Exact quantity = buy ? dollars * keep / execution : dollars / p;
    const Exact amount = buy ? dollars : quantity * execution * keep;
    const Exact worth = quantity * exact(quote->price());

    static const QString quantityPrefix = QStringLiteral("Quantity: ");
    static const QString executionPrefix = QStringLiteral("Assumed execution: $");
    const QString amountPrefix = buy ? QStringLiteral("Total cost: $") : QStringLiteral("Net proceeds: $");
    static const QString stressPrefix = QStringLiteral("Value at \u22125% / +5%: $");
    FUZZ_CHECK(lines[1].startsWith(quantityPrefix), preview);
    FUZZ_CHECK(lines[2].startsWith(executionPrefix), preview);
    FUZZ_CHECK(lines[3].startsWith(amountPrefix), preview);
    FUZZ_CHECK(lines[4].startsWith(stressPrefix), preview);
    const QString quantityText = figureAfter(lines[1], quantityPrefix);
    checkFigure(quantityText, quantity, 8, preview);
    checkFigure(lines[2].mid(executionPrefix.size()), execution, 2, preview);
    checkFigure(lines[3].mid(amountPrefix.size()), amount, 2, preview);
    const QStringList stress = lines[4].mid(stressPrefix.size()).split(QStringLiteral(" / $"));
    FUZZ_CHECK(stress.size() == 2, preview);
    // The factors themselves are doubles, each within 2^-53 of its decimal.
    checkFigure(stress[0], worth * Exact{0.95L, step}, 2, preview);
    checkFigure(stress[1], worth * Exact{1.05L, step}, 2, preview);
    // A buy costs its size, exactly as printf writes it.
    if (buy)
        FUZZ_CHECK(lines[3] == cPrintf("Total cost: $%.2f", *orderSize), preview);

    // The symbol is the pair up to its first "-", where only a control character or a line or
    // paragraph separator may stand as U+FFFD.
    const QString symbol = lines[1].mid(quantityPrefix.size() + quantityText.size() + 1);
    const QString base = quote->pair().section(u'-', 0, 0);
    FUZZ_CHECK(lines[1].at(quantityPrefix.size() + quantityText.size()) == u' '
                   && symbol.size() == base.size(),
               preview);
    for (qsizetype i = 0; i < symbol.size(); ++i)
        FUZZ_CHECK(symbol[i] == base[i]
                       || (symbol[i] == QChar::ReplacementCharacter
                           && (base[i].category() == QChar::Other_Control
                               || base[i].category() == QChar::Separator_Line
                               || base[i].category() == QChar::Separator_Paragraph)),
                   preview);
    return 0;
}
