#include "app/workspace.h"

#include "app/urlopener.h"
#include "model/publish.h"

#include <QGuiApplication>
#include <QVariantMap>

namespace {

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
    , m_market(&m_client, Service{origin, platform.timeout}, this)
    , m_balance(&m_client, Service{origin, platform.timeout}, this)
    , m_session(Service{origin, platform.timeout}, this)
    , m_trade(&m_market, this)
    , m_gate(platform.authenticator, &m_session, this)
    , m_state(QGuiApplication::applicationState())
{
    connect(this, &Workspace::selectedTabChanged, this, &Workspace::reloadingChanged);
    connect(&m_market, &Markets::loadingChanged, this, &Workspace::reloadingChanged);
    connect(&m_balance, &VaultBalance::loadingChanged, this, &Workspace::reloadingChanged);
    connect(&m_session, &OwnerSession::checkingChanged, this, &Workspace::reloadingChanged);
    m_checkTimer.setInterval(m_platform.checkPeriod);
    connect(&m_checkTimer, &QTimer::timeout, this, &Workspace::runCheck);
    // qGuiApp is a plain cast: under a QCoreApplication it would name an object that is not one.
    if (auto *gui = qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        connect(gui, &QGuiApplication::applicationStateChanged, this, &Workspace::applicationStateChanged);
    connect(&m_gate, &UnlockGate::refused, this, &Workspace::setMessage);
    // Both at once, so that the tab view comes up on the account screen.
    connect(&m_gate, &UnlockGate::unlocked, this, [this] {
        setEntered(true);
        showTab(Account);
    });
    connect(&m_gate, &UnlockGate::portalReady, this, &Workspace::openURL);
}

void Workspace::setEntered(bool entered)
{
    publish(this, m_entered, entered, &Workspace::enteredChanged);
}

void Workspace::setMessage(const QString &message)
{
    publish(this, m_message, message, &Workspace::messageChanged);
}

QVariantList Workspace::tabs()
{
    const auto tab = [](const char *title, const char *icon, const char *screen, const char *given) {
        return QVariantMap{{QStringLiteral("title"), QString::fromLatin1(title)},
                           {QStringLiteral("icon"), QString::fromLatin1(icon)},
                           {QStringLiteral("screen"), QString::fromLatin1(screen)},
                           {QStringLiteral("given"), QString::fromLatin1(given)}};
    };
    return {tab("Home", "house", "Home.qml", "workspace"),
            tab("Markets", "chart", "MarketScreen.qml", "market"),
            tab("Trade", "arrows", "TradeLab.qml", "trade"),
            tab("Account", "person", "Account.qml", "workspace")};
}

bool Workspace::showTab(int tab)
{
    if (!m_entered || tab < Home || tab > Account)
        return false;
    publish(this, m_selectedTab, tab, &Workspace::selectedTabChanged);
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
        QCoro::Task<> checked = m_session.check();
        QCoro::Task<> loaded = m_balance.load();
        co_await std::move(checked);
        co_await std::move(loaded);
    } else if (tab == Home) {
        co_await startUp();
    } else {
        co_await m_market.load();
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
        return m_market.loading() || m_balance.loading();
    case Account:
        return m_session.checking() || m_balance.loading();
    default:
        return m_market.loading();
    }
}

void Workspace::start()
{
    startUp();
    if (!m_checkTimer.isActive())
        m_checkTimer.start();
}

QCoro::Task<> Workspace::startUp()
{
    QPointer<Workspace> self(this);
    co_await m_market.load();
    if (!self)
        co_return;
    co_await m_balance.load();
}

void Workspace::runCheck()
{
    m_session.check();
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
    m_gate.unlock();
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
