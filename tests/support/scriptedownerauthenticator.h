#pragma once

#include "unlock/ownerauthenticator.h"

#include <QList>
#include <QStringList>

// Owner authentication as a test scripts it: whether the device can authenticate and what each
// evaluation answers, later on the GUI thread. An evaluation with no answer queued is never
// answered. It records the reasons asked.
class ScriptedOwnerAuthenticator : public OwnerAuthenticator
{
    Q_OBJECT

public:
    using OwnerAuthenticator::OwnerAuthenticator;

    void setAvailable(bool available) { m_available = available; }
    void queue(bool authenticated) { m_outcomes.append(authenticated ? Pass : Refuse); }
    // The next evaluation asks for the password of `user` in a prompt: an answer passes, a
    // cancel refuses.
    void queuePrompt(const QString &user)
    {
        m_outcomes.append(Ask);
        m_user = user;
    }
    const QStringList &reasons() const { return m_reasons; }

    std::unique_ptr<OwnerAuthContext> context() override;

private:
    friend class ScriptedOwnerContext;
    enum Outcome { Refuse, Pass, Ask };
    bool m_available = true;
    QList<Outcome> m_outcomes;
    QString m_user;
    QStringList m_reasons;
};
