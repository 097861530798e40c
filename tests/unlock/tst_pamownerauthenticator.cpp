#include "quiet.h"
#include "unlock/pamownerauthenticator.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QPointer>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <security/pam_appl.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

int threads()
{
    return int(QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
}

// Lets the slow stack's helper end; false while it has not opened its gate yet.
bool openSlowGate()
{
    const int gate = ::open(KELVRA_PAM_SLOW_GATE, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    return gate >= 0 && ::close(gate) == 0;
}

// The processes started by this one: for each, its command line and what it waits on.
QStringList ourProcesses()
{
    QStringList found;
    for (const QString &task :
         QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile list(QStringLiteral("/proc/self/task/%1/children").arg(task));
        if (!list.open(QIODevice::ReadOnly))
            continue;
        for (const QByteArray &pid : list.readAll().simplified().split(' ')) {
            if (pid.isEmpty())
                continue;
            QFile cmdline("/proc/" + pid + "/cmdline");
            QFile wchan("/proc/" + pid + "/wchan");
            const bool read = cmdline.open(QIODevice::ReadOnly) && wchan.open(QIODevice::ReadOnly);
            found << QString::fromLocal8Bit(pid + ": " + (read ? cmdline.readAll().replace('\0', ' ') : "")
                                            + "waits in " + (read ? wchan.readAll() : "?"));
        }
    }
    return found;
}

// The slow stack's helper runs: a child of ours that reads the gate. A child still on its way to
// the helper's program does not count.
bool helperRunning()
{
    const QStringList processes = ourProcesses();
    const QString gate = QStringLiteral(KELVRA_PAM_SLOW_GATE);
    return std::any_of(processes.cbegin(), processes.cend(),
                       [&gate](const QString &process) { return process.contains(gate); });
}

} // namespace

const QString reason = QStringLiteral("Open your Kelvra owner portal");
const QString password = QStringLiteral("Grüße €→"); // beyond ASCII, with a space

class TestPamOwnerAuthenticator : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_services; // pam_wrapper's service directory, with the app's service

    // The account may use `service` with the password.
    void allow(const QString &service)
    {
        const passwd *entry = getpwuid(getuid());
        QFile passdb(m_dir.filePath("passdb"));
        QVERIFY(entry && passdb.open(QIODevice::WriteOnly | QIODevice::Truncate));
        passdb.write(QString("%1:%2:%3\n").arg(entry->pw_name, password, service).toUtf8());
    }

private slots:
    void initTestCase()
    {
        m_services = qEnvironmentVariable("PAM_WRAPPER_SERVICE_DIR");
        QVERIFY2(qEnvironmentVariable("PAM_WRAPPER") == "1" && !m_services.isEmpty(),
                 "run through ctest, which loads pam_wrapper");
        qputenv("PAM_MATRIX_PASSWD", QFile::encodeName(m_dir.filePath("passdb")));
        ::unlink(KELVRA_PAM_SLOW_GATE);
        QCOMPARE(::mkfifo(KELVRA_PAM_SLOW_GATE, 0600), 0);
    }

    void init() { failOnAnyWarning(); }
    // A failed row leaves no helper waiting at the gate.
    void cleanup() { openSlowGate(); }

    void outcome_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<bool>("authenticated");
        // The hints and the question (marked when shown) each time the prompt asks.
        QTest::addColumn<QStringList>("heard");
        // "account refused", or what the test does at the first question: "cancel", or answer
        // and "cancel" or "let go" of the context while the stack checks the answer
        QTest::addColumn<QString>("twist");
        const QString app = QStringLiteral("kelvra-owner-auth");
        const QString q = QStringLiteral("Password: ");
        // The stack's own words, in the locale the test runs in.
        const QString failure = QString::fromLocal8Bit(pam_strerror(nullptr, PAM_AUTH_ERR));
        const QStringList none;
        const QStringList right{password};
        const QStringList third{"a", "b", password};
        const QStringList once{q};
        const QStringList told{q, failure, q, failure, q};
        const QStringList chatty =
            QStringList(3, "Authentication succeeded") + QStringList(3, "Authentication generated an error");
        addRow("right", app, right, true, once, "");
        addRow("right at the third try", app, third, true, told, "");
        addRow("wrong three times, no fourth", app, QStringList{"a", "b", "c", password}, false, told, "");
        addRow("account refused after the right password, no retry", app, right + right, false, once,
               "account refused");
        addRow("cancelled at the question", app, none, false, once, "cancel");
        addRow("service refuses without asking", "owner-absent", right, false, none, "");
        addRow("answer shown while typed", "owner-echo", right, true, QStringList{q + "(shown)"}, "");
        addRow("a stack that tells the failure itself", "owner-verbose", third, true,
               QStringList{q, "Authentication failed", q, "Authentication failed", q}, "");
        addRow("hints before the question", "owner-chatty", third, true,
               QStringList() << chatty << q << failure << chatty << q << failure << chatty << q, "");
        addRow("cancel while the stack works on", "owner-slow", none, false, once, "answer, cancel");
        addRow("cancel after the stack posted its success", app, none, false, once, "answer, cancel");
        addRow("context let go while the stack works on", "owner-slow", none, false, once, "answer, let go");
    }

    void outcome()
    {
        QFETCH(QString, service);
        QFETCH(QStringList, answers);
        QFETCH(QString, twist);
        allow(twist == "account refused" ? "elsewhere" : service);
        int opened = 0;
        QPointer<OwnerPrompt> prompt;
        QStringList heard;
        QList<bool> replies;
        QList<int> dumpableAsked;
        PamOwnerAuthenticator authenticator({.service = service, .serviceDirs = {m_services}});
        connect(&authenticator, &OwnerAuthenticator::promptOpened, this, [&](OwnerPrompt *p) {
            ++opened;
            prompt = p;
            connect(p, &OwnerPrompt::busyChanged, p, [&, p] {
                if (p->busy() || !p->open())
                    return;
                heard << p->info() << p->message() + (p->secret() ? "" : "(shown)");
                dumpableAsked << prctl(PR_GET_DUMPABLE, 0, 0, 0, 0);
                // From the event loop, as a click would.
                if (!answers.isEmpty())
                    QMetaObject::invokeMethod(
                        p, [p, answer = answers.takeFirst()] { p->answer(answer); }, Qt::QueuedConnection);
            });
        });
        const int idle = threads();
        std::unique_ptr<OwnerAuthContext> context = authenticator.context();
        context->evaluate(reason, [&](bool authenticated) {
            replies << authenticated;
            QCOMPARE(QThread::currentThread(), thread());
        });
        QVERIFY(replies.isEmpty()); // never within evaluate()
        int again = -1;             // one authentication per context
        context->evaluate(reason, [&again](bool authenticated) { again = authenticated; });
        QCOMPARE(again, 0);
        if (twist == "cancel" || twist.startsWith("answer")) {
            QTRY_COMPARE_WITH_TIMEOUT(heard.size(), 1, 10000);
            if (twist.startsWith("answer")) {
                prompt->answer(password);
                // The GUI thread is held up until the slow stack's helper runs, or until the stack
                // has ended and posted its success.
                const bool slow = service == "owner-slow";
                const QDeadlineTimer deadline(30s);
                while ((slow ? !helperRunning() : threads() > idle) && !deadline.hasExpired())
                    std::this_thread::yield();
                QVERIFY2(!deadline.hasExpired(), qPrintable(ourProcesses().join(u'\n')));
            }
            twist.endsWith("let go") ? context.reset() : prompt->cancel();
            // At once: while the slow stack still works on.
            QTRY_COMPARE(replies.size(), 1);
            QVERIFY(service != "owner-slow" || threads() > idle);
            if (service == "owner-slow") {
                // QTRY_* evaluates its condition again after it holds; once the helper has read
                // the gate and ended, opening it again fails.
                bool gateOpened = false;
                QTRY_VERIFY2_WITH_TIMEOUT((gateOpened = gateOpened || openSlowGate()),
                                          qPrintable(ourProcesses().join(u'\n')), 30000);
            }
        }
        QTRY_COMPARE_WITH_TIMEOUT(replies.size(), 1, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(threads(), idle, 30000); // the stack has finished
        QFETCH(bool, authenticated);
        QCOMPARE(replies, QList<bool>{authenticated});
        QTEST(heard, "heard");
        QCOMPARE(opened, heard.isEmpty() ? 0 : 1);
        QVERIFY(!prompt || (prompt->reason() == reason && !prompt->open() && !prompt->busy()));
        // No core dump while a conversation could hold the password; possible again after it.
        QCOMPARE(dumpableAsked, QList<int>(dumpableAsked.size(), 0));
        QTRY_COMPARE(prctl(PR_GET_DUMPABLE, 0, 0, 0, 0), 1);
    }

    void canEvaluate_data()
    {
        QTest::addColumn<QStringList>("serviceDirs");
        QTest::addColumn<QStringList>("status"); // the password status command, given the user name
        // "held": the status waits for the test to release it; "let go": the context goes meanwhile
        QTest::addColumn<QString>("twist");
        QTest::addColumn<bool>("expected");
        const auto sh = [](const QString &script) { return QStringList{"/bin/sh", "-c", script, "status"}; };
        const auto says = [&sh](const QString &line) { return sh("printf '" + line + "\\n' \"$1\""); };
        const QStringList here{m_services};
        const QStringList usable = says("%s P 05/20/2025 0 99999 7 -1");
        // Reads one line from the release pipe first; only the test writes it.
        const QStringList held = sh("read x < '" + m_dir.filePath("release") + "'; echo \"$1 L\"");
        addRow("usable password", here, usable, "", true);
        addRow("service not installed", QStringList{"/nonexistent"}, usable, "", false);
        addRow("status fails: the stack decides", here, QStringList{"/bin/false"}, "", true);
        addRow("another account's status is not ours", here, says("someone-else L 05/20/2025"), "", true);
        addRow("status read in the C locale", here, sh(R"([ "$LC_ALL" = C ] && s=P || s=L; echo "$1 $s 1")"),
               "", true);
        addRow("slow status: the event loop goes on, the answer stands", here, held, "held", false);
        addRow("context let go while the status is read", here, held, "let go", false);
    }

    void canEvaluate()
    {
        QFETCH(QStringList, serviceDirs);
        QFETCH(QStringList, status);
        QFETCH(QString, twist);
        const QByteArray release = QFile::encodeName(m_dir.filePath("release"));
        QFile::remove(m_dir.filePath("release"));
        QCOMPARE(mkfifo(release.constData(), 0600), 0);
        PamOwnerAuthenticator authenticator({.serviceDirs = serviceDirs, .passwordStatus = status});
        std::unique_ptr<OwnerAuthContext> context = authenticator.context();
        QList<bool> replies;
        context->canEvaluate([&](bool able) {
            replies << able;
            QCOMPARE(QThread::currentThread(), thread());
        });
        QVERIFY(replies.isEmpty()); // never within the call
        if (!twist.isEmpty()) {
            // Here at all while the status program waits at the pipe for the test: the event loop turns.
            int pipe = -1;
            QTRY_VERIFY(pipe >= 0 || (pipe = open(release.constData(), O_WRONLY | O_NONBLOCK)) >= 0);
            QVERIFY(replies.isEmpty());
            if (twist == "let go") {
                context.reset();
                close(pipe);
                // Gone with its context: nobody reads the pipe any more, and nothing replies.
                QCOMPARE(open(release.constData(), O_WRONLY | O_NONBLOCK), -1);
                QCOMPARE(errno, ENXIO);
                QVERIFY(replies.isEmpty());
                return;
            }
            QCOMPARE(write(pipe, "\n", 1), 1);
            close(pipe);
        }
        QTRY_COMPARE(replies.size(), 1);
        QTEST(replies.first(), "expected");
    }
};

QTEST_GUILESS_MAIN(TestPamOwnerAuthenticator)
#include "tst_pamownerauthenticator.moc"
