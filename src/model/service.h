#pragma once

#include <QByteArray>
#include <QNetworkRequest>
#include <QString>
#include <QUrl>

#include <chrono>
#include <optional>

// Where a store sends its requests. The app hands every store the build's origin; tests hand
// them a local server's origin and, where a test waits for a time-out, a shorter one.
struct Service
{
    QString origin;
    // Longest wait with no data arriving before a request fails.
    std::chrono::milliseconds timeout{12000};
    // PEM certificates trusted instead of the system's store, for a test's own https service;
    // the app leaves it empty.
    QByteArray authorities{};

    // The origin followed directly by path, nothing escaped or inserted; none when the joined
    // text is not an absolute URL with a host.
    std::optional<QUrl> url(QStringView path) const;
    // A request with the default cache behaviour, the time-out, no headers, its connection not
    // kept for another, and the authorities when there are any.
    QNetworkRequest request(const QUrl &url) const;
};
