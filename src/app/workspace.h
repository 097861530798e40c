#pragma once

#include "market/markets.h"
#include "owner/ownersession.h"
#include "trade/tradescreen.h"
#include "unlock/unlockgate.h"
#include "vault/vaultbalance.h"

#include <QNetworkAccessManager>
#include <QObject>
#include <QTimer>
#include <QUrl>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include <QCoroQmlTask>
#include <QCoroTask>

#include <chrono>
#include <optional>

class OwnerAuthenticator;
class UrlOpener;

// The root of the window: owns the three stores, the trade screen and the unlock gate for the
// life of the window, the view state the screens share, the start-up loads and the periodic
// session check.
class Workspace : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The program makes the one Workspace")
    Q_PROPERTY(Markets *market READ market CONSTANT)
    Q_PROPERTY(VaultBalance *balance READ balance CONSTANT)
    Q_PROPERTY(OwnerSession *session READ session CONSTANT)
    Q_PROPERTY(TradeScreen *trade READ trade CONSTANT)
    Q_PROPERTY(UnlockGate *gate READ gate CONSTANT)
    Q_PROPERTY(QString site READ site CONSTANT)
    Q_PROPERTY(bool entered READ entered WRITE setEntered NOTIFY enteredChanged)
    // Changed only through showTab().
    Q_PROPERTY(int selectedTab READ selectedTab NOTIFY selectedTabChanged)
    // The tabs in the order of their tags, for the tab bar and the screens' stack: maps with
    // "title", "icon" (a name under icons/), "screen" (its view) and "given" (the screen's one
    // required property: "workspace", or the workspace's store of that name).
    Q_PROPERTY(QVariantList tabs READ tabs CONSTANT)
    Q_PROPERTY(QString message READ message WRITE setMessage NOTIFY messageChanged)
    // What the selected tab shows is being reloaded, by whomever it was asked.
    Q_PROPERTY(bool reloading READ reloading NOTIFY reloadingChanged)

public:
    enum Tab { Home = 0, MarketsTab = 1, Trade = 2, Account = 3 };
    Q_ENUM(Tab)

    // What the workspace needs from the platform. Both objects must outlive it.
    struct Platform
    {
        OwnerAuthenticator *authenticator = nullptr;
        UrlOpener *opener = nullptr;
        // How often the owner session is re-checked; tests shorten it.
        std::chrono::milliseconds checkPeriod{30000};
        // Time-out of every service request; tests shorten it.
        std::chrono::milliseconds timeout{12000};
    };

    Workspace(const QString &origin, Platform platform, QObject *parent = nullptr);

    Markets *market() { return &m_market; }
    VaultBalance *balance() { return &m_balance; }
    OwnerSession *session() { return &m_session; }
    TradeScreen *trade() { return &m_trade; }
    UnlockGate *gate() { return &m_gate; }
    const QString &site() const { return m_origin; }

    bool entered() const { return m_entered; }
    void setEntered(bool entered);
    int selectedTab() const { return m_selectedTab; }
    static QVariantList tabs();
    const QString &message() const { return m_message; }
    void setMessage(const QString &message);
    bool reloading() const { return reloading(m_selectedTab); }
    bool reloading(int tab) const;

    // Loads the market snapshot and then the vault, and starts the periodic session check. Called
    // as the window is being made, so that the replies can be on its first frame.
    void start();
    // The owner unlock gate: device-owner authentication, then the device sign-in, then the
    // portal in the browser.
    Q_INVOKABLE void unlock();
    // Opens an https page in the system browser; a development build also opens the pages of its
    // loopback service. Anything else opens nothing.
    Q_INVOKABLE void openURL(const QUrl &url);
    // Opens the service origin followed by `path` (which begins with "/").
    Q_INVOKABLE void openSite(const QString &path);

    // The one way to another tab: shows the tab with this tag; false when it was not shown (not
    // a tab, or the user has not entered yet).
    Q_INVOKABLE bool showTab(int tab);
    // Reloads what the current tab shows (F5).
    Q_INVOKABLE void refresh();
    // Reloads what a tab shows: on Home the market snapshot and then the vault, on Markets and
    // Trade the market snapshot, on Account the session check and the vault at once.
    QCoro::Task<> reload(int tab);
    // reload() for the views; the task settles when that call returns.
    Q_INVOKABLE QCoro::QmlTask reloadTask(int tab);

    // The start-up loads, in order and never together; awaitable for tests.
    QCoro::Task<> startUp();

signals:
    void enteredChanged();
    void selectedTabChanged();
    void messageChanged();
    void reloadingChanged();

private:
    void applicationStateChanged(Qt::ApplicationState state);
    void runCheck();
    bool mayOpen(const QUrl &url) const;

    QString m_origin;
    // The service's own origin when it is a development build's loopback one.
    std::optional<QUrl> m_loopback;
    Platform m_platform;
    // Made in this order and gone in the reverse one: the gate first, since an authentication
    // may still be answering from its own thread and must end while the rest is whole; then the
    // stores, which abort what they still wait for as they go, and that needs the shared client.
    QNetworkAccessManager m_client;
    Markets m_market;
    VaultBalance m_balance;
    OwnerSession m_session;
    TradeScreen m_trade;
    UnlockGate m_gate;
    bool m_entered = false;
    int m_selectedTab = Home;
    QString m_message;
    QTimer m_checkTimer;
    Qt::ApplicationState m_state;
};
