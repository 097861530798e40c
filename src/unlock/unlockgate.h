#pragma once

#include "unlock/ownerprompt.h"

#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include <QCoroTask>

#include <memory>
#include <vector>

class OwnerAuthContext;
class OwnerAuthenticator;
class OwnerSession;

// The owner's way in: the device authenticates its owner, then the device sign-in starts and
// hands over the portal's address. Each unlock has a context of its own, let go once its
// outcome is handled; a second unlock while one runs is not refused.
class UnlockGate : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The workspace makes the one UnlockGate")
    // What the authentication asks the user while it runs (the password prompt); null meanwhile.
    Q_PROPERTY(OwnerPrompt *prompt READ prompt NOTIFY promptChanged)

public:
    // Either may be null: without an authenticator the gate stays shut. Both must outlive it.
    UnlockGate(OwnerAuthenticator *authenticator, OwnerSession *session, QObject *parent = nullptr);
    // Waits for an authentication that is still answering from its own thread.
    ~UnlockGate() override;

    OwnerPrompt *prompt() const { return m_prompt; }

    // Asks the device to authenticate its owner and returns; the outcome comes as a signal.
    void unlock();

signals:
    void promptChanged();
    // The unlock ended without the owner: the text says why.
    void refused(const QString &text);
    // The owner is authenticated; the sign-in starts right after.
    void unlocked();
    // The sign-in has started: the portal page where the owner approves it.
    void portalReady(const QUrl &portal);

private:
    void checked(OwnerAuthContext *context, bool able);
    void replied(OwnerAuthContext *context, bool authenticated);
    // Lets an unlock's context go once its outcome is handled; false when it is not one of ours.
    bool letGo(OwnerAuthContext *context);
    bool isOurs(OwnerAuthContext *context) const;
    QCoro::Task<> signIn();

    QPointer<OwnerAuthenticator> m_authenticator;
    QPointer<OwnerSession> m_session;
    QPointer<OwnerPrompt> m_prompt;
    std::vector<std::unique_ptr<OwnerAuthContext>> m_unlocks;
};
