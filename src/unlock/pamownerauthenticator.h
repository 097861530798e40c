#pragma once

#include "unlock/ownerauthenticator.h"

#include <QString>
#include <QStringList>

// The owner is the user this process runs for, authenticated through the system's PAM stack
// under the app's own service. The stack's questions and hints reach the user through an
// OwnerPrompt, which promptOpened() hands out when the stack first says something.
class PamOwnerAuthenticator : public OwnerAuthenticator
{
    Q_OBJECT

public:
    // Where the stack and the account's password status are found; tests point them elsewhere.
    struct Setup
    {
        QString service = QStringLiteral("kelvra-owner-auth");
        // A service is installed when a file of its name is in one of these.
        QStringList serviceDirs{QStringLiteral("/etc/pam.d"), QStringLiteral("/usr/lib/pam.d")};
        // Run with the user name appended; prints "NAME STATUS ..." as passwd -S does.
        QStringList passwordStatus{QStringLiteral("/usr/bin/passwd"), QStringLiteral("-S")};
        int attempts = 3;
    };

    explicit PamOwnerAuthenticator(QObject *parent = nullptr);
    explicit PamOwnerAuthenticator(Setup setup, QObject *parent = nullptr);

    // canEvaluate() holds when the service is installed and the account has a usable password,
    // or its status cannot be read within seconds (a network account; the stack decides); the
    // status program runs while the event loop goes on. evaluate() runs the stack on a worker
    // thread and replies on the context's thread, never within evaluate(). Cancelling the prompt replies
    // false at once; a context let go before its reply cancels and replies false from its destructor.
    std::unique_ptr<OwnerAuthContext> context() override;

private:
    Setup m_setup;
};
