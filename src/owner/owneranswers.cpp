#include "owner/owneranswers.h"

#include "model/json.h"
#include "model/secretmemory.h"

std::optional<PortalAnswer> readPortal(const QJsonObject &answer, const QString &host)
{
    const auto id = readText(answer, u"id");
    const auto link = readText(answer, u"approvalUrl");
    if (!id || !link)
        return std::nullopt;
    const QUrl portal(*link, QUrl::StrictMode);
    // The owner is sent only to the service's own host, whatever else the link holds.
    if (!portal.isValid() || portal.host().isEmpty() || portal.host() != host)
        return std::nullopt;
    return PortalAnswer{*id, readText(answer, u"code").value_or(QString()), portal};
}

ClaimAnswer readClaim(const QJsonObject &answer)
{
    // A token beside a pending flag is not taken.
    if (readBool(answer, u"pending").value_or(false))
        return {ClaimAnswer::Kind::Pending};
    auto token = readText(answer, u"token");
    const auto expires = readNumber(answer, u"expires");
    if (!token || !expires) {
        if (token)
            wipe(*token);
        return {};
    }
    return {ClaimAnswer::Kind::Granted, std::move(*token), *expires};
}

bool readAuthenticated(const QJsonObject &answer)
{
    return readBool(answer, u"authenticated").value_or(false);
}

QJsonArray readHistory(const QJsonObject &answer)
{
    return readObjects(answer, u"rows").value_or(QJsonArray());
}

QString readProof(const QJsonObject &receipt)
{
    return readText(receipt, u"explanation").value_or(QStringLiteral("Receipt unavailable")) + u'\n'
           + readText(receipt, u"limitation").value_or(QString());
}
