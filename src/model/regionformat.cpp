#include "regionformat.h"

#include <QLocale>
#include <QRegularExpression>

namespace {

// Some regions' short forms (the C locale's among them) carry seconds; these texts never do.
QString withoutSeconds(QString format)
{
    static const QRegularExpression seconds(QStringLiteral("[.:]?s+"));
    return format.remove(seconds);
}

} // namespace

QString shortTime(const QDateTime &instant, const QLocale &locale)
{
    return locale.toString(instant.toLocalTime().time(),
                           withoutSeconds(locale.timeFormat(QLocale::ShortFormat)));
}

QString usd(double amount, const QLocale &locale)
{
    return locale.toCurrencyString(amount, QStringLiteral("$"), 2);
}

QString shortDateTime(const QDateTime &instant, const QLocale &locale)
{
    return locale.toString(instant.toLocalTime(),
                           withoutSeconds(locale.dateTimeFormat(QLocale::ShortFormat)));
}
