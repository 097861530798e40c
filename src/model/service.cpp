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
    if (!authorities.isEmpty()) {
        QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
        tls.setCaCertificates(QSslCertificate::fromData(authorities));
        request.setSslConfiguration(tls);
    }
    return request;
}
