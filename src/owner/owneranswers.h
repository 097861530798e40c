#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <optional>

// What the owner session reads from each of the service's answers. Pure: the session decides
// what to store and which text to show.

// A started device sign-in, from the answer to "/device/start".
struct PortalAnswer
{
    QString id;
    QString code; // empty when the service gave none
    QUrl url;     // the portal page; its host is the service's own
};
// None when "id" or "approvalUrl" is missing or not a string, or the portal's host is not `host`.
std::optional<PortalAnswer> readPortal(const QJsonObject &answer, const QString &host);

// The answer to "/device/claim".
struct ClaimAnswer
{
    enum class Kind { Pending, Granted, Unusable };
    Kind kind = Kind::Unusable;
    QString token;
    double expires = 0; // milliseconds since the epoch
};
ClaimAnswer readClaim(const QJsonObject &answer);

// Whether "/device/status" says the token is still good: only a JSON true does.
bool readAuthenticated(const QJsonObject &answer);

// The payment rows of "/api/history"; empty unless "rows" is an array of objects.
QJsonArray readHistory(const QJsonObject &answer);

// The proof text of a receipt: the explanation (or "Receipt unavailable"), a line feed, and the
// limitation (or nothing).
QString readProof(const QJsonObject &receipt);
