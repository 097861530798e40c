#include "model/number.h"

#include <QByteArray>

#include <clocale>
#include <cstdlib>
#include <locale.h>

locale_t cLocale()
{
    static const locale_t c = newlocale(LC_ALL_MASK, "C", locale_t{});
    return c;
}

namespace {

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

} // namespace

std::optional<double> numberFromText(QStringView text)
{
    const QByteArray bytes = text.toUtf8();
    if (bytes.isEmpty() || isSpace(bytes.front()))
        return std::nullopt;
    // strtod follows LC_NUMERIC, which a Qt application takes from the environment at start-up;
    // strtod_l with the C locale reads the same grammar whatever the process uses.
    const locale_t c = cLocale();
    if (c == locale_t{})
        return std::nullopt;

    char *end = nullptr;
    const double value = strtod_l(bytes.constData(), &end, c);
    // A NUL inside the text also stops the reading early, and so is refused here.
    if (end != bytes.constData() + bytes.size())
        return std::nullopt;
    return value;
}
