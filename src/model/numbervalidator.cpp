#include "model/numbervalidator.h"

#include "model/number.h"

namespace {

// A beginning of a word the reader takes as a number ("inf", "infinity", "nan"), after a sign.
bool beginsWord(QStringView text)
{
    if (text.startsWith(u'+') || text.startsWith(u'-'))
        text = text.mid(1);
    for (const QStringView word : {u"infinity", u"nan"}) {
        if (word.startsWith(text, Qt::CaseInsensitive))
            return true;
    }
    return false;
}

} // namespace

QValidator::State NumberValidator::validate(QString &input, int &) const
{
    if (numberFromText(input))
        return Acceptable;
    // Unfinished when one more digit makes it a number: "", "-", ".", "1e", "1e+", "0x".
    if (numberFromText(input + u'0') || numberFromText(input + u'1') || beginsWord(input))
        return Intermediate;
    return Invalid;
}
