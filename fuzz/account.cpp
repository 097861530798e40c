// The account screen's presenters: the account record, every history row, and the explorer link
// for any hash.
#include "account/accountrecord.h"
#include "account/historylist.h"
#include "check.h"
#include "model/received.h"
#include "owner/owneranswers.h"
#include "owner/ownerclient.h"

#include <QJsonDocument>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QString separator = QStringLiteral(" kUSD · ");
    const QByteArray raw = bytes(data, size);

    // Any text as a hash: the link is one segment under the explorer's "/tx/" that reads back as
    // the hash, or there is none.
    const QString hash = QString::fromUtf8(raw);
    if (const auto link = HistoryList::explorerUrl(hash)) {
        static const QByteArray pages = QByteArrayLiteral("https://sepolia.etherscan.io/tx/");
        const QByteArray encoded = link->toEncoded();
        FUZZ_CHECK(encoded.startsWith(pages), link->toString());
        const QByteArray segment = encoded.mid(pages.size());
        FUZZ_CHECK(!segment.contains('/') && !segment.contains('?') && !segment.contains('#')
                       && !segment.contains('\\') && segment != "." && segment != "..",
                   link->toString());
        FUZZ_CHECK(QUrl::fromPercentEncoding(segment) == hash, link->toString());
    }

    Received received;
    received.status = 200;
    received.body = raw;
    const RequestResult result = judgeReply(received, false);
    const auto *answer = std::get_if<QJsonObject>(&result);
    if (!answer)
        return 0;

    AccountRecord::address(*answer);
    AccountRecord::nativeBalance(*answer);
    AccountRecord::tokenBalance(*answer);
    for (const QJsonValue &value : readHistory(*answer)) {
        const QJsonObject row = value.toObject();
        const QString headline = HistoryList::headline(row);
        FUZZ_CHECK(headline.contains(separator), headline);
        const QString state = row.value(u"state").isString() ? row.value(u"state").toString() : "Unknown";
        FUZZ_CHECK(headline.endsWith(separator + state), headline);
        const QString date = HistoryList::dateLine(row);
        FUZZ_CHECK(!date.isEmpty(), date);
        if (row.value(u"hash").isString())
            HistoryList::explorerUrl(row.value(u"hash").toString());
    }
    return 0;
}
