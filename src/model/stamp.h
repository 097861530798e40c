#pragma once

#include <QDateTime>
#include <QStringView>

#include <optional>

// Reads an internet date-time such as 2025-05-01T12:34:56.789Z or 2025-05-01T14:34:56+02:00
// into an absolute instant (UTC). Anything else, including a date alone, a time without a zone
// or a blank in place of "T", gives no date.
std::optional<QDateTime> stamp(QStringView text);
