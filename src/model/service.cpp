#include "model/service.h"

#include <QSslCertificate>
#include <QSslConfiguration>

std::optional<QUrl> Service::url(QStringView path) const
{
    const QUrl url(origin + path.toString(), QUrl::StrictMode);
    if (!url.isValid() || url.isRelative() || url.host().isEmpty())
        return std::nullopt;
    return url;
}

QNetworkRequest Service::request(const QUrl &url) const
{
    QNetworkRequest request(url);
    request.setTransferTimeout(static_cast<int>(timeout.count()));
    // Reads come seldom, when the user asks: a connection kept for the next one would only wake
    // the program later, when either side gives it up.
    request.setAttribute(QNetworkRequest::ConnectionCacheExpiryTimeoutSecondsAttribute, 0);
    if (!authorities.isEmpty()) {
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        tls.setCaCertificates(QSslCertificate::fromData(authorities));
        request.setSslConfiguration(tls);
    }
    return request;
}
