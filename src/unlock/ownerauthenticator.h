#pragma once

#include "unlock/ownerprompt.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>

// One device-owner authentication, used for one unlock and then let go.
class OwnerAuthContext : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // Whether the device can authenticate its owner at all (a usable password is set, the
    // service is installed, ...); called once per unlock before evaluate(). Asking the system
    // may take seconds, so `reply` is called later, on the context's thread, never within the
    // call; exactly once, unless the context is let go first.
    virtual void canEvaluate(std::function<void(bool)> reply) = 0;
    // Starts the authentication with the reason text shown in the prompt. Calls `reply`
    // exactly once, possibly from another thread, with true when the owner was authenticated.
    virtual void evaluate(const QString &reason, std::function<void(bool)> reply) = 0;
};

// Makes a fresh context for each unlock.
class OwnerAuthenticator : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    virtual std::unique_ptr<OwnerAuthContext> context() = 0;

signals:
    // A prompt needs the user (the PAM backend's password prompt); the workspace shows it.
    void promptOpened(OwnerPrompt *prompt);
};
