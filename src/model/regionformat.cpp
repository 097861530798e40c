#include "model/regionformat.h"

#include <QLocale>
#include <QRegularExpression>

namespace {

// Some regions' short forms (the C locale's among them) carry seconds; these texts never do.
QString withoutSeconds(QString format)
{
    static const QRegularExpression seconds(QStringLiteral("[.:]?s+"));
    return format.remove(seconds);
}

// The region's short date form when it is all digits; ISO 8601 where it names the month or the
// weekday, as the C locale's does ("1 May 2025"): a payment's date is read as figures everywhere.
QString numericDateTime(const QLocale &locale)
{
    static const QRegularExpression quoted(QStringLiteral("'[^']*'"));
    static const QRegularExpression named(QStringLiteral("MMM|ddd"));
    const QString date = locale.dateFormat(QLocale::ShortFormat);
    const QString unquoted = QString(date).remove(quoted);
    QString format = locale.dateTimeFormat(QLocale::ShortFormat);
    if (unquoted.contains(named))
        format.replace(date, QStringLiteral("yyyy-MM-dd"));
    return withoutSeconds(format);
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
    return locale.toString(instant.toLocalTime(), numericDateTime(locale));
}
