#include "localservice.h"
#include "quiet.h"

#include <QDir>
#include <QHttpServerRequest>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

// The local service, noting the secrets it is sent: the proof-key verifier of each claim and
// every bearer token.
class RecordingService : public LocalService
{
public:
    RecordingService()
        : LocalService(OwnerRecords(QDateTime::currentDateTimeUtc()), std::chrono::minutes(15))
    {}

    QByteArrayList secrets;
    QStringList paths;

protected:
    void serve(const QHttpServerRequest &request, QHttpServerResponder &&responder) override
    {
        paths.append(request.url().path());
        const QByteArray bearer = request.value("Authorization");
        if (bearer.startsWith("Bearer "))
            secrets.append(bearer.mid(7));
        const QJsonValue verifier = QJsonDocument::fromJson(request.body())["verifier"];
        if (verifier.isString())
            secrets.append(verifier.toString().toLatin1());
        LocalService::serve(request, std::move(responder));
    }
};

// System calls that make, change or remove a file or a name in the file system.
const QStringList writingCalls{"creat",     "mkdir",   "mkdirat",   "rename",   "renameat",
                               "renameat2", "unlink",  "unlinkat",  "rmdir",    "link",
                               "linkat",    "symlink", "symlinkat", "truncate", "mknod",
                               "mknodat",   "chmod",   "fchmodat",  "utimensat"};

// The lines of an strace log that wrote somewhere other than /dev and /proc.
QStringList writes(const QByteArray &log)
{
    static const QRegularExpression call(QStringLiteral(R"(^(?:\d+ +)?(\w+)\((.*))"));
    static const QRegularExpression path(QStringLiteral(R"re("([^"]*)")re"));
    QStringList found;
    for (const QByteArray &raw : log.split('\n')) {
        const QString line = QString::fromUtf8(raw);
        const auto match = call.match(line);
        if (!match.hasMatch())
            continue;
        const QString name = match.captured(1);
        const QString args = match.captured(2);
        static const QRegularExpression toWrite(QStringLiteral("O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|O_APPEND"));
        const bool opensToWrite = name.startsWith(u"open") && toWrite.match(args).hasMatch();
        // A Unix socket bound to a path is a file too; an abstract one (@"…") is not.
        const bool bindsPath = name == u"bind" && args.contains(QStringLiteral("sun_path=\""));
        if (!opensToWrite && !bindsPath && !writingCalls.contains(name))
            continue;
        // Qt makes sure the runtime folder exists; finding it there changes nothing.
        if (line.contains(QStringLiteral("= -1 EEXIST")))
            continue;
        const QString target = path.match(args).captured(1);
        if (!target.startsWith(u"/dev/") && !target.startsWith(u"/proc/"))
            found.append(line);
    }
    return found;
}

} // namespace

class TestNothingOnDisk : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnAnyWarning(); }

    // A whole visit with an empty home and empty XDG folders: nothing is written outside /dev and
    // /proc, the folders are still empty afterwards, and the process prints nothing at all, so
    // no token or verifier either.
    void journey()
    {
        const QString strace = QStandardPaths::findExecutable(QStringLiteral("strace"));
        QVERIFY2(!strace.isEmpty(), "strace is missing (scripts/setup installs it)");
        RecordingService service;
        QVERIFY(service.start());

        QTemporaryDir root;
        QTemporaryDir outputs;
        const QStringList folders{"HOME",          "XDG_CONFIG_HOME", "XDG_CACHE_HOME",
                                  "XDG_DATA_HOME", "XDG_STATE_HOME",  "XDG_RUNTIME_DIR"};
        QProcessEnvironment environment;
        for (const QString &name : folders) {
            QVERIFY(QDir(root.path()).mkdir(name));
            QFile(root.filePath(name)).setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            environment.insert(name, root.filePath(name));
        }
        // Nothing else of the test's own environment, but the locale and the sanitizers' options.
        const QProcessEnvironment own = QProcessEnvironment::systemEnvironment();
        for (const QString &name : own.keys()) {
            if (name == u"PATH" || name == u"LANG" || name.startsWith(u"LC_")
                || name.endsWith(u"SAN_OPTIONS"))
                environment.insert(name, own.value(name));
        }
        environment.insert("QT_QPA_PLATFORM", "offscreen");
        // LeakSanitizer cannot work under a tracer; the other tests look for leaks.
        if (environment.contains("ASAN_OPTIONS"))
            environment.insert("ASAN_OPTIONS", environment.value("ASAN_OPTIONS") + ":detect_leaks=0");

        QProcess process;
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(root.path());
        process.setStandardOutputFile(outputs.filePath("stdout"));
        process.setStandardErrorFile(outputs.filePath("stderr"));
        const QString trace = outputs.filePath("trace");
        process.start(strace, {"-f", "-qq", "-s", "256", "-o", trace, "-e",
                               "trace=open,openat,openat2,bind," + writingCalls.join(u','),
                               QStringLiteral(KELVRA_JOURNEY), service.origin()});
        QVERIFY(process.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(process.state() == QProcess::NotRunning, 90000);

        const auto read = [&](const char *name) {
            QFile file(outputs.filePath(name));
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(unreadable)");
        };
        const QByteArray printed = read("stdout") + read("stderr");
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0 && printed.isEmpty(),
                 printed.constData());

        const QByteArray log = read("trace");
        QVERIFY(log.contains("openat("));
        const QStringList written = writes(log);
        QVERIFY2(written.isEmpty(), qPrintable(written.join(u'\n')));
        for (const QString &name : folders)
            QVERIFY2(
                QDir(root.filePath(name)).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                qPrintable(name));

        // The journey reached every part of the service, and its secrets are in nothing it left.
        for (const char *path : {"/market-data", "/contest/status", "/device/start", "/device/claim",
                                 "/device/status", "/api/account", "/api/history", "/device/logout"})
            QVERIFY2(service.paths.contains(QString::fromLatin1(path)), path);
        QVERIFY(service.paths.filter("/api/receipt/").size() == 1
                && service.paths.count("/market-data") == 2);
        QVERIFY(service.secrets.size() >= 2);
        for (const QByteArray &secret : service.secrets)
            QVERIFY(!printed.contains(secret) && !log.contains(secret));
    }
};

QTEST_GUILESS_MAIN(TestNothingOnDisk)
#include "tst_nothingondisk.moc"
