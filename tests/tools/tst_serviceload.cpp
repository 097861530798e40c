#include "quiet.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTest>

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
    static const QRegularExpression rss(QStringLiteral(R"(VmRSS:\s+(\d+) kB)"));
    return status.open(QIODevice::ReadOnly)
               ? rss.match(QString::fromLatin1(status.readAll())).captured(1).toLongLong()
               : -1;
}

// One kept-alive connection that sends its requests one after another and counts each status;
// a request whose connection the service closes counts as status 0.
class Connection : public QObject
{
public:
    Connection(quint16 port, QList<QByteArray> requests, QHash<int, int> &statuses)
        : m_requests(std::move(requests))
        , m_statuses(statuses)
    {
        connect(&m_socket, &QTcpSocket::connected, this, &Connection::next);
        connect(&m_socket, &QTcpSocket::readyRead, this, &Connection::read);
        connect(&m_socket, &QTcpSocket::disconnected, this, [this, port] {
            if (m_sent > m_done)
                ++m_statuses[0], ++m_done;
            if (!finished())
                m_socket.connectToHost(QHostAddress::LocalHost, port);
        });
        m_socket.connectToHost(QHostAddress::LocalHost, port);
    }
    bool finished() const { return m_done == m_requests.size(); }

private:
    void next()
    {
        if (m_sent < m_requests.size() && m_sent == m_done)
            m_socket.write(m_requests.at(m_sent++));
    }
    void read()
    {
        m_pending += m_socket.readAll();
        const qsizetype end = m_pending.indexOf("\r\n\r\n");
        static const QRegularExpression length(QStringLiteral("(?i)content-length: *(\\d+)"));
        const qsizetype size =
            end + 4 + length.match(QString::fromLatin1(m_pending.left(end))).captured(1).toLongLong();
        if (end < 0 || m_pending.size() < size)
            return;
        ++m_statuses[m_pending.mid(9, 3).toInt()];
        m_pending.remove(0, size);
        ++m_done;
        next();
    }

    QList<QByteArray> m_requests;
    QHash<int, int> &m_statuses;
    QTcpSocket m_socket;
    QByteArray m_pending;
    int m_sent = 0;
    int m_done = 0;
};

} // namespace

class TestServiceLoad : public QObject
{
    Q_OBJECT

    QProcess service;
    quint16 port = 0;

    QByteArray request(const QByteArray &method, const QByteArray &path, const QByteArray &body = {},
                       const QByteArray &extra = {})
    {
        return method + ' ' + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(port) + "\r\n"
               + extra
               + (body.isEmpty() ? ""
                                 : "Content-Type: application/json\r\nContent-Length: "
                                       + QByteArray::number(body.size()) + "\r\n")
               + "\r\n" + body;
    }

private slots:
    void initTestCase()
    {
        // Under AddressSanitizer freed memory is held back for a while; here it must show.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("ASAN_OPTIONS", environment.value("ASAN_OPTIONS") + ":quarantine_size_mb=0");
        service.setProcessEnvironment(environment);
        service.start(QStringLiteral(KELVRA_SERVICE), {"--port", "0"});
        QVERIFY(service.waitForReadyRead(10000));
        const QByteArray line = service.readLine();
        port = quint16(line.mid(line.lastIndexOf(':') + 1).trimmed().toUInt());
        QVERIFY2(port != 0, line.constData());
    }

    void cleanupTestCase()
    {
        service.terminate();
        service.waitForFinished();
    }

    void init() { failOnAnyWarning(); }

    // 20,000 requests over 8 connections, good and bad mixed: each gets its own answer, none
    // fails, and the service's memory stays flat once warm.
    void load()
    {
        const QList<QPair<QByteArray, int>> mix{
            {request("GET", "/market-data"), 200},
            {request("GET", "/contest/status"), 200},
            {request("POST", "/device/start", "{challenge:"), 400},
            {request("POST", "/device/claim", R"({"id":"nobody","verifier":"00"})"), 404},
            {request("GET", "/api/history", {}, "Authorization: Bearer " + QByteArray(64, 'f') + "\r\n"),
             401},
            {request("GET", "/nothing"), 404},
        };
        QHash<int, int> expected;
        const auto round = [&](int each) {
            QHash<int, int> statuses;
            std::vector<std::unique_ptr<Connection>> connections;
            for (int c = 0; c < 8; ++c) {
                QList<QByteArray> requests;
                for (int i = 0; i < each; ++i) {
                    requests.append(mix[(c + i) % mix.size()].first);
                    ++expected[mix[(c + i) % mix.size()].second];
                }
                connections.push_back(std::make_unique<Connection>(port, requests, statuses));
            }
            if (!QTest::qWaitFor(
                    [&] {
                        return std::all_of(connections.begin(), connections.end(),
                                           [](auto &c) { return c->finished(); });
                    },
                    120000))
                ++statuses[-1]; // stuck: never equal to the expected statuses
            return statuses;
        };
        round(250); // warm-up: 2,000
        const qint64 warm = residentKb(service.processId());
        expected.clear();
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(round(2500), expected);
        const qint64 after = residentKb(service.processId());
        QCOMPARE(service.state(), QProcess::Running);
        qInfo("20000 requests in %lld ms; resident %lld kB warm, %lld kB after", clock.elapsed(), warm,
              after);
        QVERIFY2(after - warm < flatKb, qPrintable(QString::number(after - warm)));
    }

    // A body far over the service's cap is refused as soon as it passes the cap, not after the
    // service has taken it all in, and the service keeps serving.
    void hugeBody()
    {
        const qint64 before = residentKb(service.processId());
        QTcpSocket socket;
        QByteArray answer;
        connect(&socket, &QTcpSocket::readyRead, this, [&] { answer += socket.readAll(); });
        socket.connectToHost(QHostAddress::LocalHost, port);
        QVERIFY(socket.waitForConnected());
        socket.write(request("POST", "/device/start", {},
                             "Content-Type: application/json\r\nContent-Length: 67108864\r\n"));
        const QByteArray chunk(64 * 1024, 'x');
        for (int sent = 0;
             sent < 1024 && answer.isEmpty() && socket.state() == QAbstractSocket::ConnectedState; ++sent) {
            socket.write(chunk);
            socket.waitForBytesWritten(1000);
            QCoreApplication::processEvents();
        }
        QTRY_VERIFY(answer.startsWith("HTTP/1.1 413 ") && answer.contains("{\"error\":\"request over "));
        QTRY_COMPARE(socket.state(), QAbstractSocket::UnconnectedState);
        const qint64 after = residentKb(service.processId());
        QVERIFY2(after - before < 8192, qPrintable(QString::number(after - before)));
        QCOMPARE(service.state(), QProcess::Running);
    }
};

QTEST_GUILESS_MAIN(TestServiceLoad)
#include "tst_serviceload.moc"
