#pragma once

#include "devicesignins.h"
#include "loopbackhttp.h"
#include "marketfeed.h"
#include "ownerrecords.h"
#include "sessions.h"

#include <QDateTime>
#include <QHttpServerRequest>
#include <QList>

#include <chrono>
#include <functional>

// The Kelvra service on the loopback interface: market quotes, the vault's status, device
// sign-in through a portal page, and the owner's account, history and receipts behind a bearer
// token. Everything lives in memory and is gone when the service stops.
class LocalService : public LoopbackHttp
{
public:
    // Requests with a longer body are refused.
    static constexpr qsizetype bodyLimit = 16 * 1024;
    // More connections at once are refused; one that sends nothing for this long is closed.
    static constexpr int connectionLimit = 64;
    static constexpr std::chrono::seconds idleLimit{10};

    LocalService(OwnerRecords records, std::chrono::milliseconds tokenLifetime, QObject *parent = nullptr);

    // Milliseconds since the epoch; tests hold it still and move it on.
    std::function<qint64()> clock = &QDateTime::currentMSecsSinceEpoch;

    // Whether the agent may spend from the vault; the demo page switches it.
    bool agentActive() const { return m_agentActive; }

protected:
    void serve(const QHttpServerRequest &request, QHttpServerResponder &&responder) override;

private:
    struct Call
    {
        const QHttpServerRequest &request;
        QString origin; // as the client reached us
        QString tail;   // the path after a route's prefix
        qint64 now;     // milliseconds since the epoch
    };
    using Handler = Answer (LocalService::*)(const Call &);
    struct Route
    {
        QString path; // a path, or a prefix when it ends in "/"
        QHttpServerRequest::Method method;
        bool bearer; // needs a live session's token
        Handler handler;
    };

    Answer dispatch(const QHttpServerRequest &request);

    Answer home(const Call &call);
    Answer demo(const Call &call);
    Answer competition(const Call &call);
    Answer marketData(const Call &call);
    Answer contestStatus(const Call &call);
    Answer setPermission(const Call &call);
    Answer startSignIn(const Call &call);
    Answer claimSignIn(const Call &call);
    Answer portal(const Call &call);
    Answer decide(const Call &call);
    Answer sessionStatus(const Call &call);
    Answer logout(const Call &call);
    Answer account(const Call &call);
    Answer history(const Call &call);
    Answer receipt(const Call &call);

    static Answer html(const QByteArray &page, int status = 200);
    // A form posted from anywhere but its own page, `expected` being the token the page carries.
    static std::optional<Answer> forged(const Call &call, const QString &expected);

    const QList<Route> m_routes;
    MarketFeed m_market;
    OwnerRecords m_records;
    DeviceSignIns m_signIns;
    Sessions m_sessions;
    bool m_agentActive = true;
    const QString m_demoToken; // what the demo page's form carries
};
