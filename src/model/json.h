#pragma once

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <QStringView>

#include <optional>

// A reply body read as JSON. Qt's reader also takes texts that RFC 8259 does not (".5", "1.",
// control characters, unknown escapes and lone surrogates in strings); those are refused here as a
// body that does not parse is, with an error set in `error`.
QJsonDocument readJson(const QByteArray &body, QJsonParseError &error);

// Typed reads of one key of a decoded JSON object. A key that is missing, null, or holds a
// value of another JSON type counts as absent: the string "42" is no number, the number 42 is
// no text, and a boolean is neither.
std::optional<double> readNumber(const QJsonObject &object, QStringView key);
std::optional<QString> readText(const QJsonObject &object, QStringView key);
std::optional<bool> readBool(const QJsonObject &object, QStringView key);
// An array all of whose elements are objects; one element of another type makes it absent.
std::optional<QJsonArray> readObjects(const QJsonObject &object, QStringView key);

bool holdsOnlyObjects(const QJsonArray &array);
