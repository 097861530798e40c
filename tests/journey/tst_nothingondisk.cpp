#include "localservice.h"
#include "quiet.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

// System calls that make, change or remove a file or a name in the file system.
const QString writingCalls =
    "creat,mkdir,mkdirat,rename,renameat,renameat2,unlink,unlinkat,rmdir,link,linkat,"
    "symlink,symlinkat,truncate,mknod,mknodat,chmod,fchmodat,utimensat";

// The lines of an strace log of those calls, opens and binds that wrote somewhere other than
// /dev and /proc. An open writes with these flags; a bind to a path makes a file, an abstract
// one (@"…") does not.
QStringList writes(const QByteArray &log)
{
    static const QRegularExpression call(QStringLiteral(R"(^(?:\d+ +)?(\w+)\((.*))"));
    static const QRegularExpression toWrite(
        QStringLiteral("O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|O_APPEND|sun_path=\""));
    QStringList found;
    for (const QString &line : QString::fromUtf8(log).split(u'\n')) {
        const auto match = call.match(line);
        const bool opensOrBinds = match.captured(1).startsWith(u"open") || match.captured(1) == u"bind";
        // Qt makes sure the runtime folder exists; finding it there changes nothing.
        if (!match.hasMatch() || (opensOrBinds && !toWrite.match(match.captured(2)).hasMatch())
            || line.contains(u"= -1 EEXIST"))
            continue;
        const QString target = match.captured(2).section(u'"', 1, 1);
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

    void journey_data()
    {
        QTest::addColumn<QString>("platform");
        QTest::addColumn<QStringList>("launcher"); // what runs strace
        QTest::newRow("offscreen") << "offscreen" << QStringList{};
        // On a display, through OpenGL, whose driver has files of its own to keep (asked for:
        // without a graphics device the app draws with Qt Quick's own renderer).
        const QStringList display{"xvfb-run", "-a", "-s", "-screen 0 1280x1024x24 -nolisten tcp"};
        QTest::newRow("display, OpenGL") << "xcb" << display + QStringList{"env", "QT_QUICK_BACKEND=rhi"};
    }

    // A whole visit (kelvra-journey) with an empty home and empty XDG folders: nothing is written
    // outside /dev and /proc, the folders are still empty afterwards, and the process prints
    // nothing at all, so no token or verifier either.
    void journey()
    {
        QFETCH(QString, platform);
        QFETCH(QStringList, launcher);
        const QString strace = QStandardPaths::findExecutable(QStringLiteral("strace"));
        QVERIFY2(!strace.isEmpty(), "strace is missing (scripts/setup installs it)");
        LocalService service(OwnerRecords(QDateTime::currentDateTimeUtc()), std::chrono::minutes(15));
        QVERIFY(service.start());

        QTemporaryDir root;
        const QStringList folders{"HOME",          "XDG_CONFIG_HOME", "XDG_CACHE_HOME",
                                  "XDG_DATA_HOME", "XDG_STATE_HOME",  "XDG_RUNTIME_DIR"};
        QProcessEnvironment environment;
        for (const QString &name : folders) {
            QVERIFY(QDir(root.path()).mkdir(name, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
            environment.insert(name, root.filePath(name));
        }
        // Nothing else of the test's own environment, but the locale and the sanitizers' options.
        static const QRegularExpression kept(QStringLiteral("^(PATH|LANG|LC_.*|.*SAN_OPTIONS)$"));
        const QProcessEnvironment own = QProcessEnvironment::systemEnvironment();
        for (const QString &name : own.keys())
            if (kept.match(name).hasMatch())
                environment.insert(name, own.value(name));
        environment.insert("QT_QPA_PLATFORM", platform);
        // LeakSanitizer cannot work under a tracer; the other tests look for leaks.
        if (environment.contains("ASAN_OPTIONS"))
            environment.insert("ASAN_OPTIONS", environment.value("ASAN_OPTIONS") + ":detect_leaks=0");

        QProcess process;
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(root.path());
        QStringList command = launcher;
        command.append(QStringList{strace, "-f", "-qq", "-s", "256", "-o", root.filePath("trace"), "-e",
                                   "trace=open,openat,openat2,bind," + writingCalls,
                                   QStringLiteral(KELVRA_JOURNEY), service.origin()});
        process.start(command.first(), command.mid(1));
        QTRY_VERIFY_WITH_TIMEOUT(process.state() == QProcess::NotRunning, 90000);

        const QByteArray printed = process.readAllStandardOutput() + process.readAllStandardError();
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0 && printed.isEmpty(),
                 printed.constData());
        QFile trace(root.filePath("trace"));
        QVERIFY(trace.open(QIODevice::ReadOnly));
        const QByteArray log = trace.readAll();
        QVERIFY(log.contains("openat("));
        QVERIFY2(writes(log).isEmpty(), qPrintable(writes(log).join(u'\n')));
        for (const QString &name : folders)
            QVERIFY2(
                QDir(root.filePath(name)).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden),
                qPrintable(name));
    }
};

QTEST_GUILESS_MAIN(TestNothingOnDisk)
#include "tst_nothingondisk.moc"
