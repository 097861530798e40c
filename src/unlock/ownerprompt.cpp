#include "unlock/ownerprompt.h"

#include "model/publish.h"

#include <utility>

OwnerPrompt::OwnerPrompt(const QString &reason, const QString &user,
                         std::function<void(SecretBuffer)> answered, std::function<void()> cancelled,
                         QObject *parent)
    : QObject(parent)
    , m_reason(reason)
    , m_user(user)
    , m_answered(std::move(answered))
    , m_cancelled(std::move(cancelled))
{}

QString OwnerPrompt::whose() const
{
    const QString account = m_user.isEmpty()
                                ? QStringLiteral("your account on this computer")
                                : QStringLiteral("“%1”, your account on this computer").arg(m_user);
    return QStringLiteral("The password of %1. Not a Kelvra password.").arg(account);
}

QString OwnerPrompt::fieldName() const
{
    QString question = m_message.trimmed();
    if (question.endsWith(u':'))
        question.chop(1);
    if (question.isEmpty())
        question = QStringLiteral("Password");
    return m_user.isEmpty() ? question : question + QStringLiteral(" for ") + m_user;
}

void OwnerPrompt::answer(const QString &text)
{
    if (!m_open || m_busy)
        return;
    // `text` is the dialog's: the text field and the QML engine hold copies of it that only
    // they can release, so the one copy made here goes straight into memory that is wiped.
    SecretBuffer secret(text);
    setBusy(true);
    // Hints and errors belong to the answer before; the next round brings its own.
    if (!m_info.isEmpty()) {
        m_info.clear();
        emit infoChanged();
    }
    if (m_answered)
        m_answered(std::move(secret));
}

void OwnerPrompt::cancel()
{
    if (!m_open)
        return;
    close();
    // Last: the handler may end this prompt's authentication and with it the prompt.
    if (m_cancelled)
        m_cancelled();
}

void OwnerPrompt::ask(const QString &message, bool secret)
{
    if (!m_open)
        return;
    publish(this, m_message, message, &OwnerPrompt::messageChanged);
    publish(this, m_secret, secret, &OwnerPrompt::secretChanged);
    setBusy(false);
}

void OwnerPrompt::tell(const QString &line)
{
    if (!m_open)
        return;
    m_info.append(line);
    emit infoChanged();
}

void OwnerPrompt::close()
{
    if (!m_open)
        return;
    m_open = false;
    setBusy(false);
    emit openChanged();
}

void OwnerPrompt::setBusy(bool busy)
{
    publish(this, m_busy, busy, &OwnerPrompt::busyChanged);
}
