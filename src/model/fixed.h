#pragma once

#include <QString>

// printf's "%.<decimals>f" for decimals from 0 to 17: a halfway value rounds to even on its exact
// binary value, a full stop is the decimal separator and nothing is grouped, whatever the locale.
// Infinity and NaN read "inf", "-inf", "nan" and "-nan", as glibc writes them.
QString fixed(double value, int decimals);

// printf's "%+.<decimals>f": as fixed(), with "+" before any figure that does not begin with "-"
// (a negative zero, or a negative value that rounds to zero, keeps its "-").
QString signedFixed(double value, int decimals);
