// The account screen's presenters: the account record, every history row, and the explorer link
// for any hash.
#include "accountrecord.h"
#include "check.h"
#include "historylist.h"
#include "owneranswers.h"
#include "ownerclient.h"
#include "received.h"

#include <QJsonDocument>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QString separator = QStringLiteral(" kUSD · ");
    const QByteArray raw = bytes(data, size);

    // Any text as a hash: the link stays on the explorer's own https origin, or there is none.
    if (const auto link = HistoryList::explorerUrl(QString::fromUtf8(raw))) {
        FUZZ_CHECK(link->scheme() == QStringLiteral("https"), link->toString());
        FUZZ_CHECK(link->host() == QStringLiteral("sepolia.etherscan.io"), link->toString());
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
