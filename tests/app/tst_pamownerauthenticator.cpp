#include "pamownerauthenticator.h"
#include "quiet.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QPointer>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <security/pam_appl.h>

#include <pwd.h>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

const QString reason = QStringLiteral("Open your Kelvra owner portal");

// One evaluation and the person at the keyboard: answers each question with the next of
// `answers`, from the event loop as a click would, and cancels when none is left; with no
// answers at all, only watches. Notes the info lines at each question and every reply.
class Run : public QObject
{
public:
    Run(const PamOwnerAuthenticator::Setup &setup, std::optional<QStringList> answers)
        : authenticator(setup)
        , m_answers(std::move(answers))
    {
        connect(&authenticator, &OwnerAuthenticator::promptOpened, this, [this](OwnerPrompt *p) {
            ++opened;
            prompt = p;
            connect(p, &OwnerPrompt::busyChanged, this, &Run::onBusy);
            onBusy(); // the first question may have come before the signal
        });
        context = authenticator.context();
        context->evaluate(reason, reply());
    }

    std::function<void(bool)> reply()
    {
        return [this](bool authenticated) {
            ++replies;
            last = authenticated;
            onGuiThread = onGuiThread && QThread::currentThread() == QCoreApplication::instance()->thread();
        };
    }

    PamOwnerAuthenticator authenticator;
    std::unique_ptr<OwnerAuthContext> context;
    int opened = 0;
    QPointer<OwnerPrompt> prompt;
    QList<QStringList> infos;
    bool allSecret = true;
    int replies = 0;
    bool last = false;
    bool onGuiThread = true;

private:
    void onBusy()
    {
        if (!prompt || prompt->busy() || !prompt->open() || !m_answers)
            return;
        QCOMPARE(prompt->message(), QStringLiteral("Password: "));
        infos.append(prompt->info());
        allSecret = allSecret && prompt->secret();
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (prompt && m_answers->isEmpty())
                    prompt->cancel();
                else if (prompt)
                    prompt->answer(m_answers->takeFirst());
            },
            Qt::QueuedConnection);
    }

    std::optional<QStringList> m_answers;
};

} // namespace

class TestPamOwnerAuthenticator : public QObject
{
    Q_OBJECT

    QString m_services; // pam_wrapper's service directory
    QTemporaryDir m_dir;
    QString m_user;

    // The account may use `service` with `secret`.
    void allow(const QString &secret, const QString &service)
    {
        QFile passdb(m_dir.filePath("passdb"));
        QVERIFY(passdb.open(QIODevice::WriteOnly | QIODevice::Truncate));
        passdb.write((m_user + u':' + secret + u':' + service + u'\n').toUtf8());
    }
    PamOwnerAuthenticator::Setup setup(const QString &service) const
    {
        PamOwnerAuthenticator::Setup s;
        s.service = service;
        s.serviceDirs = {m_services};
        return s;
    }

private slots:
    void initTestCase()
    {
        m_services = qEnvironmentVariable("PAM_WRAPPER_SERVICE_DIR");
        QVERIFY2(qEnvironmentVariable("PAM_WRAPPER") == "1" && !m_services.isEmpty(),
                 "run through ctest, which loads pam_wrapper");
        const passwd *entry = getpwuid(getuid());
        m_user = entry ? QString::fromLocal8Bit(entry->pw_name) : QString();
        QVERIFY(m_dir.isValid() && !m_user.isEmpty());
        qputenv("PAM_MATRIX_PASSWD", QFile::encodeName(m_dir.filePath("passdb")));
    }

    void init() { failOnAnyWarning(); }

