#include "model/stamp.h"

#include <QDate>
#include <QRegularExpression>
#include <QTime>
#include <QTimeZone>

namespace {

// Qt's own ISO parser accepts far more than an internet date-time, so the layout is matched
// here first and Qt only checks that the fields name a real day and time.
//   with fraction:    YYYY-MM-DDTHH:MM:SS.F+(Z|±HH:MM)
//   without fraction: YYYY-MM-DDTHH:MM:SS(Z|±HH:MM)
std::optional<QDateTime> parse(QStringView text, bool withFraction)
{
    // Anchored to the whole text: a "$" would also match before a final line feed.
    static const QRegularExpression withFractionForm(QRegularExpression::anchoredPattern(QStringLiteral(
        R"((\d{4})-(\d{2})-(\d{2})T(\d{2}):(\d{2}):(\d{2})\.(\d{1,9})(?:(Z)|([+-])(\d{2}):(\d{2})))")));
    static const QRegularExpression plainForm(QRegularExpression::anchoredPattern(
        QStringLiteral(R"((\d{4})-(\d{2})-(\d{2})T(\d{2}):(\d{2}):(\d{2})()(?:(Z)|([+-])(\d{2}):(\d{2})))")));

    // \d would also take digits of other scripts; the service writes ASCII only.
    for (const QChar c : text) {
        if (c.unicode() > 0x7f)
            return std::nullopt;
    }

    const auto match = (withFraction ? withFractionForm : plainForm).match(text);
    if (!match.hasMatch())
        return std::nullopt;

    const auto number = [&](int group) { return match.capturedView(group).toInt(); };
    const QDate date(number(1), number(2), number(3));
    int milliseconds = 0;
    if (withFraction) {
        // Milliseconds are the finest unit QDateTime keeps; further digits are dropped.
        const QString fraction = match.captured(7).leftJustified(3, u'0', true);
        milliseconds = fraction.toInt();
    }
    const QTime time(number(4), number(5), number(6), milliseconds);
    if (!date.isValid() || !time.isValid())
        return std::nullopt;

    int offsetSeconds = 0;
    if (match.capturedLength(8) == 0) {
        const int hours = number(10);
        const int minutes = number(11);
        if (hours > 23 || minutes > 59)
            return std::nullopt;
        offsetSeconds = (hours * 60 + minutes) * 60 * (match.capturedView(9) == u"-" ? -1 : 1);
    }

    const QDateTime local(date, time, Qt::OffsetFromUTC, offsetSeconds);
    if (!local.isValid())
        return std::nullopt;
    return local.toUTC();
}

} // namespace

std::optional<QDateTime> stamp(QStringView text)
{
    if (auto instant = parse(text, true))
        return instant;
    return parse(text, false);
}
