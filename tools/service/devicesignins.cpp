#include "devicesignins.h"

#include "randomtext.h"

#include <QCryptographicHash>

bool DeviceSignIns::isHexDigest(const QString &text)
{
    if (text.size() != 64)
        return false;
    for (const QChar c : text) {
        if (!((c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f')))
            return false;
    }
    return true;
}

std::optional<DeviceSignIns::Started> DeviceSignIns::start(const QString &challenge, qint64 now)
{
    forgetLapsed(now);
    if (m_entries.size() >= capacity)
        return std::nullopt;
    Started started{randomHex(16), randomCode(4)};
    m_entries.insert(started.id, Entry{challenge, started.code, randomHex(16), State::Pending, now});
    return started;
}

std::optional<DeviceSignIns::State> DeviceSignIns::state(const QString &id, qint64 now)
{
    if (const Entry *entry = find(id, now))
        return entry->state;
    return std::nullopt;
}

std::optional<QString> DeviceSignIns::code(const QString &id, qint64 now)
{
    if (const Entry *entry = find(id, now))
        return entry->code;
    return std::nullopt;
}

std::optional<QString> DeviceSignIns::formToken(const QString &id, qint64 now)
{
    if (const Entry *entry = find(id, now))
        return entry->formToken;
    return std::nullopt;
}

DeviceSignIns::Decision DeviceSignIns::decide(const QString &id, bool approve, const QString &formToken,
                                              qint64 now)
{
    Entry *entry = find(id, now);
    if (!entry)
        return Decision::Unknown;
    if (!sameSecret(formToken.toLatin1(), entry->formToken.toLatin1()))
        return Decision::Forged;
    if (entry->state != State::Pending)
        return Decision::AlreadyDecided;
    entry->state = approve ? State::Approved : State::Denied;
    return Decision::Done;
}

DeviceSignIns::Claim DeviceSignIns::claim(const QString &id, const QString &verifier, qint64 now)
{
    Entry *entry = find(id, now);
    if (!entry)
        return Claim::Unknown;
    const QByteArray digest = QCryptographicHash::hash(verifier.toUtf8(), QCryptographicHash::Sha256).toHex();
    if (!sameSecret(digest, entry->challenge.toLatin1()))
        return Claim::WrongVerifier;
    switch (entry->state) {
    case State::Pending:
        return Claim::Pending;
    case State::Denied:
        return Claim::Denied;
    case State::Claimed:
        return Claim::AlreadyClaimed;
    case State::Approved:
        break;
    }
    entry->state = State::Claimed;
    return Claim::Granted;
}

DeviceSignIns::Entry *DeviceSignIns::find(const QString &id, qint64 now)
{
    forgetLapsed(now);
    const auto it = m_entries.find(id);
    return it == m_entries.end() ? nullptr : &it.value();
}

void DeviceSignIns::forgetLapsed(qint64 now)
{
    m_entries.removeIf([now](const auto &item) { return now - item.value().started >= lifetime.count(); });
}
