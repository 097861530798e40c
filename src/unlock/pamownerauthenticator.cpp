#include "unlock/pamownerauthenticator.h"
#include "unlock/pamexchange.h"

#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QTimer>

#include <chrono>
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

// What `passwd -S` printed for `user`: true for a usable password, false for none or a locked
// one, nothing when the status cannot be read.
std::optional<bool> passwordUsable(const QByteArray &output, const QByteArray &user)
{
    const QList<QByteArray> fields = output.simplified().split(' ');
    if (fields.size() < 2 || fields.at(0) != user)
        return std::nullopt;
    const QByteArray &status = fields.at(1);
    if (status == "P" || status == "PS")
        return true;
    if (status == "NP" || status == "L" || status == "LK")
        return false;
    return std::nullopt;
}

// A status program that has not answered by then (a network account's lookup) leaves the
// decision to the stack.
constexpr std::chrono::seconds statusPatience(3);

class PamOwnerContext final : public OwnerAuthContext
{
public:
    PamOwnerContext(PamOwnerAuthenticator *owner, const PamOwnerAuthenticator::Setup &setup)
        : m_owner(owner)
        , m_setup(setup)
    {}

    ~PamOwnerContext() override
    {
        if (m_status && m_status->state() != QProcess::NotRunning) {
            disconnect(m_status, nullptr, this, nullptr);
            // Killed, it ends at once; reaped here, it does not outlive its QProcess.
            m_status->kill();
            m_status->waitForFinished(1000);
        }
        endConversation();
        if (m_prompt)
            m_prompt->close();
        finish(false);
    }

    void canEvaluate(std::function<void(bool)> reply) override
    {
        if (m_checkReply || m_status) { // one check at a time
            replyLater(std::move(reply), false);
            return;
        }
        m_checkReply = std::move(reply);
        // A local account's entry comes from a file; a network account's is cached by its
        // daemon. The password status can take seconds, and is read without waiting for it.
        const std::optional<QByteArray> user = currentUser();
        if (!user || !serviceInstalled(m_setup))
            checked(false);
        else if (m_setup.passwordStatus.isEmpty())
            checked(true);
        else
            readPasswordStatus(*user);
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
        m_exchange = std::make_shared<PamExchange>(
            this, PamExchange::Events{
                      [this](const QString &message, bool secret) { prompt()->ask(message, secret); },
                      [this](const QString &line) { prompt()->tell(line); },
                      [this](bool authenticated) {
                          if (!m_exchange || m_exchange->cancelled()) // posted just before a cancel
                              return;
                          endConversation();
                          if (m_prompt)
                              m_prompt->close();
                          finish(authenticated);
                      }});
        try {
            // Detached: the stack may sit in a fail delay or a fingerprint reader for seconds
            // after a cancel, and the GUI must not wait for it.
            std::thread([service = m_setup.service.toStdString(), attempts = m_setup.attempts,
                         exchange = m_exchange] {
                if (const std::optional<QByteArray> user = currentUser())
                    authenticateWithPam(service, user->toStdString(), attempts, exchange);
                else
                    exchange->done(false);
            }).detach();
        } catch (const std::system_error &) {
            endConversation();
            finishLater(false);
        }
    }

private:
    void readPasswordStatus(const QByteArray &user)
    {
        m_status = new QProcess(this);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
        m_status->setProcessEnvironment(environment);
        m_status->setStandardInputFile(QProcess::nullDevice());
        m_status->setStandardErrorFile(QProcess::nullDevice());
        connect(m_status, &QProcess::finished, this, [this, user](int code, QProcess::ExitStatus how) {
            const bool read = how == QProcess::NormalExit && code == 0;
            checked(read ? passwordUsable(m_status->readAllStandardOutput(), user).value_or(true) : true);
            m_status->deleteLater();
            m_status = nullptr;
        });
        connect(m_status, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
            if (error != QProcess::FailedToStart)
                return; // the others end in finished()
            checked(true);
            m_status->deleteLater();
            m_status = nullptr;
        });
        QTimer::singleShot(statusPatience, m_status, [this] {
            checked(true);
            m_status->kill(); // finished() follows
        });
        const QStringList &command = m_setup.passwordStatus;
        m_status->start(command.first(), command.mid(1) << QString::fromLocal8Bit(user));
    }

    // True for a usable password, or one whose status cannot be read (the stack decides).
    void checked(bool able)
    {
        if (std::function<void(bool)> reply = std::exchange(m_checkReply, nullptr))
            replyLater(std::move(reply), able);
    }

    void replyLater(std::function<void(bool)> reply, bool value)
    {
        QMetaObject::invokeMethod(
            this, [reply = std::move(reply), value] { reply(value); }, Qt::QueuedConnection);
    }

    OwnerPrompt *prompt()
    {
        if (!m_prompt) {
            m_prompt = new OwnerPrompt(
                m_reason, QString::fromLocal8Bit(currentUser().value_or(QByteArray())),
                [this](SecretBuffer secret) {
                    if (m_exchange)
                        m_exchange->answer(std::move(secret));
                },
                [this] {
                    endConversation();
                    finishLater(false);
                },
                this);
            if (m_owner)
                emit m_owner->promptOpened(m_prompt);
        }
        return m_prompt;
    }

    // This side lets the conversation go; the worker keeps its own share until the stack ends.
    void endConversation()
    {
        if (std::shared_ptr<PamExchange> exchange = std::exchange(m_exchange, nullptr))
            exchange->cancel();
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
    std::function<void(bool)> m_checkReply;
    QProcess *m_status = nullptr; // the password status being read
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
