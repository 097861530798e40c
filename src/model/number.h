#pragma once

#include <QStringView>

#include <locale.h>

#include <optional>

// Reads the whole text as a C-locale decimal number: an optional sign, digits with an optional
// full stop, an optional exponent; hexadecimal, inf and nan are read too (callers refuse values
// that are not finite). Leading white space, anything left over, or an empty text gives none.
// The process locale never plays a part: "1,5" is no number anywhere.
std::optional<double> numberFromText(QStringView text);

// The C locale, for C library calls that must read numbers alike in every region; null only when
// it cannot be made.
locale_t cLocale();
