#include "vault/vaultbalance.h"

#include "model/fixed.h"
#include "model/json.h"
#include "model/number.h"
#include "model/snapshot.h"

#include <cmath>
#include <optional>

namespace {

const QString dash = QStringLiteral("—");

struct Vault
{
    QString balance;
    QString budget;
    bool active = false;
};

// Amounts travel as JSON strings of base units, never as JSON numbers.
std::optional<double> units(const QJsonObject &reply, QStringView key)
{
    const auto text = readText(reply, key);
    return text ? numberFromText(*text) : std::nullopt;
}

QString kusd(double amount)
{
    return fixed(amount / 1'000'000, 2) + QStringLiteral(" kUSD");
}

std::optional<Vault> parse(const QJsonObject &reply)
{
    const auto balance = units(reply, u"balanceUnits");
    const auto budget = units(reply, u"agentBudgetUnits");
    if (!balance || !budget)
        return std::nullopt;
    if (!std::isfinite(*balance) || !std::isfinite(*budget))
        return std::nullopt;
    if (*balance < 0 || *budget < 0)
        return std::nullopt;
    // Anything but a JSON true, a missing key included, means the permission is off.
    return Vault{kusd(*balance), kusd(*budget), readBool(reply, u"active").value_or(false)};
}

} // namespace

VaultBalance::VaultBalance(QNetworkAccessManager *client, Service service, QObject *parent)
    : QObject(parent)
    , m_client(client)
    , m_service(std::move(service))
    , m_balance(dash)
    , m_budget(dash)
    , m_status(QStringLiteral("Loading on-chain balance…"))
{}

QCoro::Task<> VaultBalance::load()
{
    QPointer<VaultBalance> self(this);
    return Running::around(
        m_loads, fetch(), [this] { emit loadingChanged(); },
        [self] { return !self || self->m_inflight.closing(); });
}

QCoro::Task<> VaultBalance::fetch()
{
    QPointer<VaultBalance> self(this);
    std::optional<QJsonObject> reply;
    if (m_client) {
        reply = co_await readSnapshot(*m_client, m_service, QStringLiteral("/contest/status"), m_inflight);
    }
    if (!self || m_inflight.closing())
        co_return;

    // Whatever was shown before is replaced, by new figures or by the unavailable state.
    show(texts(reply));
}

VaultTexts VaultBalance::texts(const std::optional<QJsonObject> &reply)
{
    const auto vault = reply ? parse(*reply) : std::nullopt;
    if (!vault)
        return {dash, dash, QStringLiteral("Balance unavailable. Refresh to retry.")};
    return {vault->balance, vault->budget,
            vault->active ? QStringLiteral("Permission enabled; expiry and limits still apply")
                          : QStringLiteral("Permission revoked · agent cannot spend")};
}

QCoro::QmlTask VaultBalance::loadTask()
{
    return load();
}

void VaultBalance::show(const VaultTexts &texts)
{
    // The one set of fields that does not go through publish(): every assignment notifies, in
    // this order, even when the text stays the same, so that each load is seen to have answered.
    m_balance = texts.balance;
    emit balanceChanged();
    m_budget = texts.budget;
    emit budgetChanged();
    m_status = texts.status;
    emit statusChanged();
}
