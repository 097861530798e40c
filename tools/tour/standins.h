#pragma once

#include "ownerauthenticator.h"
#include "urlopener.h"

#include <QList>
#include <QNetworkAccessManager>
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
