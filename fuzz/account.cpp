// The account screen's presenters: the account record, every history row in every role, and the
// explorer link for any hash. What they show is checked against the payload itself, read here with
// nothing but QJsonValue: a field shows only what the payload held as a JSON string, or its
// fallback, never a value of another type converted.
#include "account/accountrecord.h"
#include "account/historylist.h"
#include "check.h"
#include "model/received.h"
#include "model/stamp.h"
#include "owner/owneranswers.h"
#include "owner/ownerclient.h"

#include <QJsonDocument>

#include <algorithm>

namespace {

const QString separator = QStringLiteral(" kUSD · ");

QString textOr(const QJsonObject &object, const char *key, const QString &fallback)
{
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isString() ? value.toString() : fallback;
}

// The link stays one segment under the explorer's "/tx/" that reads back as the hash.
void checkLink(const QUrl &link, const QString &hash)
{
    static const QByteArray pages = QByteArrayLiteral("https://sepolia.etherscan.io/tx/");
    const QByteArray encoded = link.toEncoded();
    FUZZ_CHECK(encoded.startsWith(pages), link.toString());
    const QByteArray segment = encoded.mid(pages.size());
    FUZZ_CHECK(!segment.contains('/') && !segment.contains('?') && !segment.contains('#')
                   && !segment.contains('\\') && segment != "." && segment != "..",
               link.toString());
    FUZZ_CHECK(QUrl::fromPercentEncoding(segment) == hash, link.toString());
}

void checkRow(const QJsonObject &row)
{
    const QString shown = printable(QString::fromUtf8(QJsonDocument(row).toJson(QJsonDocument::Compact)));
    const auto role = [&row](HistoryList::Role which) { return HistoryList::value(row, which); };

    const QString headline = role(HistoryList::HeadlineRole).toString();
    FUZZ_CHECK(
        headline == textOr(row, "amount", QStringLiteral("—")) + separator + textOr(row, "state", "Unknown"),
        shown);
    FUZZ_CHECK(role(HistoryList::RecipientRole).toString() == textOr(row, "recipient", QString()), shown);
    FUZZ_CHECK(role(HistoryList::PaymentIdRole).toString() == textOr(row, "id", QString()), shown);
    FUZZ_CHECK(role(HistoryList::ReasonRole).toString() == textOr(row, "reason", QString()), shown);
    FUZZ_CHECK(role(HistoryList::HasReasonRole).toBool() == row.value(u"reason").isString(), shown);

    // A date only from a readable date-time text; the fallback for anything else.
    const QString date = role(HistoryList::DateRole).toString();
    const QJsonValue created = row.value(u"created");
    const bool dated = created.isString() && stamp(created.toString()).has_value();
    FUZZ_CHECK(dated ? !date.isEmpty() && date != u"Date unavailable" : date == u"Date unavailable", shown);

    const QJsonValue hash = row.value(u"hash");
    FUZZ_CHECK(role(HistoryList::HasHashRole).toBool() == hash.isString(), shown);
    const QUrl link = role(HistoryList::ExplorerRole).toUrl();
    if (!hash.isString() || hash.toString() == u"." || hash.toString() == u"..")
        FUZZ_CHECK(link.isEmpty(), shown);
    else if (!link.isEmpty())
        checkLink(link, hash.toString());
    FUZZ_CHECK(!role(HistoryList::Role(HistoryList::ReasonRole + 1)).isValid(), shown);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray raw = bytes(data, size);

    // Any text as a hash.
    const QString hash = QString::fromUtf8(raw);
    if (const auto link = HistoryList::explorerUrl(hash))
        checkLink(*link, hash);

    Received received;
    received.status = 200;
    received.body = raw;
    const RequestResult result = judgeReply(received, false);
    const auto *answer = std::get_if<QJsonObject>(&result);
    if (!answer)
        return 0;

    FUZZ_CHECK(AccountRecord::address(*answer) == textOr(*answer, "owner", QStringLiteral("Unavailable")),
               hash);
    FUZZ_CHECK(AccountRecord::nativeBalance(*answer) == textOr(*answer, "nativeBalance", QStringLiteral("—")),
               hash);
    FUZZ_CHECK(AccountRecord::tokenBalance(*answer) == textOr(*answer, "tokenBalance", QStringLiteral("—")),
               hash);

    // The rows are the payload's own array when every element is an object, and none otherwise.
    const QJsonValue rows = answer->value(u"rows");
    const QJsonArray history = readHistory(*answer);
    const QJsonArray array = rows.toArray();
    const bool objects = rows.isArray() && std::all_of(array.begin(), array.end(), [](const QJsonValue &row) {
                             return row.isObject();
                         });
    FUZZ_CHECK(history == (objects ? array : QJsonArray()), hash);
    for (const QJsonValue &row : history)
        checkRow(row.toObject());
    return 0;
}
