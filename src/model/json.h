#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QStringView>

#include <optional>

// Typed reads of one key of a decoded JSON object. A key that is missing, null, or holds a
// value of another JSON type counts as absent: the string "42" is no number, the number 42 is
// no text, and a boolean is neither.
std::optional<double> readNumber(const QJsonObject &object, QStringView key);
std::optional<QString> readText(const QJsonObject &object, QStringView key);
std::optional<bool> readBool(const QJsonObject &object, QStringView key);
// An array all of whose elements are objects; one element of another type makes it absent.
std::optional<QJsonArray> readObjects(const QJsonObject &object, QStringView key);

bool holdsOnlyObjects(const QJsonArray &array);
