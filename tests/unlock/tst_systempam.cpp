// The shipped service file against the machine's real PAM stack. It needs root: it adds a
// throwaway account without a home, installs the service file if it is missing, runs this
// binary as that account, and removes both again. Without root it reports a skip (77).
#include "quiet.h"
#include "unlock/pamownerauthenticator.h"

#include <QCoreApplication>
#include <QFile>
#include <QLockFile>
#include <QProcess>
#include <QTest>

#include <unistd.h>

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
    QObject::connect(&authenticator, &OwnerAuthenticator::promptOpened, [&answers](OwnerPrompt *prompt) {
        const auto respond = [prompt, &answers] {
            if (!prompt->busy() && prompt->open())
                answers.isEmpty() ? prompt->cancel() : prompt->answer(answers.takeFirst());
        };
        QObject::connect(prompt, &OwnerPrompt::busyChanged, prompt, respond, Qt::QueuedConnection);
    });
    auto context = authenticator.context();
    bool available = false;
    bool authenticated = false;
    context->canEvaluate([&](bool able) {
        available = able;
        context->evaluate(QStringLiteral("Open your Kelvra owner portal"), [&](bool ok) {
            authenticated = ok;
            app.quit();
        });
    });
    app.exec();
    return (available ? 0 : 2) | (authenticated ? 0 : 1);
}

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
        m_installed = QFile::copy(QStringLiteral(KELVRA_PAM_SERVICE_FILE), serviceFile); // never over one
        QFile shipped(QStringLiteral(KELVRA_PAM_SERVICE_FILE));
        QFile installed(serviceFile);
        QVERIFY(shipped.open(QIODevice::ReadOnly) && installed.open(QIODevice::ReadOnly));
        if (installed.readAll() != shipped.readAll())
            QSKIP("/etc/pam.d/kelvra-owner-auth differs from the shipped file; left alone");
        QCOMPARE(QProcess::execute("useradd", {"-M", "-s", "/usr/sbin/nologin", m_account}), 0);
    }

    void cleanupTestCase()
    {
        QProcess::execute("userdel", {m_account});
        if (m_installed)
            QFile::remove(serviceFile);
    }

    void init() { failOnAnyWarning(); }

    void account_data()
    {
        // How usermod takes the password away, if it does; the account is then not available.
        QTest::addColumn<QStringList>("usermod");
        QTest::addColumn<QStringList>("answers");
        QTest::addColumn<bool>("authenticated");
        addRow("right password", QStringList{}, QStringList{password}, true);
        addRow("wrong three times", QStringList{}, QStringList{"a", "b", "c", password}, false);
        addRow("empty password is not enough", QStringList{"-p", ""}, QStringList{""}, false);
        addRow("locked", QStringList{"-L"}, QStringList{password}, false);
    }

    void account()
    {
        QFETCH(QStringList, usermod);
        QFETCH(QStringList, answers);
        QFETCH(bool, authenticated);
        // chpasswd reads "NAME:PASSWORD" lines.
        QCOMPARE(QProcess::execute("sh", {"-c", R"(echo "$0:$1" | chpasswd)", m_account, password}), 0);
        if (!usermod.isEmpty())
            QCOMPARE(QProcess::execute("usermod", usermod << m_account), 0);
        qputenv(answersVariable, answers.join(u'\n').toUtf8());
        QCOMPARE(
            QProcess::execute("runuser", {"-u", m_account, "--", QCoreApplication::applicationFilePath()}),
            (usermod.isEmpty() ? 0 : 2) | (authenticated ? 0 : 1));
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
