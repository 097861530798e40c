#pragma once

#include "app/urlopener.h"
#include "unlock/ownerauthenticator.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusVariant>
#include <QList>
#include <QNetworkAccessManager>
#include <QObject>
#include <QStringList>
#include <QUrl>

#include <QCoroTask>

#include <memory>

// Stand-ins for the person at the keyboard and the desktop, for programs that drive the app
// without them: the tests, the tour, the benchmarks.

// Owner authentication as a program scripts it: whether the device can authenticate, and what
// each evaluation answers, later on the GUI thread. An evaluation with no answer queued passes
// when the stand-in is passing and is otherwise never answered. It records the reasons asked.
// A queued prompt opens an OwnerPrompt for `user` instead, as the system's stack would: any
// answer passes, cancelling refuses.
class StandInOwner : public OwnerAuthenticator
{
    Q_OBJECT

public:
    using OwnerAuthenticator::OwnerAuthenticator;

    void setAvailable(bool available) { m_available = available; }
    // Takes whoever is at the keyboard to be the owner.
    void setPassing(bool passing) { m_passing = passing; }
    void queue(bool authenticated) { m_outcomes.append(authenticated ? Pass : Refuse); }
    void queuePrompt(const QString &user)
    {
        m_outcomes.append(Ask);
        m_promptUser = user;
    }
    const QStringList &reasons() const { return m_reasons; }

    std::unique_ptr<OwnerAuthContext> context() override;

private:
    friend class StandInOwnerContext;
    bool m_available = true;
    bool m_passing = false;
    enum Outcome { Refuse, Pass, Ask };
    QList<Outcome> m_outcomes;
    QString m_promptUser;
    QStringList m_reasons;
};

// Keeps what the app opens and approves a sign-in on its portal page, as the owner would in a
// browser: opens the page for the token its form carries, then posts the form with
// `decision=approve`. It opens nothing else.
class StandInBrowser : public UrlOpener
{
public:
    void open(const QUrl &url) override;

    // Approves the last page opened; false when there is none or the portal refused.
    QCoro::Task<bool> approve();

    // Everything the app asked to open, in order.
    QList<QUrl> opened;
    // Approves each portal page at once as it opens, and counts the approvals taken.
    bool approving = false;
    int approved = 0;

private:
    QCoro::Task<bool> approvePage(QUrl portal);

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
