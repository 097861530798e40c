#include "json.h"

#include <algorithm>

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
