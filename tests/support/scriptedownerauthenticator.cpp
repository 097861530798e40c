#include "scriptedownerauthenticator.h"

#include <QMetaObject>
#include <QPointer>

class ScriptedOwnerContext : public OwnerAuthContext
{
public:
    explicit ScriptedOwnerContext(ScriptedOwnerAuthenticator *owner)
        : m_owner(owner)
    {}

    void canEvaluate(std::function<void(bool)> reply) override
    {
        QMetaObject::invokeMethod(
            this, [reply = std::move(reply), able = m_owner && m_owner->m_available] { reply(able); },
            Qt::QueuedConnection);
    }

    void evaluate(const QString &reason, std::function<void(bool)> reply) override
    {
        if (!m_owner)
            return;
        m_owner->m_reasons.append(reason);
        if (m_owner->m_outcomes.isEmpty())
            return;
        const auto outcome = m_owner->m_outcomes.takeFirst();
        if (outcome == ScriptedOwnerAuthenticator::Ask) {
            auto *prompt = new OwnerPrompt(
                reason, m_owner->m_user, [reply](SecretBuffer) { reply(true); }, [reply] { reply(false); },
                this);
            prompt->ask(QStringLiteral("Password: "), true);
            emit m_owner->promptOpened(prompt);
            return;
        }
        QMetaObject::invokeMethod(
            m_owner,
            [reply = std::move(reply), ok = outcome == ScriptedOwnerAuthenticator::Pass] { reply(ok); },
            Qt::QueuedConnection);
    }

private:
    QPointer<ScriptedOwnerAuthenticator> m_owner;
};

std::unique_ptr<OwnerAuthContext> ScriptedOwnerAuthenticator::context()
{
    return std::make_unique<ScriptedOwnerContext>(this);
}
