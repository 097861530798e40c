#include "owner/ownersession.h"

#include "model/publish.h"
#include "model/regionformat.h"
#include "owner/owneranswers.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QRandomGenerator>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <string.h>

namespace {

const QString guestText = QStringLiteral("Guest demo · no owner session");
const QString offlineText = QStringLiteral("Connection unavailable. Retry when online.");
const QString checkFailedText =
    QStringLiteral("Unable to verify session or refresh account. Retry when online.");
const QString proofFailedText = QStringLiteral("Receipt verification unavailable. No payment retried.");

bool systemRandom(std::span<std::uint8_t> buffer)
{
    QRandomGenerator::system()->generate(buffer.begin(), buffer.end());
    return true;
}

double wallClock()
{
    using namespace std::chrono;
    return duration<double, std::milli>(system_clock::now().time_since_epoch()).count();
}

QString hex(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toHex());
}

// 32 secure random bytes as 64 lower-case hex digits; none when the source failed. No copy
// of the bytes or the digits is left behind but the one returned.
std::optional<QString> makeVerifier(const OwnerSession::RandomSource &random)
{
    std::array<std::uint8_t, 32> bytes{};
    const bool drawn = random(bytes);
    QByteArray raw(reinterpret_cast<const char *>(bytes.data()), bytes.size());
    explicit_bzero(bytes.data(), bytes.size());
    if (!drawn) {
        wipe(raw);
        return std::nullopt;
    }
    QByteArray digits = raw.toHex();
    wipe(raw);
    QString verifier = QString::fromLatin1(digits);
    wipe(digits);
    return verifier;
}

// The local time of day of an expiry given in milliseconds since the epoch. The clamp (about
// 270,000 years either way) only keeps a nonsensical expiry from overflowing the conversion.
QString expiryTime(double expires)
{
    const double ms = std::clamp(std::floor(expires), -8.64e15, 8.64e15);
    return shortTime(QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(ms)));
}

} // namespace

OwnerSession::OwnerSession(Service service, QObject *parent)
    : QObject(parent)
    , m_status(guestText)
    , m_random(systemRandom)
    , m_clock(wallClock)
    , m_client(std::move(service))
{}

OwnerSession::~OwnerSession()
{
    wipe(m_token);
    wipe(m_verifier);
}

void OwnerSession::clear()
{
    ++m_generation;
    wipe(m_token);
    m_id.clear();
    wipe(m_verifier);
    secretsChanged();
    m_expires = 0;
    setConnected(false);
    setOwner({});
    setHistory({});
    setProof({});
    setApprovalUrl({});
    setCode({});
    setStatus(guestText);
}

QCoro::Task<RequestResult> OwnerSession::request(QString path, std::optional<Fields> body)
{
    QPointer<OwnerSession> self(this);
    // The call gets copies of its own of the token and the body (the verifier), overwritten once
    // it has returned; the session's own stay its alone, to be wiped when it forgets them.
    QString token = privateCopy(m_token);
    std::optional<NoCoreDump> noCoreDump;
    if (!token.isEmpty())
        noCoreDump.emplace();
    if (body) {
        for (QString &value : *body)
            value = privateCopy(value);
    }
    RequestResult result = co_await m_client.send(std::move(path), body, token);
    wipeAfterCall(token);
    if (body) {
        for (QString &value : *body)
            wipeAfterCall(value);
    }
    if (!gone(self) && failedWith(result, SessionError::userAuthenticationRequired))
        clear();
    co_return result;
}

QCoro::Task<std::optional<QUrl>> OwnerSession::runStart()
{
    auto verifier = makeVerifier(m_random);
    if (!verifier) {
        setStatus(offlineText);
        co_return std::nullopt;
    }
    // Only the challenge goes out now; the verifier proves later, at the claim, that the
    // device claiming the session is the one that started it.
    wipe(m_verifier);
    m_verifier = std::move(*verifier);
    secretsChanged();
    // The sign-in that waited can no longer be claimed with this verifier.
    setApprovalUrl({});
    QByteArray digits = m_verifier.toLatin1();
    const QString challenge = hex(QCryptographicHash::hash(digits, QCryptographicHash::Sha256));
    wipe(digits);

    // Built apart from the co_await: GCC 12 cannot keep an initializer list across a suspension.
    const Fields body{{QStringLiteral("challenge"), challenge}};
    QPointer<OwnerSession> self(this);
    const RequestResult result = co_await request(QStringLiteral("/device/start"), body);
    if (gone(self))
        co_return std::nullopt;

    const auto *answer = std::get_if<QJsonObject>(&result);
    const QString host = QUrl(m_client.service().origin, QUrl::StrictMode).host();
    const auto portal = answer ? readPortal(*answer, host) : std::nullopt;
    if (!portal) {
        setStatus(offlineText);
        co_return std::nullopt;
    }
    m_id = portal->id;
    setApprovalUrl(portal->url.toString(QUrl::FullyEncoded));
    setCode(portal->code);
    setStatus(QStringLiteral("Waiting for passkey approval · match code ") + m_code);
    co_return portal->url;
}

