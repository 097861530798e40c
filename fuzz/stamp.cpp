// stamp() over any text.
#include "model/stamp.h"
#include "check.h"

#include <QRegularExpression>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QRegularExpression form(QRegularExpression::anchoredPattern(QStringLiteral(
        "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}(\\.[0-9]+)?(Z|[+-][0-9]{2}:[0-9]{2})")));
    const QString text = QString::fromUtf8(bytes(data, size));
    const auto instant = stamp(text);
    if (!instant)
        return 0;
    // Only a whole internet date-time gives a date: "T" between date and time, a zone designator,
    // and nothing before or after.
    FUZZ_CHECK(form.match(text).hasMatch(), text);
    FUZZ_CHECK(instant->isValid() && instant->timeSpec() == Qt::UTC, text);
    // The date and time fields are the text's own, moved by its zone only.
    if (text.endsWith(u'Z'))
        FUZZ_CHECK(instant->toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) == text.left(19), text);
    return 0;
}
