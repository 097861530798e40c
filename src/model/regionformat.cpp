#include "regionformat.h"

#include <QLocale>

QString shortTime(const QDateTime &instant, const QLocale &locale)
{
    return locale.toString(instant.toLocalTime().time(), QLocale::ShortFormat);
}

QString usd(double amount, const QLocale &locale)
{
    return locale.toCurrencyString(amount, QStringLiteral("$"), 2);
}

QString shortDateTime(const QDateTime &instant, const QLocale &locale)
{
    return locale.toString(instant.toLocalTime(), QLocale::ShortFormat);
}
