#include "unlock/unlockgate.h"

#include "owner/ownersession.h"
#include "unlock/ownerauthenticator.h"
#include "unlock/ownerprompt.h"

#include <algorithm>

namespace {

const QString noOwnerAuthText =
    QStringLiteral("Set a device passcode or biometrics before opening owner access.");

} // namespace

UnlockGate::UnlockGate(OwnerAuthenticator *authenticator, OwnerSession *session, QObject *parent)
    : QObject(parent)
    , m_authenticator(authenticator)
    , m_session(session)
{
    if (!m_authenticator)
        return;
    connect(m_authenticator, &OwnerAuthenticator::promptOpened, this, [this](OwnerPrompt *prompt) {
        m_prompt = prompt;
        // The prompt belongs to its authentication and goes with it.
        connect(prompt, &QObject::destroyed, this, &UnlockGate::promptChanged);
        emit promptChanged();
    });
}

UnlockGate::~UnlockGate()
{
    // An authentication may still be answering from its own thread; its context waits for that
    // before it goes, and must go while this gate is still whole.
    m_unlocks.clear();
}

void UnlockGate::unlock()
{
    if (!m_authenticator)
        return;
    std::unique_ptr<OwnerAuthContext> context = m_authenticator->context();
    if (!context) {
        emit refused(noOwnerAuthText);
        return;
    }
    OwnerAuthContext *asked = context.get();
    m_unlocks.push_back(std::move(context));
    // Whether the device can authenticate its owner may take the system seconds to tell; the
    // window goes on meanwhile. Each reply only hands its result to the GUI thread.
    asked->canEvaluate([this, asked](bool able) {
        QMetaObject::invokeMethod(
            this, [this, asked, able] { checked(asked, able); }, Qt::QueuedConnection);
    });
}

void UnlockGate::checked(OwnerAuthContext *context, bool able)
{
    if (!able) {
        if (letGo(context))
            emit refused(noOwnerAuthText);
        return;
    }
    if (!isOurs(context))
        return;
    context->evaluate(QStringLiteral("Open your Kelvra owner portal"), [this, context](bool authenticated) {
        QMetaObject::invokeMethod(
            this, [this, context, authenticated] { replied(context, authenticated); }, Qt::QueuedConnection);
    });
}

void UnlockGate::replied(OwnerAuthContext *context, bool authenticated)
{
    if (!letGo(context))
        return;
    if (!authenticated) {
        emit refused(QStringLiteral("Device verification was not completed."));
        return;
    }
    emit unlocked();
    signIn();
}

bool UnlockGate::isOurs(OwnerAuthContext *context) const
{
    return std::any_of(m_unlocks.begin(), m_unlocks.end(),
                       [context](const auto &c) { return c.get() == context; });
}

bool UnlockGate::letGo(OwnerAuthContext *context)
{
    const auto used = std::find_if(m_unlocks.begin(), m_unlocks.end(),
                                   [context](const auto &c) { return c.get() == context; });
    if (used == m_unlocks.end())
        return false;
    // Not from inside the context's own call stack.
    used->release()->deleteLater();
    m_unlocks.erase(used);
    return true;
}

QCoro::Task<> UnlockGate::signIn()
{
    if (!m_session)
        co_return;
    QPointer<UnlockGate> self(this);
    const std::optional<QUrl> portal = co_await m_session->start();
    if (self && portal)
        emit portalReady(*portal);
}
