// kelvra-bench-wire: how the app's requests and the local service behave in time, for the bench
// driver.
//
//   kelvra-bench-wire faults        every request of the app into a peer that misbehaves in each
//                                   way the fault matrix knows: longest-gap-ms, the longest time
//                                   the GUI thread's event loop did not turn
//   kelvra-bench-wire load ORIGIN   6,000 requests over 8 kept-alive connections to a service:
//                                   requests-per-second
//
// GCC 12 resumes a garbage frame after `if (!co_await ...)` in some coroutines: results are kept
// in locals before they are tested.

#include "faultypeer.h"
#include "market/markets.h"
#include "owner/ownersession.h"
#include "vault/vaultbalance.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QTcpSocket>
#include <QTimer>

#include <array>
#include <cstdio>

using namespace std::chrono_literals;
using Fault = FaultyPeer::Fault;

namespace {

struct Wire
{
    QByteArray path, good;
};
const QList<Wire> wires{
    {"/market-data",
     R"({"quotes":[{"pair":"BTC-USD","price":65000,"time":"t"},)"
     R"({"pair":"ETH-USD","price":3000,"time":"t"},{"pair":"SOL-USD","price":150,"time":"t"}]})"},
    {"/contest/status", R"({"balanceUnits":"25000000","agentBudgetUnits":"1500000","active":true})"},
    {"/device/start", R"({"id":"s1","code":"K7Q2","approvalUrl":"http://127.0.0.1/p"})"},
    {"/device/claim", R"({"token":"t0k","expires":4102444800000})"},
    {"/device/status", R"({"authenticated":true})"},
    {"/api/receipt/p1", R"({"explanation":"A","limitation":"B"})"},
};

// The longest gap between two turns of the event loop while `task` runs, in milliseconds.
double longestGap(QCoro::Task<> task)
{
    QElapsedTimer clock;
    qint64 longest = 0;
    QTimer turn;
    QObject::connect(&turn, &QTimer::timeout, [&] {
        longest = std::max(longest, clock.nsecsElapsed());
        clock.restart();
    });
    turn.start(0);
    clock.start();
    QCoro::waitFor(std::move(task));
    return double(longest) / 1e6;
}

int faults()
{
    const QList<FaultyPeer::Play> plays{
        {.fault = Fault::Stall},
        {.fault = Fault::ResetInBody},
        {.fault = Fault::Raw},
        {.fault = Fault::Raw, .body = QByteArray("SSH-2.0-OpenSSH_9.2\r\n\x00\x01\x02\xff", 25)},
        {.fault = Fault::Endless},
        {.fault = Fault::EndlessHead},
        {.fault = Fault::Drip},
        {.status = 401,
         .body = QByteArray(R"({"error":"refused"})").leftJustified(200 << 10),
         .chunked = true},
        {.status = 500, .body = R"({"error":"refused"})"},
        {.status = 307, .location = "/moved"},
    };
    QHash<QByteArray, QByteArray> good{{"/moved", wires[0].good}};
    for (const Wire &w : wires)
        good.insert(w.path, w.good);
    double longest = 0;
    for (const Wire &w : wires) {
        for (FaultyPeer::Play play : plays) {
            FaultyPeer peer(good);
            const Service service{peer.origin(), 400ms};
            QNetworkAccessManager shared;
            Markets market(&shared, service);
            VaultBalance vault(&shared, service);
            OwnerSession session(service);
            // Owner requests start from the state in which the app makes them.
            if ((w.path != "/device/start" && w.path.startsWith("/device")) || w.path.startsWith("/api"))
                QCoro::waitFor(session.start());
            if (w.path == "/device/status" || w.path.startsWith("/api"))
                QCoro::waitFor(session.check());
            play.path = w.path;
            peer.play(play);
            const auto run = [&]() -> QCoro::Task<> {
                if (w.path == "/market-data")
                    co_await market.load();
                else if (w.path == "/contest/status")
                    co_await vault.load();
                else if (w.path == "/device/start")
                    co_await session.start();
                else if (w.path.startsWith("/api/receipt/"))
                    co_await session.verify(QStringLiteral("p1"));
                else
                    co_await session.check();
            };
            longest = std::max(longest, longestGap(run()));
        }
    }
    std::printf("longest-gap-ms %.3f\n", longest);
    return 0;
}

int load(const QString &origin)
{
    const QUrl url(origin);
    const QByteArray host = url.host().toLatin1() + ':' + QByteArray::number(url.port());
    const QByteArray head = " HTTP/1.1\r\nHost: " + host + "\r\nAuthorization: Bearer nobody\r\n";
    const QList<QByteArray> mix{"GET /market-data" + head + "\r\n", "GET /contest/status" + head + "\r\n",
                                "GET /api/history" + head + "\r\n", "GET /nothing" + head + "\r\n"};
    constexpr int each = 750;
    struct Connection
    {
        QTcpSocket socket;
        QByteArray pending;
        int done = 0;
    };
    std::array<Connection, 8> connections;
    int finished = 0, failed = 0;
    QElapsedTimer clock;
    clock.start();
    for (Connection &c : connections) {
        const auto next = [&c, &mix] { c.socket.write(mix[c.done % mix.size()]); };
        QObject::connect(&c.socket, &QTcpSocket::readyRead, [&, next] {
            c.pending += c.socket.readAll();
            const qsizetype end = c.pending.indexOf("\r\n\r\n");
            const qsizetype at = c.pending.toLower().indexOf("content-length:");
            if (end < 0 || at < 0)
                return;
            const qsizetype size =
                end + 4 + c.pending.mid(at + 15, c.pending.indexOf('\r', at) - at - 15).trimmed().toInt();
            if (c.pending.size() < size)
                return;
            c.pending.remove(0, size);
            if (++c.done == each)
                ++finished;
            else
                next();
        });
        QObject::connect(&c.socket, &QTcpSocket::disconnected, [&] { ++failed; });
        c.socket.connectToHost(url.host(), quint16(url.port()));
        next();
    }
    while (finished < int(connections.size()) && failed == 0)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (failed)
        return 1;
    std::printf("requests-per-second %.1f\n",
                each * double(connections.size()) / (double(clock.nsecsElapsed()) / 1e9));
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    if (arguments.value(1) == QLatin1String("faults"))
        return faults();
    if (arguments.value(1) == QLatin1String("load") && arguments.size() == 3)
        return load(arguments[2]);
    std::fprintf(stderr, "usage: kelvra-bench-wire faults | load ORIGIN\n");
    return 2;
}
