#include "quiet.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>
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
    status.open(QIODevice::ReadOnly);
    static const QRegularExpression rss(QStringLiteral(R"(VmRSS:\s+(\d+) kB)"));
    return rss.match(QString::fromLatin1(status.readAll())).captured(1).toLongLong();
}

} // namespace

// The shipped service program under a load of good and bad requests: each gets its status, and
// once warm the service's memory stays flat. Its pace is the benchmark's.
class TestServiceLoad : public QObject
{
    Q_OBJECT

    QProcess m_service;
    QNetworkAccessManager m_client;

    // `count` requests of the mix, all queued at once over the client's kept-alive connections;
    // how many got another status than theirs.
    int round(const QString &origin, int count)
    {
        // Each carries a token the service never issued, which only the owner's routes look at.
        static const struct
        {
            const char *path;
            QByteArray body; // empty: a GET
            int status;
        } mix[] = {{"/market-data", {}, 200},
                   {"/contest/status", {}, 200},
                   {"/device/start", "{challenge:", 400},
                   {"/device/claim", R"({"id":"nobody","verifier":"00"})", 404},
                   {"/api/history", {}, 401},
                   {"/nothing", {}, 404}};
        int left = count;
        int wrong = 0;
        for (int i = 0; i < count; ++i) {
            const auto &[path, body, status] = mix[i % std::size(mix)];
            QNetworkRequest request(QUrl(origin + path));
            request.setRawHeader("Authorization", "Bearer nobody");
            request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
            QNetworkReply *reply = body.isEmpty() ? m_client.get(request) : m_client.post(request, body);
            connect(reply, &QNetworkReply::finished, this, [&, reply, status = status] {
                wrong += reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() != status;
                --left;
                reply->deleteLater();
            });
        }
        // However long it takes: the bench measures the pace, ctest's time-out stops a hang.
        while (left > 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        return wrong;
    }

private slots:
    void init() { failOnAnyWarning(); }

    void load()
    {
        // Under AddressSanitizer freed memory is held back for a while; here it must show.
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("ASAN_OPTIONS", environment.value("ASAN_OPTIONS") + ":quarantine_size_mb=0");
        m_service.setProcessEnvironment(environment);
        m_service.start(QStringLiteral(KELVRA_SERVICE), {"--port", "0"});
        QVERIFY(m_service.waitForReadyRead(-1));
        const QByteArray listening = m_service.readLine();
        const QString origin = "http://127.0.0.1:" + listening.mid(listening.lastIndexOf(':') + 1).trimmed();
        QCOMPARE(round(origin, 2000), 0); // warm-up
        const qint64 warm = residentKb(m_service.processId());
        QCOMPARE(round(origin, 8000), 0);
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
