#include "quiet.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTest>

#include <array>

namespace {

// How much the service may grow once warm. AddressSanitizer's allocator keeps freed blocks of
// each size for reuse, quarantine or not, so it settles higher.
#ifdef KELVRA_SANITIZED
constexpr qint64 flatKb = 16384;
#else
constexpr qint64 flatKb = 4096;
#endif

qint64 residentKb(qint64 pid)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    status.open(QIODevice::ReadOnly);
    static const QRegularExpression rss(QStringLiteral(R"(VmRSS:\s+(\d+) kB)"));
    return rss.match(QString::fromLatin1(status.readAll())).captured(1).toLongLong();
}

struct Connection
{
    QTcpSocket socket;
    QByteArray pending;
    int done = 0;
};

} // namespace

// The shipped service program under a load of good and bad requests.
class TestServiceLoad : public QObject
{
    Q_OBJECT

    QProcess m_service;
    QList<QPair<QByteArray, int>> m_mix; // requests and the status each must get

    // Sends `each` requests of the mix over each of 8 kept-alive connections, one after another;
    // true when every request got its own answer with its status and no connection was closed.
    bool round(quint16 port, int each)
    {
        static const QRegularExpression length(QStringLiteral("(?i)\r\ncontent-length: *(\\d+)"));
        int finished = 0;
        int wrong = 0;
        std::array<Connection, 8> connections;
        for (int c = 0; c < 8; ++c) {
            Connection *to = &connections[c];
            const auto next = [this, to, c] { to->socket.write(m_mix[(c + to->done) % m_mix.size()].first); };
            connect(&to->socket, &QTcpSocket::readyRead, this, [&, to, c, next] {
                to->pending += to->socket.readAll();
                const qsizetype end = to->pending.indexOf("\r\n\r\n");
                const qsizetype size =
                    end + 4 + length.match(QString::fromLatin1(to->pending.left(end))).captured(1).toInt();
                if (end < 0 || to->pending.size() < size)
                    return;
                const int expected = m_mix[(c + to->done) % m_mix.size()].second;
                wrong += to->pending.mid(9, 3).toInt() != expected || to->pending.size() > size;
                to->pending.clear();
                if (++to->done == each)
                    ++finished;
                else
                    next();
            });
            connect(&to->socket, &QTcpSocket::disconnected, this, [&] { ++wrong; });
            to->socket.connectToHost(QHostAddress::LocalHost, port);
            next();
        }
        // However long it takes: the bench measures the pace, ctest's time-out stops a hang.
        while (finished < 8 && wrong == 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return wrong == 0;
    }

private slots:
    void init() { failOnAnyWarning(); }

    // 8,000 requests over 8 connections: none fails, and the service's memory stays flat once warm.
    void load()
    {
        // Under AddressSanitizer freed memory is held back for a while; here it must show.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("ASAN_OPTIONS", environment.value("ASAN_OPTIONS") + ":quarantine_size_mb=0");
        m_service.setProcessEnvironment(environment);
        m_service.start(QStringLiteral(KELVRA_SERVICE), {"--port", "0"});
        QVERIFY(m_service.waitForReadyRead(-1));
        const QByteArray listening = m_service.readLine();
        const QByteArray port = listening.mid(listening.lastIndexOf(':') + 1).trimmed();
        // Each carries a token the service never issued, which only the owner's routes look at.
        const auto request = [&](const QByteArray &line, const QByteArray &body = {}) {
            return line + " HTTP/1.1\r\nHost: 127.0.0.1:" + port + "\r\nAuthorization: Bearer nobody\r\n"
                   + "Content-Type: application/json\r\nContent-Length: " + QByteArray::number(body.size())
                   + "\r\n\r\n" + body;
        };
        m_mix = {{request("GET /market-data"), 200},
                 {request("GET /contest/status"), 200},
                 {request("POST /device/start", "{challenge:"), 400},
                 {request("POST /device/claim", R"({"id":"nobody","verifier":"00"})"), 404},
                 {request("GET /api/history"), 401},
                 {request("GET /nothing"), 404}};

        QVERIFY(round(quint16(port.toUInt()), 250)); // warm-up: 2,000
        const qint64 warm = residentKb(m_service.processId());
        QVERIFY(round(quint16(port.toUInt()), 1000));
        const qint64 grown = residentKb(m_service.processId()) - warm;
        QVERIFY2(warm > 0 && grown < flatKb, qPrintable(QString::number(grown)));
        QCOMPARE(m_service.state(), QProcess::Running);
    }

    void cleanupTestCase()
    {
        m_service.terminate();
        m_service.waitForFinished();
    }
};

QTEST_GUILESS_MAIN(TestServiceLoad)
#include "tst_serviceload.moc"
