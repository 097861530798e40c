#include "model/json.h"

#include "model/number.h"

#include <nlohmann/json.hpp>
#include <simdjson.h>

#include <algorithm>

namespace {

// simdjson reads the largest history in a tenth of the time nlohmann's reader takes. Both are
// strict to the RFC, but simdjson also refuses texts the RFC allows (an integer beyond 64 bits, a
// byte order mark, nesting deeper than 1024), so it only ever accepts: what it refuses,
// nlohmann's reader decides.
bool quicklyAccepted(const QByteArray &body)
{
    simdjson::dom::parser parser;
    return parser.parse(body.constData(), size_t(body.size())).error() == simdjson::SUCCESS;
}

// nlohmann's reader is strict to the RFC, but converts numbers with the C library in the thread's
// locale and trips on a decimal separator of more than one byte (ps_AF's "٫"), so it reads in the
// C locale. It also takes a NUL byte for the end of the text; no JSON text holds one anywhere.
bool strictJson(const QByteArray &body)
{
    if (body.contains('\0'))
        return false;
    if (quicklyAccepted(body))
        return true;
    const locale_t c = cLocale();
    if (c == locale_t{})
        return false;
    const locale_t previous = uselocale(c);
    const bool accepted = nlohmann::json::accept(body.cbegin(), body.cend());
    uselocale(previous);
    return accepted;
}

} // namespace

QJsonDocument readJson(const QByteArray &body, QJsonParseError &error)
{
    QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError)
        return {};
    if (!strictJson(body)) {
        // The strict reader tells no position, only that the text is not JSON.
        error = QJsonParseError{0, QJsonParseError::IllegalValue};
        return {};
    }
    return document;
}

std::optional<double> readNumber(const QJsonObject &object, QStringView key)
{
    const QJsonValue value = object.value(key);
    if (!value.isDouble())
        return std::nullopt;
    return value.toDouble();
}

std::optional<QString> readText(const QJsonObject &object, QStringView key)
{
    const QJsonValue value = object.value(key);
    if (!value.isString())
        return std::nullopt;
    return value.toString();
}

std::optional<bool> readBool(const QJsonObject &object, QStringView key)
{
    const QJsonValue value = object.value(key);
    if (!value.isBool())
        return std::nullopt;
    return value.toBool();
}

std::optional<QJsonArray> readObjects(const QJsonObject &object, QStringView key)
{
    const QJsonValue value = object.value(key);
    if (!value.isArray())
        return std::nullopt;
    QJsonArray array = value.toArray();
    if (!holdsOnlyObjects(array))
        return std::nullopt;
    return array;
}

bool holdsOnlyObjects(const QJsonArray &array)
{
    return std::all_of(array.begin(), array.end(), [](const QJsonValue &v) { return v.isObject(); });
}
