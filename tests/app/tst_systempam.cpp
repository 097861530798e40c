// The shipped service file against the machine's real PAM stack. It needs root: it adds a
// throwaway account without a home, installs the service file if it is missing, runs this
// binary as that account, and removes both again. Without root it reports a skip (77).
#include "pamownerauthenticator.h"
#include "quiet.h"

#include <QCoreApplication>
#include <QFile>
#include <QLockFile>
#include <QProcess>
#include <QTest>

#include <unistd.h>

namespace {

const char *const answersVariable = "KELVRA_TEST_OWNER_ANSWERS";
const QString serviceFile = QStringLiteral("/etc/pam.d/kelvra-owner-auth");
const QString password = QStringLiteral("Owner-pass 7");

// Run as the throwaway account: answers each question in turn, then cancels. The exit code
// holds the outcome: bit 1 when canEvaluate() is false, bit 0 when not authenticated.
int authenticateAsAccount(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStringList answers = qEnvironmentVariable(answersVariable).split(u'\n');
    PamOwnerAuthenticator authenticator;
    QObject::connect(
        &authenticator, &OwnerAuthenticator::promptOpened, &app, [&answers](OwnerPrompt *prompt) {
            const auto respond = [prompt, &answers] {
                if (!prompt->busy() && prompt->open())
                    answers.isEmpty() ? prompt->cancel() : prompt->answer(answers.takeFirst());
            };
            QObject::connect(prompt, &OwnerPrompt::busyChanged, prompt, respond, Qt::QueuedConnection);
            QMetaObject::invokeMethod(prompt, respond, Qt::QueuedConnection);
        });
    auto context = authenticator.context();
    const bool available = context->canEvaluate();
    bool authenticated = false;
    context->evaluate(QStringLiteral("Open your Kelvra owner portal"), [&](bool ok) {
        authenticated = ok;
        app.quit();
    });
    app.exec();
    return (available ? 0 : 2) | (authenticated ? 0 : 1);
}

int run(const QString &program, const QStringList &arguments, const QByteArray &input = {})
{
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    process.waitForFinished(60000);
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

} // namespace

class TestSystemPam : public QObject
{
    Q_OBJECT

    // Another checkout's run on this machine would share the service file.
    QLockFile m_lock{QStringLiteral("/tmp/kelvra-system-pam.lock")};
    const QString m_account = QStringLiteral("kelvra-oa-%1").arg(getpid());
    bool m_installed = false;

private slots:
    void initTestCase()
    {
        m_lock.setStaleLockTime(0);
        QVERIFY(m_lock.tryLock(120000));
        QFile shipped(QStringLiteral(KELVRA_PAM_SERVICE_FILE));
        QVERIFY(shipped.open(QIODevice::ReadOnly));
        const QByteArray content = shipped.readAll();
        QFile installed(serviceFile);
        m_installed = !installed.exists();
        if (!m_installed && (!installed.open(QIODevice::ReadOnly) || installed.readAll() != content))
            QSKIP("/etc/pam.d/kelvra-owner-auth differs from the shipped file; left alone");
        if (m_installed) {
            QVERIFY(installed.open(QIODevice::WriteOnly) && installed.write(content) == content.size());
            installed.close();
            QVERIFY(installed.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup
                                             | QFile::ReadOther));
        }
        QCOMPARE(run("useradd", {"-M", "-s", "/usr/sbin/nologin", m_account}), 0);
    }

    void cleanupTestCase()
    {
        run("userdel", {m_account});
        if (m_installed)
            QFile::remove(serviceFile);
    }

    void init() { failOnAnyWarning(); }

    void account_data()
    {
        QTest::addColumn<QString>("state"); // "usable", "empty", "locked"
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<bool>("available");
        QTest::addColumn<bool>("authenticated");

        addRow("right password", "usable", QStringList{password}, true, true);
        addRow("wrong, then right", "usable", QStringList{"owner-pass 7", password}, true, true);
        addRow("wrong three times", "usable", QStringList{"a", "b", "c", password}, true, false);
        addRow("empty password is not enough", "empty", QStringList{""}, false, false);
        addRow("locked", "locked", QStringList{password}, false, false);
    }

    void account()
    {
        QFETCH(QString, state);
        QFETCH(QStringList, answers);
        QCOMPARE(run("chpasswd", {}, (m_account + u':' + password + u'\n').toUtf8()), 0);
        if (state == "empty")
            QCOMPARE(run("passwd", {"-d", m_account}), 0);
        else if (state == "locked")
            QCOMPARE(run("usermod", {"-L", m_account}), 0);

        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(answersVariable, answers.join(u'\n'));
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::ForwardedChannels);
        process.start("runuser", {"-u", m_account, "--", QCoreApplication::applicationFilePath()});
        QVERIFY(process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit);
        const int outcome = process.exitCode();
        QVERIFY2(outcome <= 3, qPrintable(QString::number(outcome)));
        QTEST(!(outcome & 2), "available");
        QTEST(!(outcome & 1), "authenticated");
    }
};

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsSet(answersVariable))
        return authenticateAsAccount(argc, argv);
    if (geteuid() != 0)
        return 77;
    QCoreApplication app(argc, argv);
    TestSystemPam test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_systempam.moc"
