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

struct Question
{
    QString message;
    bool secret;
    QStringList info;
};

// The person at the keyboard: answers each question with the next of `answers` and cancels
// when none is left.
class Keyboard : public QObject
{
public:
    Keyboard(OwnerAuthenticator *authenticator, QStringList answers)
        : m_answers(std::move(answers))
    {
        connect(authenticator, &OwnerAuthenticator::promptOpened, this, [this](OwnerPrompt *p) {
            ++opened;
            prompt = p;
            connect(p, &OwnerPrompt::busyChanged, this, [this] { onBusy(); });
            onBusy(); // the first question may have come before the signal
        });
    }

    int opened = 0;
    QPointer<OwnerPrompt> prompt;
    QList<Question> questions;

private:
    void onBusy()
    {
        if (!prompt || prompt->busy() || !prompt->open())
            return;
        questions.append({prompt->message(), prompt->secret(), prompt->info()});
        // Answered from the event loop, as a click would be.
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (!prompt)
                    return;
                if (m_answers.isEmpty())
                    prompt->cancel();
                else
                    prompt->answer(m_answers.takeFirst());
            },
            Qt::QueuedConnection);
    }

    QStringList m_answers;
};

struct Replies
{
    int count = 0;
    bool last = false;
    bool onGuiThread = true;

    std::function<void(bool)> reply()
    {
        return [this](bool authenticated) {
            ++count;
            last = authenticated;
            onGuiThread = onGuiThread && QThread::currentThread() == QCoreApplication::instance()->thread();
        };
    }
};

QString userName()
{
    const passwd *entry = getpwuid(getuid());
    return entry ? QString::fromLocal8Bit(entry->pw_name) : QString();
}

const QString reason = QStringLiteral("Open your Kelvra owner portal");

} // namespace

class TestPamOwnerAuthenticator : public QObject
{
    Q_OBJECT

    QString m_services; // pam_wrapper's service directory
    QTemporaryDir m_dir;

    void allow(const QString &user, const QString &secret, const QString &service)
    {
        QFile passdb(m_dir.filePath("passdb"));
        QVERIFY(passdb.open(QIODevice::WriteOnly | QIODevice::Truncate));
        passdb.write((user + u':' + secret + u':' + service + u'\n').toUtf8());
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
        QVERIFY(m_dir.isValid());
        QVERIFY(!userName().isEmpty());
        qputenv("PAM_MATRIX_PASSWD", QFile::encodeName(m_dir.filePath("passdb")));
    }

    void init() { failOnAnyWarning(); }

    void outcome_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("allowed"); // the service the account may use; empty: `service`
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<bool>("authenticated");
        QTest::addColumn<int>("questions");
        QTest::addColumn<bool>("secret");

