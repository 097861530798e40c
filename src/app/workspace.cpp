#include "app/workspace.h"

#include "app/urlopener.h"
#include "market/markets.h"
#include "owner/ownersession.h"
#include "trade/tradescreen.h"
#include "unlock/ownerauthenticator.h"
#include "unlock/ownerprompt.h"
#include "vault/vaultbalance.h"

#include <QGuiApplication>

#include <algorithm>

namespace {

const QString noOwnerAuthText =
    QStringLiteral("Set a device passcode or biometrics before opening owner access.");

// The origin of a development build that talks to a local service, or none.
std::optional<QUrl> loopbackOrigin(const QString &origin)
{
    const QUrl url(origin, QUrl::StrictMode);
    if (url.scheme() != u"http" || url.port() < 0 || !url.userInfo().isEmpty()
        || (url.host() != u"127.0.0.1" && url.host() != u"localhost"))
        return std::nullopt;
    return url;
}

} // namespace

Workspace::Workspace(const QString &origin, Platform platform, QObject *parent)
    : QObject(parent)
    , m_origin(origin)
    , m_loopback(loopbackOrigin(origin))
    , m_platform(platform)
    , m_market(new Markets(&m_client, Service{origin, platform.timeout}, this))
    , m_balance(new VaultBalance(&m_client, Service{origin, platform.timeout}, this))
    , m_session(new OwnerSession(Service{origin, platform.timeout}, this))
    , m_trade(new TradeScreen(m_market, this))
    , m_state(QGuiApplication::applicationState())
{
    connect(this, &Workspace::selectedTabChanged, this, &Workspace::reloadingChanged);
    connect(m_market, &Markets::loadingChanged, this, &Workspace::reloadingChanged);
    connect(m_balance, &VaultBalance::loadingChanged, this, &Workspace::reloadingChanged);
    connect(m_session, &OwnerSession::checkingChanged, this, &Workspace::reloadingChanged);
    m_checkTimer.setInterval(m_platform.checkPeriod);
    connect(&m_checkTimer, &QTimer::timeout, this, &Workspace::runCheck);
    // qGuiApp is a plain cast: under a QCoreApplication it would name an object that is not one.
    if (auto *gui = qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        connect(gui, &QGuiApplication::applicationStateChanged, this, &Workspace::applicationStateChanged);
    if (m_platform.authenticator) {
        connect(m_platform.authenticator, &OwnerAuthenticator::promptOpened, this,
                [this](OwnerPrompt *prompt) {
                    m_prompt = prompt;
                    // The prompt belongs to its authentication and goes with it.
                    connect(prompt, &QObject::destroyed, this, &Workspace::promptChanged);
                    emit promptChanged();
                });
    }
}

Workspace::~Workspace()
{
    // An authentication may still be answering from its own thread; its context waits for that
    // before it goes, and must go while this workspace is still whole.
    m_unlocks.clear();
    // The stores abort what they still wait for as they go, which needs the shared client.
    delete m_trade;
    delete m_session;
    delete m_balance;
    delete m_market;
}

void Workspace::setEntered(bool entered)
{
    if (m_entered == entered)
        return;
    m_entered = entered;
    emit enteredChanged();
}

void Workspace::setSelectedTab(int tab)
{
    if (m_selectedTab == tab)
        return;
    m_selectedTab = tab;
    emit selectedTabChanged();
}

void Workspace::setMessage(const QString &message)
{
    if (m_message == message)
        return;
    m_message = message;
    emit messageChanged();
}

bool Workspace::showTab(int tab)
{
    if (!m_entered || tab < Home || tab > Account)
        return false;
    setSelectedTab(tab);
    return true;
}

void Workspace::refresh()
{
    if (m_entered)
        reload(m_selectedTab);
}

QCoro::Task<> Workspace::reload(int tab)
{
    if (tab == Account) {
        // Neither waits for the other: the vault does not depend on the session.
        QCoro::Task<> checked = m_session->check();
        QCoro::Task<> loaded = m_balance->load();
        co_await std::move(checked);
        co_await std::move(loaded);
    } else if (tab == Home) {
        co_await startUp();
    } else {
        co_await m_market->load();
    }
}

QCoro::QmlTask Workspace::reloadTask(int tab)
{
    return reload(tab);
}

bool Workspace::reloading(int tab) const
{
    switch (tab) {
    case Home:
        return m_market->loading() || m_balance->loading();
    case Account:
        return m_session->checking() || m_balance->loading();
    default:
        return m_market->loading();
    }
}

void Workspace::appeared()
{
    startUp();
    if (!m_checkTimer.isActive())
        m_checkTimer.start();
}

QCoro::Task<> Workspace::startUp()
{
    QPointer<Workspace> self(this);
    co_await m_market->load();
    if (!self)
        co_return;
    co_await m_balance->load();
}

void Workspace::runCheck()
{
    m_session->check();
}

void Workspace::applicationStateChanged(Qt::ApplicationState state)
{
    const bool returned = state == Qt::ApplicationActive && m_state != Qt::ApplicationActive;
    m_state = state;
    if (returned)
        runCheck();
}

void Workspace::unlock()
{
    if (!m_platform.authenticator)
        return;
    std::unique_ptr<OwnerAuthContext> context = m_platform.authenticator->context();
    if (!context) {
        setMessage(noOwnerAuthText);
        return;
    }
    OwnerAuthContext *asked = context.get();
    m_unlocks.push_back(std::move(context));
    // Whether the device can authenticate its owner may take the system seconds to tell; the
    // window goes on meanwhile. Each reply only hands its result to the GUI thread.
    asked->canEvaluate([this, asked](bool able) {
        QMetaObject::invokeMethod(
            this, [this, asked, able] { unlockChecked(asked, able); }, Qt::QueuedConnection);
    });
}

void Workspace::unlockChecked(OwnerAuthContext *context, bool able)
{
    if (!able) {
        if (letGo(context))
            setMessage(noOwnerAuthText);
        return;
    }
    if (std::none_of(m_unlocks.begin(), m_unlocks.end(),
                     [context](const auto &c) { return c.get() == context; }))
        return;
    context->evaluate(QStringLiteral("Open your Kelvra owner portal"), [this, context](bool authenticated) {
        QMetaObject::invokeMethod(
            this, [this, context, authenticated] { unlockReplied(context, authenticated); },
            Qt::QueuedConnection);
    });
}

void Workspace::unlockReplied(OwnerAuthContext *context, bool authenticated)
{
    if (!letGo(context))
        return;
    if (!authenticated) {
        setMessage(QStringLiteral("Device verification was not completed."));
        return;
    }
    setEntered(true);
    setSelectedTab(Account);
    signIn();
}

bool Workspace::letGo(OwnerAuthContext *context)
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

QCoro::Task<> Workspace::signIn()
{
    QPointer<Workspace> self(this);
    const std::optional<QUrl> portal = co_await m_session->start();
    if (self && portal)
        openURL(*portal);
}

bool Workspace::mayOpen(const QUrl &url) const
{
    // A user name in front of the host only serves to make one host look like another.
    if (!url.isValid() || url.host().isEmpty() || !url.userInfo().isEmpty())
        return false;
    if (url.scheme() == u"https")
        return true;
    // The browser hands anything else to whatever handles the scheme (files, shares, other
    // programs); a development build's local service is the one plain http page it may show.
    return m_loopback && url.scheme() == m_loopback->scheme() && url.host() == m_loopback->host()
           && url.port() == m_loopback->port();
}

void Workspace::openURL(const QUrl &url)
{
    if (m_platform.opener && mayOpen(url))
        m_platform.opener->open(url);
}

void Workspace::openSite(const QString &path)
{
    openURL(QUrl(m_origin + path));
}
