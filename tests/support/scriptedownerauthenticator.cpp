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
        QMetaObject::invokeMethod(
            m_owner, [reply = std::move(reply), ok = m_owner->m_outcomes.takeFirst()] { reply(ok); },
            Qt::QueuedConnection);
    }

private:
    QPointer<ScriptedOwnerAuthenticator> m_owner;
};

std::unique_ptr<OwnerAuthContext> ScriptedOwnerAuthenticator::context()
{
    return std::make_unique<ScriptedOwnerContext>(this);
}
