// The vault status body into the three texts of the vault store.
#include "check.h"
#include "model/snapshot.h"
#include "vault/vaultbalance.h"

#include <QJsonObject>
#include <QRegularExpression>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const QRegularExpression amount(QStringLiteral("^(-0\\.00|[0-9]+\\.[0-9]{2}) kUSD$"));
    static const QStringList states{QStringLiteral("Permission enabled; expiry and limits still apply"),
                                    QStringLiteral("Permission revoked · agent cannot spend")};
    static const VaultTexts unavailable{QStringLiteral("—"), QStringLiteral("—"),
                                        QStringLiteral("Balance unavailable. Refresh to retry.")};

    const VaultTexts texts = VaultBalance::texts(snapshotObject(bytes(data, size)));
    if (texts == unavailable)
        return 0;
    // Figures with a full stop, two decimals and no grouping, signed only as printf writes a
    // negative zero; and one of the two states.
    FUZZ_CHECK(amount.match(texts.balance).hasMatch(), texts.balance);
    FUZZ_CHECK(amount.match(texts.budget).hasMatch(), texts.budget);
    FUZZ_CHECK(states.contains(texts.status), texts.status);
    return 0;
}
