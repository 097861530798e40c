#pragma once

#include <QDateTime>
#include <QLocale>
#include <QString>

// The few values that follow the user's region settings (QLocale::system()).

// A time of day in the short style, hours and minutes only: 14:05, or 2:05 PM.
QString shortTime(const QDateTime &instant, const QLocale &locale = QLocale::system());
// A US-dollar amount with the region's sign position, grouping and two fraction digits.
QString usd(double amount, const QLocale &locale = QLocale::system());
// A date and time in the region's short numeric form, in the local time zone: 5/1/25 2:05 PM,
// 01.05.25 14:05, and 2025-05-01 14:05 where the region's short form is not numeric.
QString shortDateTime(const QDateTime &instant, const QLocale &locale = QLocale::system());
