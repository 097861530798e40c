#include "pamownerauthenticator.h"
#include "pamexchange.h"

#include <QFileInfo>
#include <QPointer>
#include <QProcess>

#include <optional>
#include <pwd.h>
#include <string>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

std::optional<QByteArray> currentUser()
{
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> buffer(std::size_t(size > 0 ? size : 16384));
    passwd entry{};
    passwd *found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found)
        return std::nullopt;
    return QByteArray(found->pw_name);
}

bool serviceInstalled(const PamOwnerAuthenticator::Setup &setup)
{
    for (const QString &dir : setup.serviceDirs) {
        if (QFileInfo(dir + u'/' + setup.service).isFile())
            return true;
    }
    return false;
}

// True for a usable password, false for none or a locked one, nothing when the status cannot
// be read.
std::optional<bool> passwordUsable(const QStringList &command, const QByteArray &user)
{
    if (command.isEmpty())
        return std::nullopt;
    QProcess probe;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    probe.setProcessEnvironment(environment);
    probe.setStandardInputFile(QProcess::nullDevice());
    probe.setStandardErrorFile(QProcess::nullDevice());
    probe.start(command.first(), command.mid(1) << QString::fromLocal8Bit(user));
    if (!probe.waitForFinished(3000)) {
        if (probe.state() != QProcess::NotRunning) {
            probe.kill();
            probe.waitForFinished(1000);
        }
        return std::nullopt;
    }
    if (probe.exitStatus() != QProcess::NormalExit || probe.exitCode() != 0)
        return std::nullopt;
    const QList<QByteArray> fields = probe.readAllStandardOutput().simplified().split(' ');
    if (fields.size() < 2 || fields.at(0) != user)
        return std::nullopt;
    const QByteArray &status = fields.at(1);
    if (status == "P" || status == "PS")
        return true;
    if (status == "NP" || status == "L" || status == "LK")
        return false;
    return std::nullopt;
}

class PamOwnerContext final : public OwnerAuthContext
{
public:
    PamOwnerContext(PamOwnerAuthenticator *owner, const PamOwnerAuthenticator::Setup &setup)
        : m_owner(owner)
        , m_setup(setup)
    {}

    ~PamOwnerContext() override
    {
        if (m_exchange)
            m_exchange->cancel();
        if (m_prompt)
            m_prompt->close();
        finish(false);
    }

    bool canEvaluate() override
    {
        const std::optional<QByteArray> user = currentUser();
        if (!user || !serviceInstalled(m_setup))
            return false;
        return passwordUsable(m_setup.passwordStatus, *user).value_or(true);
    }

    void evaluate(const QString &reason, std::function<void(bool)> reply) override
    {
        if (m_started) { // one authentication per context
            if (reply)
                reply(false);
            return;
        }
        m_started = true;
        m_reason = reason;
        m_reply = std::move(reply);
        const std::optional<QByteArray> user = currentUser();
        if (!user) {
            finishLater(false);
            return;
        }
        m_exchange = std::make_shared<PamExchange>(
            this, PamExchange::Events{
                      [this](const QString &message, bool secret) { prompt()->ask(message, secret); },
                      [this](const QString &line) { prompt()->tell(line); },
                      [this](bool authenticated) {
                          if (m_exchange->cancelled()) // posted just before a cancel
                              return;
                          if (m_prompt)
                              m_prompt->close();
                          finish(authenticated);
                      }});
        try {
            // Detached: the stack may sit in a fail delay or a fingerprint reader for seconds
            // after a cancel, and the GUI must not wait for it.
            std::thread(authenticateWithPam, m_setup.service.toStdString(), user->toStdString(),
                        m_setup.attempts, m_exchange)
                .detach();
        } catch (const std::system_error &) {
            m_exchange->cancel();
            finishLater(false);
        }
    }

private:
    OwnerPrompt *prompt()
    {
        if (!m_prompt) {
            m_prompt = new OwnerPrompt(
                m_reason, [this](SecretBuffer secret) { m_exchange->answer(std::move(secret)); },
                [this] {
                    m_exchange->cancel();
                    finishLater(false);
                },
                this);
            if (m_owner)
                emit m_owner->promptOpened(m_prompt);
        }
        return m_prompt;
    }

    void finishLater(bool authenticated)
    {
        QMetaObject::invokeMethod(
            this, [this, authenticated] { finish(authenticated); }, Qt::QueuedConnection);
    }

    // Last in any call: the reply may let this context go.
    void finish(bool authenticated)
    {
        if (std::function<void(bool)> reply = std::exchange(m_reply, nullptr))
            reply(authenticated);
    }

    QPointer<PamOwnerAuthenticator> m_owner;
    const PamOwnerAuthenticator::Setup m_setup;
    QString m_reason;
    std::function<void(bool)> m_reply;
    std::shared_ptr<PamExchange> m_exchange;
    OwnerPrompt *m_prompt = nullptr;
    bool m_started = false;
};

} // namespace

PamOwnerAuthenticator::PamOwnerAuthenticator(QObject *parent)
    : PamOwnerAuthenticator(Setup{}, parent)
{}

PamOwnerAuthenticator::PamOwnerAuthenticator(Setup setup, QObject *parent)
    : OwnerAuthenticator(parent)
    , m_setup(std::move(setup))
{}

std::unique_ptr<OwnerAuthContext> PamOwnerAuthenticator::context()
{
    return std::make_unique<PamOwnerContext>(this, m_setup);
}
