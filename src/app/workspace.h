#pragma once

#include <QNetworkAccessManager>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QUrl>
#include <QtQml/qqmlregistration.h>

#include <QCoroQmlTask>
#include <QCoroTask>

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

class Markets;
class OwnerAuthContext;
class OwnerAuthenticator;
class OwnerPrompt;
class OwnerSession;
class TradeScreen;
class UrlOpener;
class VaultBalance;

// The root of the window: owns the three stores for the life of the window, the view state the
// screens share, the start-up loads, the periodic session check and the owner unlock gate.
class Workspace : public QObject
{
    Q_MOC_INCLUDE("market/markets.h")
    Q_MOC_INCLUDE("unlock/ownerprompt.h")
    Q_MOC_INCLUDE("owner/ownersession.h")
    Q_MOC_INCLUDE("trade/tradescreen.h")
    Q_MOC_INCLUDE("vault/vaultbalance.h")
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The program makes the one Workspace")
    Q_PROPERTY(Markets *market READ market CONSTANT)
    Q_PROPERTY(VaultBalance *balance READ balance CONSTANT)
    Q_PROPERTY(OwnerSession *session READ session CONSTANT)
    Q_PROPERTY(TradeScreen *trade READ trade CONSTANT)
    Q_PROPERTY(QString site READ site CONSTANT)
    Q_PROPERTY(bool entered READ entered WRITE setEntered NOTIFY enteredChanged)
    Q_PROPERTY(int selectedTab READ selectedTab WRITE setSelectedTab NOTIFY selectedTabChanged)
    Q_PROPERTY(QString message READ message WRITE setMessage NOTIFY messageChanged)
    Q_PROPERTY(OwnerPrompt *prompt READ prompt NOTIFY promptChanged)
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
    ~Workspace() override;

    Markets *market() const { return m_market; }
    VaultBalance *balance() const { return m_balance; }
    OwnerSession *session() const { return m_session; }
    TradeScreen *trade() const { return m_trade; }
    const QString &site() const { return m_origin; }

    bool entered() const { return m_entered; }
    void setEntered(bool entered);
    int selectedTab() const { return m_selectedTab; }
    void setSelectedTab(int tab);
    const QString &message() const { return m_message; }
    void setMessage(const QString &message);
    OwnerPrompt *prompt() const { return m_prompt; }
    bool reloading() const { return reloading(m_selectedTab); }
    bool reloading(int tab) const;

    // The root view has appeared: loads the market snapshot and then the vault, and starts the
    // periodic session check.
    Q_INVOKABLE void appeared();
    // The owner unlock gate: device-owner authentication, then the device sign-in, then the
    // portal in the browser.
    Q_INVOKABLE void unlock();
    // Opens an https page in the system browser; a development build also opens the pages of its
    // loopback service. Anything else opens nothing.
    Q_INVOKABLE void openURL(const QUrl &url);
    // Opens the service origin followed by `path` (which begins with "/").
    Q_INVOKABLE void openSite(const QString &path);

    // Keyboard commands of the tab view; before the user has entered they do nothing.
    // Shows the tab with this tag; false when it was not shown.
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
    void promptChanged();
    void reloadingChanged();

private:
    void applicationStateChanged(Qt::ApplicationState state);
    void unlockChecked(OwnerAuthContext *context, bool able);
    void unlockReplied(OwnerAuthContext *context, bool authenticated);
    // Lets an unlock's context go once its outcome is handled; false when it is not one of ours.
    bool letGo(OwnerAuthContext *context);
    QCoro::Task<> signIn();
    void runCheck();
    bool mayOpen(const QUrl &url) const;

    QString m_origin;
    // The service's own origin when it is a development build's loopback one.
    std::optional<QUrl> m_loopback;
    Platform m_platform;
    QNetworkAccessManager m_client;
    Markets *m_market;
    VaultBalance *m_balance;
    OwnerSession *m_session;
    TradeScreen *m_trade;
    bool m_entered = false;
    int m_selectedTab = Home;
    QString m_message;
    QPointer<OwnerPrompt> m_prompt;
    QTimer m_checkTimer;
    Qt::ApplicationState m_state;
    std::vector<std::unique_ptr<OwnerAuthContext>> m_unlocks;
};
