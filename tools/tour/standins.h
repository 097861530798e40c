#pragma once

#include "app/urlopener.h"
#include "unlock/ownerauthenticator.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusVariant>
#include <QList>
#include <QNetworkAccessManager>
#include <QObject>
#include <QUrl>

#include <QCoroTask>

#include <memory>

// Stand-ins for the person at the keyboard, for programs that drive the app without one: the
// tour, the benchmarks.

// Takes the person at the keyboard to be the owner.
class PassingAuthenticator : public OwnerAuthenticator
{
public:
    std::unique_ptr<OwnerAuthContext> context() override;
};

// Keeps what the app opens and approves a sign-in on its portal page, as the owner would in a
// browser.
class ApprovingBrowser : public UrlOpener
{
public:
    void open(const QUrl &url) override { pending.append(url); }

    // Opens the last page opened and posts its form with `decision=approve` and the form's token.
    QCoro::Task<bool> approve();

    QList<QUrl> pending;

private:
    QNetworkAccessManager m_client;
};

// The desktop portal's settings, as far as the colour scheme: it answers Read for the
// appearance's colour-scheme and signals each change. On a bus of its own making, such as
// dbus-run-session's; it claims the portal's name there.
class StandInPortal : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    // 0: no preference, 1: dark, 2: light.
    explicit StandInPortal(uint scheme, QObject *parent = nullptr);
    ~StandInPortal() override;

    // False when the bus or the name is not to be had.
    bool registered() const { return m_registered; }
    // Changes the scheme and signals it.
    void setScheme(uint scheme);
    // How many reads of the colour scheme it has answered.
    int reads() const { return m_reads; }

public slots:
    QDBusVariant Read(const QString &group, const QString &key);

signals:
    void SettingChanged(const QString &group, const QString &key, const QDBusVariant &value);

private:
    QDBusConnection m_bus;
    uint m_scheme;
    bool m_registered = false;
    int m_reads = 0;
};
