// Number from text over any text.
#include "model/number.h"
#include "check.h"

#include <charconv>
#include <cmath>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray raw = bytes(data, size);
    const QString text = QString::fromUtf8(raw);
    const auto number = numberFromText(text);
    if (!number)
        return 0;
    // A comma is never a decimal separator, and a leading blank is never skipped.
    FUZZ_CHECK(!text.contains(u','), text);
    FUZZ_CHECK(!text.isEmpty() && !text.front().isSpace(), text);
    FUZZ_CHECK(!text.back().isSpace(), text);

    // A plain decimal reads as std::from_chars reads it, which knows no locale at all.
    const QByteArray utf8 = text.toUtf8();
    const bool plain = !utf8.isEmpty() && std::all_of(utf8.begin(), utf8.end(), [](char c) {
        return (c >= '0' && c <= '9') || c == '.' || c == '-' || c == 'e' || c == 'E';
    });
    if (plain) {
        double expected = 0;
        const auto [end, error] = std::from_chars(utf8.constData(), utf8.constEnd(), expected);
        if (error == std::errc() && end == utf8.constEnd())
            FUZZ_CHECK(*number == expected || (std::isnan(*number) && std::isnan(expected)), text);
    }
    return 0;
}
