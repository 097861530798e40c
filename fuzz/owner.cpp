// An owner reply, its status and body as the service sent them, through the whole judgement of
// a reply and then through what the session reads of each request's answer; the same bytes as a
// receipt identifier, through the rule that decides whether it may go on the wire.
#include "check.h"
#include "model/received.h"
#include "owner/owneranswers.h"
#include "owner/ownerclient.h"

#include <QJsonDocument>
#include <QUrl>

#include <fuzzer/FuzzedDataProvider.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QString host = QStringLiteral("127.0.0.1");
    FuzzedDataProvider input(data, size);
    Received received;
    received.status = input.ConsumeIntegralInRange<int>(100, 599);
    received.body = QByteArray::fromStdString(input.ConsumeRemainingBytesAsString());

    // A receipt path goes out byte for byte as given, and no server that decodes its escapes and
    // resolves its dot segments reads it as anything outside "/api/receipt/".
    const QString path = QStringLiteral("/api/receipt/") + QString::fromUtf8(received.body);
    if (const auto target = exactTarget(path)) {
        FUZZ_CHECK(QString::fromLatin1(*target) == path, path);
        QUrl resolved(QStringLiteral("http://h"));
        resolved.setPath(QString::fromUtf8(QByteArray::fromPercentEncoding(*target)).replace(u'\\', u'/'),
                         QUrl::DecodedMode);
        resolved = resolved.adjusted(QUrl::NormalizePathSegments);
        FUZZ_CHECK(resolved.path(QUrl::FullyDecoded).startsWith(QStringLiteral("/api/receipt/")), path);
    }

    const RequestResult result = judgeReply(received, false);
    const int status = *received.status;
    if (status == 401)
        FUZZ_CHECK(failedWith(result, SessionError::userAuthenticationRequired), QString::number(status));
    else if (status != 200 && status != 202)
        FUZZ_CHECK(failedWith(result, SessionError::badServerResponse), QString::number(status));
    // Whatever the status, a body at the limit is refused before anything else is looked at.
    FUZZ_CHECK(failedWith(judgeReply(received, true), SessionError::badServerResponse), QString());

    const auto *answer = std::get_if<QJsonObject>(&result);
    if (!answer)
        return 0;
    const QJsonDocument document = QJsonDocument::fromJson(received.body);
    if (document.isArray())
        FUZZ_CHECK(answer->keys() == QStringList{QStringLiteral("rows")}, QString());

    if (const auto portal = readPortal(*answer, host)) {
        FUZZ_CHECK(portal->url.isValid() && portal->url.host() == host, portal->url.toString());
        FUZZ_CHECK(answer->value(u"id").toString() == portal->id, portal->id);
    }
    const ClaimAnswer claim = readClaim(*answer);
    if (claim.kind == ClaimAnswer::Kind::Granted) {
        FUZZ_CHECK(answer->value(u"token").isString() && answer->value(u"expires").isDouble(), QString());
        FUZZ_CHECK(answer->value(u"pending") != QJsonValue(true), QString());
    }
    FUZZ_CHECK(readAuthenticated(*answer) == (answer->value(u"authenticated") == QJsonValue(true)),
               QString());
    for (const QJsonValue &row : readHistory(*answer))
        FUZZ_CHECK(row.isObject(), QString());
    const QString proof = readProof(*answer);
    FUZZ_CHECK(proof.contains(u'\n'), proof);
    if (!answer->value(u"explanation").isString())
        FUZZ_CHECK(proof.startsWith(QStringLiteral("Receipt unavailable\n")), proof);
    return 0;
}