        const QString app = QStringLiteral("kelvra-owner-auth");
        QTest::newRow("right") << app << "s3cret"
                               << "" << QStringList{"s3cret"} << true << 1 << true;
        QTest::newRow("wrong, then right") << app << "s3cret"
                                           << "" << QStringList{"nope", "s3cret"} << true << 2 << true;
        QTest::newRow("right at the third try") << app << "s3cret"
                                                << "" << QStringList{"a", "b", "s3cret"} << true << 3 << true;
        QTest::newRow("wrong three times, no fourth question")
            << app << "s3cret"
            << "" << QStringList{"a", "b", "c", "s3cret"} << false << 3 << true;
        QTest::newRow("letters beyond ASCII") << app << "Grüße €→"
                                              << "" << QStringList{"Grüße €→"} << true << 1 << true;
        QTest::newRow("empty answer") << app << "s3cret"
                                      << "" << QStringList{"", "", ""} << false << 3 << true;
        QTest::newRow("account refused after the right password, no retry")
            << app << "s3cret"
            << "elsewhere" << QStringList{"s3cret", "s3cret"} << false << 1 << true;
        QTest::newRow("cancelled at the question") << app << "s3cret"
                                                   << "" << QStringList{} << false << 1 << true;
        QTest::newRow("shown answer") << "owner-echo"
                                      << "s3cret"
                                      << "" << QStringList{"s3cret"} << true << 1 << false;
        QTest::newRow("service refuses without asking") << "owner-absent"
                                                        << "s3cret"
                                                        << "" << QStringList{"s3cret"} << false << 0 << true;
    }

    void outcome()
    {
        QFETCH(QString, service);
        QFETCH(QString, stored);
        QFETCH(QString, allowed);
        QFETCH(QStringList, answers);
        QFETCH(bool, authenticated);
        QFETCH(int, questions);
        QFETCH(bool, secret);
        allow(userName(), stored, allowed.isEmpty() ? service : allowed);

        PamOwnerAuthenticator authenticator(setup(service));
        Keyboard keyboard(&authenticator, answers);
        Replies replies;
        auto context = authenticator.context();
        context->evaluate(reason, replies.reply());
        QCOMPARE(replies.count, 0); // never within evaluate()

        QTRY_COMPARE_WITH_TIMEOUT(replies.count, 1, 10000);
        QCOMPARE(replies.last, authenticated);
        QVERIFY(replies.onGuiThread);
        QCOMPARE(keyboard.questions.size(), questions);
        QCOMPARE(keyboard.opened, questions > 0 ? 1 : 0);
        for (const Question &q : std::as_const(keyboard.questions)) {
            QCOMPARE(q.message, QStringLiteral("Password: "));
            QCOMPARE(q.secret, secret);
        }
        if (keyboard.prompt) {
            QCOMPARE(keyboard.prompt->reason(), reason);
            QVERIFY(!keyboard.prompt->open());
            QVERIFY(!keyboard.prompt->busy());
        }
        QTest::qWait(50);
        QCOMPARE(replies.count, 1);
    }

    void info_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<QList<QStringList>>("seen"); // the info lines at each question

        const QStringList chatty{"Authentication succeeded",          "Authentication succeeded",
                                 "Authentication succeeded",          "Authentication generated an error",
                                 "Authentication generated an error", "Authentication generated an error"};
        // The stack's own words, in the locale the test runs in.
        const QString failure = QString::fromLocal8Bit(pam_strerror(nullptr, PAM_AUTH_ERR));
        QTest::newRow("a silent stack gets its failure told")
            << "kelvra-owner-auth" << QList<QStringList>{{}, {failure}, {failure}};
        QTest::newRow("a stack that tells the failure itself")
            << "owner-verbose"
            << QList<QStringList>{{}, {"Authentication failed"}, {"Authentication failed"}};
        QTest::newRow("hints before the question")
            << "owner-chatty"
            << QList<QStringList>{chatty, QStringList{failure} + chatty, QStringList{failure} + chatty};
    }

    void info()
    {
        QFETCH(QString, service);
        QFETCH(QList<QStringList>, seen);
        allow(userName(), "s3cret", service);

        PamOwnerAuthenticator authenticator(setup(service));
        Keyboard keyboard(&authenticator, {"a", "b", "s3cret"});
        Replies replies;
        auto context = authenticator.context();
        context->evaluate(reason, replies.reply());
        QTRY_COMPARE_WITH_TIMEOUT(replies.count, 1, 10000);
        QVERIFY(replies.last);
        QCOMPARE(keyboard.questions.size(), seen.size());
        for (qsizetype i = 0; i < seen.size(); ++i)
            QCOMPARE(keyboard.questions.at(i).info, seen.at(i));
    }

    void cancelWhileTheStackWorks()
    {
        // The stack takes 1.5 s after the right answer; cancel must not wait for it.
        allow(userName(), "s3cret", "owner-slow");
        PamOwnerAuthenticator authenticator(setup("owner-slow"));
        Keyboard keyboard(&authenticator, {"s3cret"});
        Replies replies;
        auto context = authenticator.context();
        context->evaluate(reason, replies.reply());
        QTRY_VERIFY_WITH_TIMEOUT(keyboard.prompt && keyboard.prompt->busy() && keyboard.questions.size() == 1,
                                 10000);
        QElapsedTimer clock;
        clock.start();
        keyboard.prompt->cancel();
        QVERIFY(!keyboard.prompt->open());
        QTRY_COMPARE_WITH_TIMEOUT(replies.count, 1, 1000);
        QVERIFY(clock.elapsed() < 1000);
        QVERIFY(!replies.last);
        QTest::qWait(2000); // the stack has finished with success by now
        QCOMPARE(replies.count, 1);
        QVERIFY(!replies.last);
    }

    void resultPostedBeforeCancelIsDropped()
    {
        allow(userName(), "s3cret", "kelvra-owner-auth");
        PamOwnerAuthenticator authenticator(setup("kelvra-owner-auth"));
        QPointer<OwnerPrompt> prompt;
        connect(&authenticator, &OwnerAuthenticator::promptOpened, this,
                [&prompt](OwnerPrompt *p) { prompt = p; });
        Replies replies;
        auto context = authenticator.context();
        context->evaluate(reason, replies.reply());
        QTRY_VERIFY_WITH_TIMEOUT(prompt && !prompt->busy(), 10000);
        prompt->answer("s3cret");
        // The GUI thread is held up while the stack succeeds and posts its result.
        std::this_thread::sleep_for(300ms);
        prompt->cancel();
        QTRY_COMPARE_WITH_TIMEOUT(replies.count, 1, 1000);
        QVERIFY(!replies.last);
        QTest::qWait(100);
        QCOMPARE(replies.count, 1);
    }

    void contextLetGoBeforeReply()
    {
        allow(userName(), "s3cret", "kelvra-owner-auth");
        PamOwnerAuthenticator authenticator(setup("kelvra-owner-auth"));
        QPointer<OwnerPrompt> prompt;
        connect(&authenticator, &OwnerAuthenticator::promptOpened, this,
                [&prompt](OwnerPrompt *p) { prompt = p; });
        Replies replies;
        auto context = authenticator.context();
        context->evaluate(reason, replies.reply());
        QTRY_VERIFY_WITH_TIMEOUT(prompt && !prompt->busy(), 10000);
        context.reset();
        QCOMPARE(replies.count, 1);
        QVERIFY(!replies.last);
        QVERIFY(!prompt);
        QTest::qWait(100);
        QCOMPARE(replies.count, 1);
    }

    void secondEvaluationOfOneContext()
    {
        allow(userName(), "s3cret", "kelvra-owner-auth");
        PamOwnerAuthenticator authenticator(setup("kelvra-owner-auth"));
        Keyboard keyboard(&authenticator, {"s3cret"});
        Replies first;
        Replies second;
        auto context = authenticator.context();
        context->evaluate(reason, first.reply());
        context->evaluate(reason, second.reply());
        QCOMPARE(second.count, 1);
        QVERIFY(!second.last);
        QTRY_COMPARE_WITH_TIMEOUT(first.count, 1, 10000);
        QVERIFY(first.last);
        QCOMPARE(keyboard.opened, 1);
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
        QTest::newRow("usable password") << "first" << says("%s P 05/20/2025 0 99999 7 -1") << true;
        QTest::newRow("usable password, long form")
            << "first" << says("%s PS 2025-05-20 0 99999 7 -1 (Password set, SHA512 crypt.)") << true;
        QTest::newRow("no password") << "first" << says("%s NP 05/20/2025 0 99999 7 -1") << false;
        QTest::newRow("locked") << "first" << says("%s L 05/20/2025 0 99999 7 -1") << false;
        QTest::newRow("locked, long form") << "first" << says("%s LK 2025-05-20 (Password locked.)") << false;
        QTest::newRow("service under /usr/lib/pam.d")
            << "second" << says("%s P 05/20/2025 0 99999 7 -1") << true;
        QTest::newRow("service not installed") << "" << says("%s P 05/20/2025 0 99999 7 -1") << false;
        QTest::newRow("service not installed, status unknown") << "" << QStringList{"/bin/false"} << false;
        QTest::newRow("status fails: the stack decides") << "first" << QStringList{"/bin/false"} << true;
        QTest::newRow("no status program") << "first" << QStringList{"/nonexistent/passwd", "-S"} << true;
        QTest::newRow("another account's status is not ours")
            << "first" << says("someone-else L 05/20/2025 0 99999 7 -1") << true;
        QTest::newRow("unknown status letter") << "first" << says("%s X 05/20/2025") << true;
        QTest::newRow("status read in the C locale")
            << "first"
            << QStringList{"/bin/sh", "-c",
                           "if [ \"$LC_ALL\" = C ]; then s=P; else s=L; fi; echo \"$1 $s "
                           "05/20/2025\"",
                           "status"}
            << true;
    }

    void canEvaluate()
    {
        QFETCH(QString, installed);
        QFETCH(QStringList, status);
        QFETCH(bool, expected);
        QTemporaryDir first;
        QTemporaryDir second;
        if (!installed.isEmpty()) {
            QFile file((installed == "first" ? first : second).filePath("kelvra-owner-auth"));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        PamOwnerAuthenticator::Setup s;
        s.serviceDirs = {first.path(), second.path()};
        s.passwordStatus = status;
        PamOwnerAuthenticator authenticator(s);
        QCOMPARE(authenticator.context()->canEvaluate(), expected);
    }
};

QTEST_GUILESS_MAIN(TestPamOwnerAuthenticator)
#include "tst_pamownerauthenticator.moc"