QCoro::Task<> OwnerSession::runCheck()
{
    // A clear() while this run waits (sign-out, expiry, a 401 elsewhere) makes its token and
    // refreshed records stale; the guarded stores below then drop them.
    const qint64 generation = m_generation;
    QPointer<OwnerSession> self(this);

    if (!m_id.isEmpty()) {
        Fields body{{QStringLiteral("id"), m_id}, {QStringLiteral("verifier"), m_verifier}};
        const RequestResult claim = co_await request(QStringLiteral("/device/claim"), std::move(body));
        if (gone(self))
            co_return;
        const auto *answer = std::get_if<QJsonObject>(&claim);
        if (!answer) {
            failCheck();
            co_return;
        }
        ClaimAnswer claimed = readClaim(*answer);
        if (claimed.kind == ClaimAnswer::Kind::Pending) {
            setStatus(QStringLiteral("Waiting for approval · match code ") + m_code);
            co_return;
        }
        if (claimed.kind == ClaimAnswer::Kind::Unusable) {
            failCheck();
            co_return;
        }
        if (m_generation != generation) {
            wipe(claimed.token);
            co_return;
        }
        wipe(m_token);
        m_token = std::move(claimed.token);
        m_expires = claimed.expires;
        m_id.clear();
        wipe(m_verifier);
        secretsChanged();
        setApprovalUrl({});
        setCode({});
    }

    if (m_token.isEmpty())
        co_return;
    if (!(m_expires > m_clock())) {
        clear();
        setStatus(QStringLiteral("Session expired. Sign in again."));
        co_return;
    }

    const RequestResult status = co_await request(QStringLiteral("/device/status"));
    if (gone(self))
        co_return;
    const auto *confirmed = std::get_if<QJsonObject>(&status);
    if (!confirmed) {
        failCheck();
        co_return;
    }
    if (!readAuthenticated(*confirmed)) {
        clear();
        setStatus(QStringLiteral("Session expired or signed out."));
        co_return;
    }

    const RequestResult account = co_await request(QStringLiteral("/api/account"));
    if (gone(self))
        co_return;
    if (!std::holds_alternative<QJsonObject>(account)) {
        failCheck();
        co_return;
    }
    const RequestResult history = co_await request(QStringLiteral("/api/history"));
    if (gone(self))
        co_return;
    const auto *rows = std::get_if<QJsonObject>(&history);
    if (!rows) {
        failCheck();
        co_return;
    }

    if (m_generation != generation)
        co_return;
    setOwner(std::get<QJsonObject>(account));
    setHistory(readHistory(*rows));
    setConnected(true);
    setStatus(QStringLiteral("Owner connected · read-only until ") + expiryTime(m_expires));
}

void OwnerSession::secretsChanged()
{
    if (m_token.isEmpty() && m_verifier.isEmpty())
        m_noCoreDump.reset();
    else if (!m_noCoreDump)
        m_noCoreDump.emplace();
}

void OwnerSession::failCheck()
{
    // The token stays: a connected session remains connected and the next run tries again.
    setOwner({});
    setHistory({});
    setStatus(checkFailedText);
}

QCoro::Task<> OwnerSession::runVerify(QString id)
{
    QPointer<OwnerSession> self(this);
    // The identifier goes in as given; one that could not arrive as given fails like any other
    // request, and nothing is sent.
    const RequestResult result = co_await request(QStringLiteral("/api/receipt/") + id);
    if (gone(self))
        co_return;
    const auto *receipt = std::get_if<QJsonObject>(&result);
    if (!receipt) {
        setProof(proofFailedText);
        co_return;
    }
    setProof(readProof(*receipt));
}

QCoro::Task<> OwnerSession::runLogout()
{
    QPointer<OwnerSession> self(this);
    // Whatever the service answers, or if it cannot be reached, the session ends here.
    co_await request(QStringLiteral("/device/logout"), Fields{});
    if (gone(self))
        co_return;
    clear();
}

template<typename T>
QCoro::Task<T> OwnerSession::counted(Running &running, QCoro::Task<T> call, void (OwnerSession::*changed)())
{
    QPointer<OwnerSession> self(this);
    return Running::around(
        running, std::move(call), [this, changed] { (this->*changed)(); }, [self] { return gone(self); });
}

QCoro::Task<std::optional<QUrl>> OwnerSession::start()
{
    return counted(m_starts, runStart(), &OwnerSession::startingChanged);
}

QCoro::Task<> OwnerSession::check()
{
    return counted(m_checks, runCheck(), &OwnerSession::checkingChanged);
}

QCoro::Task<> OwnerSession::verify(QString id)
{
    return counted(m_verifies, runVerify(std::move(id)), &OwnerSession::verifyingChanged);
}

QCoro::Task<> OwnerSession::logout()
{
    return counted(m_logouts, runLogout(), &OwnerSession::signingOutChanged);
}

QCoro::QmlTask OwnerSession::checkTask()
{
    return check();
}

QCoro::QmlTask OwnerSession::verifyTask(const QString &id)
{
    return verify(id);
}

QCoro::QmlTask OwnerSession::logoutTask()
{
    return logout();
}

void OwnerSession::setStatus(const QString &status)
{
    publish(this, m_status, status, &OwnerSession::statusChanged);
}

void OwnerSession::setOwner(const QJsonObject &owner)
{
    publish(this, m_owner, owner, &OwnerSession::ownerChanged);
}

void OwnerSession::setHistory(const QJsonArray &history)
{
    publish(this, m_history, history, &OwnerSession::historyChanged);
}

void OwnerSession::setConnected(bool connected)
{
    publish(this, m_connected, connected, &OwnerSession::connectedChanged);
}

void OwnerSession::setCode(const QString &code)
{
    publish(this, m_code, code, &OwnerSession::codeChanged);
}

void OwnerSession::setApprovalUrl(const QString &url)
{
    publish(this, m_approvalUrl, url, &OwnerSession::approvalUrlChanged);
}

void OwnerSession::setProof(const QString &proof)
{
    publish(this, m_proof, proof, &OwnerSession::proofChanged);
}
