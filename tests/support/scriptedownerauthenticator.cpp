#include "scriptedownerauthenticator.h"

#include <QMetaObject>
#include <QPointer>

#include <utility>

class ScriptedOwnerContext : public OwnerAuthContext
{
public:
    explicit ScriptedOwnerContext(ScriptedOwnerAuthenticator *owner)
        : m_owner(owner)
    {}

    bool canEvaluate() override { return m_owner && m_owner->check(); }

    void evaluate(const QString &reason, std::function<void(bool)> reply) override
    {
        if (m_owner)
            m_owner->evaluate(reason, std::move(reply));
    }

private:
    QPointer<ScriptedOwnerAuthenticator> m_owner;
};

ScriptedOwnerAuthenticator::~ScriptedOwnerAuthenticator()
{
    for (std::thread &thread : m_threads)
        thread.join();
}

void ScriptedOwnerAuthenticator::resolve(bool authenticated)
{
    if (m_held.empty())
        return;
    std::function<void(bool)> reply = std::move(m_held.front());
    m_held.erase(m_held.begin());
    deliver(std::move(reply), authenticated);
}

std::unique_ptr<OwnerAuthContext> ScriptedOwnerAuthenticator::context()
{
    ++m_contexts;
    return std::make_unique<ScriptedOwnerContext>(this);
}

bool ScriptedOwnerAuthenticator::check()
{
    ++m_checks;
    return m_available;
}

void ScriptedOwnerAuthenticator::evaluate(const QString &reason, std::function<void(bool)> reply)
{
    m_reasons.append(reason);
    if (m_outcomes.isEmpty())
        m_held.push_back(std::move(reply));
    else
        deliver(std::move(reply), m_outcomes.takeFirst());
}

void ScriptedOwnerAuthenticator::deliver(std::function<void(bool)> reply, bool authenticated)
{
    if (m_delivery == Delivery::Thread) {
        m_threads.emplace_back([reply = std::move(reply), authenticated] { reply(authenticated); });
        return;
    }
    QMetaObject::invokeMethod(
        this, [reply = std::move(reply), authenticated] { reply(authenticated); }, Qt::QueuedConnection);
}
