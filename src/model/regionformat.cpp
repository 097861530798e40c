#include "regionformat.h"

#include <QLocale>

QString shortTime(const QDateTime &instant)
{
    return QLocale::system().toString(instant.toLocalTime().time(), QLocale::ShortFormat);
}

QString usd(double amount)
{
    return QLocale::system().toCurrencyString(amount, QStringLiteral("$"), 2);
}

QString shortDateTime(const QDateTime &instant)
{
    return QLocale::system().toString(instant.toLocalTime(), QLocale::ShortFormat);
}
