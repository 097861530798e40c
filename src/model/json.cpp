#include "json.h"

#include <nlohmann/json.hpp>

#include <algorithm>

QJsonDocument readJson(const QByteArray &body, QJsonParseError &error)
{
    QJsonDocument document = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError)
        return {};
    // nlohmann's reader is strict to the RFC, but takes a NUL byte for the end of the text; no
    // JSON text holds one, inside a string or out.
    if (body.contains('\0') || !nlohmann::json::accept(body.cbegin(), body.cend())) {
        // accept() tells no position, only that the text is not JSON.
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
