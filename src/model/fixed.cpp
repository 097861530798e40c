#include "model/fixed.h"

#include <algorithm>
#include <cfloat>
#include <charconv>

namespace {

constexpr int mostDecimals = 17;

} // namespace

QString fixed(double value, int decimals)
{
    // Qt's own number formatting rounds a halfway value away from zero (2.625 as 2.63);
    // std::to_chars rounds exactly as the C library does and never reads the locale.
    // The largest double has DBL_MAX_10_EXP + 1 digits before the point.
    char text[1 + DBL_MAX_10_EXP + 1 + 1 + mostDecimals];
    const auto result = std::to_chars(std::begin(text), std::end(text), value, std::chars_format::fixed,
                                      std::clamp(decimals, 0, mostDecimals));
    if (result.ec != std::errc())
        return {};
    return QString::fromLatin1(text, result.ptr - text);
}

QString signedFixed(double value, int decimals)
{
    QString text = fixed(value, decimals);
    if (!text.startsWith(u'-'))
        text.prepend(u'+');
    return text;
}
