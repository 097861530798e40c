#pragma once

#include "ownerauthenticator.h"

#include <QList>
#include <QStringList>

#include <functional>
#include <thread>
#include <vector>

// Owner authentication as a test scripts it: whether the device can authenticate, what each
// evaluation answers, and from where the answer comes. It records the reasons asked.
class ScriptedOwnerAuthenticator : public OwnerAuthenticator
{
    Q_OBJECT

public:
    enum class Delivery {
        Queued, // later, on the authenticator's thread
        Thread, // from a std::thread of its own, as a platform may
    };

    using OwnerAuthenticator::OwnerAuthenticator;
    ~ScriptedOwnerAuthenticator() override; // waits for the reply threads

    // What canEvaluate() says; true unless set.
    void setAvailable(bool available) { m_available = available; }
    // The answer of the next evaluation without one. An evaluation with none queued is held
    // until resolve().
    void queue(bool authenticated) { m_outcomes.append(authenticated); }
    void setDelivery(Delivery delivery) { m_delivery = delivery; }
    // Answers the oldest held evaluation.
    void resolve(bool authenticated);

    const QStringList &reasons() const { return m_reasons; }
    int checks() const { return m_checks; }
    int contexts() const { return m_contexts; }
    int held() const { return int(m_held.size()); }

    std::unique_ptr<OwnerAuthContext> context() override;

private:
    friend class ScriptedOwnerContext;
    bool check();
    void evaluate(const QString &reason, std::function<void(bool)> reply);
    void deliver(std::function<void(bool)> reply, bool authenticated);

    bool m_available = true;
    Delivery m_delivery = Delivery::Queued;
    QList<bool> m_outcomes;
    QStringList m_reasons;
    int m_checks = 0;
    int m_contexts = 0;
    std::vector<std::function<void(bool)>> m_held;
    std::vector<std::thread> m_threads;
};