    void outcome_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<QString>("allowed");     // the service the account may use; empty: `service`
        QTest::addColumn<QStringList>("answers"); // the stored password is "s3cret"
        QTest::addColumn<bool>("authenticated");
        QTest::addColumn<QList<QStringList>>("infos"); // the info lines at each question
        const QString app = QStringLiteral("kelvra-owner-auth");
        // The stack's own words, in the locale the test runs in.
        const QString failure = QString::fromLocal8Bit(pam_strerror(nullptr, PAM_AUTH_ERR));
        const QStringList chatty{"Authentication succeeded",          "Authentication succeeded",
                                 "Authentication succeeded",          "Authentication generated an error",
                                 "Authentication generated an error", "Authentication generated an error"};
        const QList<QStringList> one{{}};
        const QList<QStringList> told{{}, {failure}, {failure}};
        addRow("right", app, "", QStringList{"s3cret"}, true, one);
        addRow("right at the third try", app, "", QStringList{"a", "b", "s3cret"}, true, told);
        addRow("wrong three times, no fourth", app, "", QStringList{"a", "b", "c", "s3cret"}, false, told);
        addRow("account refused after the right password, no retry", app, "elsewhere",
               QStringList{"s3cret", "s3cret"}, false, one);
        addRow("cancelled at the question", app, "", QStringList{}, false, one);
        addRow("service refuses without asking", "owner-absent", "", QStringList{"s3cret"}, false,
               QList<QStringList>{});
        addRow("a stack that tells the failure itself", "owner-verbose", "", QStringList{"a", "b", "s3cret"},
               true, QList<QStringList>{{}, {"Authentication failed"}, {"Authentication failed"}});
        addRow("hints before the question", "owner-chatty", "", QStringList{"a", "b", "s3cret"}, true,
               QList<QStringList>{chatty, QStringList{failure} + chatty, QStringList{failure} + chatty});
    }

    void outcome()
    {
        QFETCH(QString, service);
        QFETCH(QString, allowed);
        QFETCH(QStringList, answers);
        QFETCH(QList<QStringList>, infos);
        allow("s3cret", allowed.isEmpty() ? service : allowed);
        Run run(setup(service), answers);
        QCOMPARE(run.replies, 0); // never within evaluate()
        QTRY_COMPARE_WITH_TIMEOUT(run.replies, 1, 10000);
        QTEST(run.last, "authenticated");
        QVERIFY(run.onGuiThread && run.allSecret);
        QCOMPARE(run.infos, infos);
        QCOMPARE(run.opened, infos.isEmpty() ? 0 : 1);
        QVERIFY(!run.prompt
                || (run.prompt->reason() == reason && !run.prompt->open() && !run.prompt->busy()));
        QTest::qWait(50);
        QCOMPARE(run.replies, 1);
    }

    // Beyond ASCII, asked with the answer shown.
    void shownAnswer()
    {
        allow("Grüße €→", "owner-echo");
        Run run(setup("owner-echo"), QStringList{"Grüße €→"});
        QTRY_COMPARE_WITH_TIMEOUT(run.replies, 1, 10000);
        QVERIFY(run.last && !run.allSecret);
    }

    // Interruptions: each ends the evaluation at once with exactly one refusal.
    void cancelWhileTheStackWorks()
    {
        // The stack takes 1.5 s after the right answer; cancel must not wait for it.
        allow("s3cret", "owner-slow");
        Run run(setup("owner-slow"), QStringList{"s3cret"});
        QTRY_VERIFY_WITH_TIMEOUT(run.prompt && run.prompt->busy() && run.infos.size() == 1, 10000);
        QElapsedTimer clock;
        clock.start();
        run.prompt->cancel();
        QTRY_COMPARE_WITH_TIMEOUT(run.replies, 1, 1000);
        QVERIFY(clock.elapsed() < 1000 && !run.last);
        QTest::qWait(2000); // the stack has finished with success by now
        QVERIFY(run.replies == 1 && !run.last);
    }

    void interrupted_data()
    {
        QTest::addColumn<bool>("letGo"); // the context is let go; otherwise cancelled late
        addRow("result posted before the cancel is dropped", false);
        addRow("context let go before the reply", true);
    }

    void interrupted()
    {
        QFETCH(bool, letGo);
        allow("s3cret", "kelvra-owner-auth");
        Run run(setup("kelvra-owner-auth"), std::nullopt);
        QTRY_VERIFY_WITH_TIMEOUT(run.prompt && !run.prompt->busy(), 10000);
        if (letGo) {
            run.context.reset();
            QVERIFY(run.replies == 1 && !run.prompt);
        } else {
            run.prompt->answer("s3cret");
            // The GUI thread is held up while the stack succeeds and posts its result.
            std::this_thread::sleep_for(300ms);
            run.prompt->cancel();
        }
        QTRY_COMPARE_WITH_TIMEOUT(run.replies, 1, 1000);
        QTest::qWait(100);
        QVERIFY(run.replies == 1 && !run.last);
    }

    void secondEvaluationOfOneContext()
    {
        allow("s3cret", "kelvra-owner-auth");
        Run run(setup("kelvra-owner-auth"), QStringList{"s3cret"});
        int second = 0;
        run.context->evaluate(reason, [&second](bool authenticated) { second += authenticated ? 100 : 1; });
        QCOMPARE(second, 1);
        QTRY_COMPARE_WITH_TIMEOUT(run.replies, 1, 10000);
        QVERIFY(run.last && run.opened == 1);
    }

    void canEvaluate_data()
    {
        QTest::addColumn<QString>("installed");  // where the service file is: "", "first", "second"
        QTest::addColumn<QStringList>("status"); // the password status command
        QTest::addColumn<bool>("expected");
        // The user name comes last, as $1.
        const auto says = [](const QString &line) {
            return QStringList{"/bin/sh", "-c", "printf '" + line + "\\n' \"$1\"", "status"};
        };
        const QStringList usable = says("%s P 05/20/2025 0 99999 7 -1");
        addRow("usable password", "first", usable, true);
        addRow("usable password, long form", "first", says("%s PS 2025-05-20 0 99999 7 -1 (Password set.)"),
               true);
        addRow("no password", "first", says("%s NP 05/20/2025 0 99999 7 -1"), false);
        addRow("locked", "first", says("%s L 05/20/2025 0 99999 7 -1"), false);
        addRow("locked, long form", "first", says("%s LK 2025-05-20 (Password locked.)"), false);
        addRow("service under /usr/lib/pam.d", "second", usable, true);
        addRow("service not installed", "", usable, false);
        addRow("status fails: the stack decides", "first", QStringList{"/bin/false"}, true);
        addRow("no status program", "first", QStringList{"/nonexistent/passwd", "-S"}, true);
        addRow("another account's status is not ours", "first", says("someone-else L 05/20/2025"), true);
        addRow("unknown status letter", "first", says("%s X 05/20/2025"), true);
        addRow("status read in the C locale", "first",
               QStringList{"/bin/sh", "-c", R"(if [ "$LC_ALL" = C ]; then s=P; else s=L; fi; echo "$1 $s 1")",
                           "status"},
               true);
    }

    void canEvaluate()
    {
        QFETCH(QString, installed);
        QTemporaryDir first;
        QTemporaryDir second;
        if (!installed.isEmpty())
            QVERIFY(QFile((installed == "first" ? first : second).filePath("kelvra-owner-auth"))
                        .open(QIODevice::WriteOnly));
        PamOwnerAuthenticator::Setup s;
        s.serviceDirs = {first.path(), second.path()};
        QFETCH(QStringList, status);
        s.passwordStatus = status;
        QTEST(PamOwnerAuthenticator(s).context()->canEvaluate(), "expected");
    }
};

QTEST_GUILESS_MAIN(TestPamOwnerAuthenticator)
#include "tst_pamownerauthenticator.moc"
