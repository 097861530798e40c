#pragma once

#include "model/running.h"
#include "model/secretmemory.h"
#include "model/service.h"
#include "owner/ownerclient.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include <QCoroQmlTask>
#include <QCoroTask>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <utility>

// The owner's read-only access: a device sign-in through the service's passkey portal, the
// short-lived bearer token it yields, the owner's account and payment history, receipt checks
// and sign-out. The token and the proof-key verifier never leave this object except towards
// the service.
class OwnerSession : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("OwnerSession belongs to the Workspace")
    Q_PROPERTY(QString status READ status NOTIFY statusChanged)
    Q_PROPERTY(QJsonObject owner READ owner NOTIFY ownerChanged)
    Q_PROPERTY(QJsonArray history READ history NOTIFY historyChanged)
    Q_PROPERTY(bool connected READ connected NOTIFY connectedChanged)
    Q_PROPERTY(QString code READ code NOTIFY codeChanged)
    Q_PROPERTY(QString approvalUrl READ approvalUrl NOTIFY approvalUrlChanged)
    Q_PROPERTY(QString proof READ proof NOTIFY proofChanged)
    // Which operations are under way, each until its last overlapping call returns.
    Q_PROPERTY(bool starting READ starting NOTIFY startingChanged)
    Q_PROPERTY(bool checking READ checking NOTIFY checkingChanged)
    Q_PROPERTY(bool verifying READ verifying NOTIFY verifyingChanged)
    Q_PROPERTY(bool signingOut READ signingOut NOTIFY signingOutChanged)

public:
    // Fills the buffer from a cryptographically secure source; false when the source failed.
    using RandomSource = std::function<bool(std::span<std::uint8_t>)>;
    // The wall clock in milliseconds since 1970-01-01 00:00 UTC.
    using Clock = std::function<double()>;

    explicit OwnerSession(Service service, QObject *parent = nullptr);
    ~OwnerSession() override;

    const QString &status() const { return m_status; }
    const QJsonObject &owner() const { return m_owner; }
    // Rows only while the session is connected: stored just before it connects, cleared as it ends.
    const QJsonArray &history() const { return m_history; }
    bool connected() const { return m_connected; }
    const QString &code() const { return m_code; }
    // The portal page of the sign-in that waits, as the browser is sent it; empty while none
    // can still be claimed.
    const QString &approvalUrl() const { return m_approvalUrl; }
    const QString &proof() const { return m_proof; }
    // Where and with what time-out the session sends its requests.
    const Service &service() const { return m_client.service(); }
    bool starting() const { return m_starts.any(); }
    bool checking() const { return m_checks.any(); }
    bool verifying() const { return m_verifies.any(); }
    bool signingOut() const { return m_logouts.any(); }
    // Raised by every clear(), so that a check that was waiting can tell its results are stale.
    qint64 generation() const { return m_generation; }

    // Forgets the session on this device; tells the service nothing.
    void clear();

    // Starts a device sign-in and gives the portal page at which the owner approves it, or none
    // when the start failed.
    QCoro::Task<std::optional<QUrl>> start();
    // Claims a waiting sign-in, then confirms the session and refreshes account and history.
    QCoro::Task<> check();
    // Asks the service what the receipt of one payment proves; the answer lands in `proof`.
    QCoro::Task<> verify(QString id);
    // Ends the session at the service and forgets it here, whatever the service answers.
    QCoro::Task<> logout();

    // The operations for the views; each task settles when its call returns.
    Q_INVOKABLE QCoro::QmlTask checkTask();
    Q_INVOKABLE QCoro::QmlTask verifyTask(const QString &id);
    Q_INVOKABLE QCoro::QmlTask logoutTask();

    // For tests: where the token and the verifier are held now; null while there is none.
    std::pair<const void *, const void *> secretsHeldAt() const
    {
        return {m_token.isEmpty() ? nullptr : m_token.constData(),
                m_verifier.isEmpty() ? nullptr : m_verifier.constData()};
    }

    void setRandomSource(RandomSource random) { m_random = std::move(random); }
    void setClock(Clock clock) { m_clock = std::move(clock); }

signals:
    void statusChanged();
    void ownerChanged();
    void historyChanged();
    void connectedChanged();
    void codeChanged();
    void approvalUrlChanged();
    void proofChanged();
    void startingChanged();
    void checkingChanged();
    void verifyingChanged();
    void signingOutChanged();

private:
    QCoro::Task<std::optional<QUrl>> runStart();
    QCoro::Task<> runCheck();
    QCoro::Task<> runVerify(QString id);
    QCoro::Task<> runLogout();
    // `call` counted in `running`, whose flag `changed` notifies.
    template<typename T>
    QCoro::Task<T> counted(Running &running, QCoro::Task<T> call, void (OwnerSession::*changed)());

    // Every call to the service; forgets the session when the service answers 401.
    QCoro::Task<RequestResult> request(QString path, std::optional<Fields> body = std::nullopt);
    // What a check that could not reach the service or read its answer leaves behind.
    void failCheck();
    // The process may dump core again once neither the token nor the verifier is held.
    void secretsChanged();
    // The store went away, or is going, while an operation waited.
    static bool gone(const QPointer<OwnerSession> &self) { return !self || self->m_client.closing(); }

    void setStatus(const QString &status);
    void setOwner(const QJsonObject &owner);
    void setHistory(const QJsonArray &history);
    void setConnected(bool connected);
    void setCode(const QString &code);
    void setApprovalUrl(const QString &url);
    void setProof(const QString &proof);

    QString m_status;
    QJsonObject m_owner;
    QJsonArray m_history;
    bool m_connected = false;
    QString m_code;
    QString m_approvalUrl;
    QString m_proof;
    Running m_starts;
    Running m_checks;
    Running m_verifies;
    Running m_logouts;

    QString m_token;
    QString m_id;       // a started sign-in not yet claimed
    QString m_verifier; // 64 lower-case hex digits
    double m_expires = 0;
    qint64 m_generation = 0;
    std::optional<NoCoreDump> m_noCoreDump; // while the token or the verifier is held

    RandomSource m_random;
    Clock m_clock;
    OwnerClient m_client; // last: its requests are aborted first when the store goes away
};
