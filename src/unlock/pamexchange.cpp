#include "unlock/pamexchange.h"

#include <QMetaObject>
#include <QObject>

#include <security/pam_appl.h>

#include <cstdlib>
#include <string.h>
#include <utility>

PamExchange::PamExchange(QObject *receiver, Events events)
    : m_receiver(receiver)
    , m_events(std::move(events))
{}

void PamExchange::answer(SecretBuffer secret)
{
    {
        std::lock_guard lock(m_mutex);
        if (!m_receiver)
            return;
        m_answer = std::move(secret);
    }
    m_wake.notify_all();
}

void PamExchange::cancel()
{
    {
        std::lock_guard lock(m_mutex);
        m_receiver = nullptr;
        m_answer.reset();
    }
    m_wake.notify_all();
}

bool PamExchange::cancelled() const
{
    std::lock_guard lock(m_mutex);
    return !m_receiver;
}

template<typename Call>
void PamExchange::post(Call call)
{
    // Under the lock, so the receiver cannot go away between the check and the posting; events
    // already posted are dropped by Qt when it does.
    std::lock_guard lock(m_mutex);
    if (m_receiver)
        QMetaObject::invokeMethod(m_receiver, std::move(call), Qt::QueuedConnection);
}

std::optional<SecretBuffer> PamExchange::ask(const QString &message, bool secret)
{
    post([ask = m_events.ask, message, secret] { ask(message, secret); });
    std::unique_lock lock(m_mutex);
    m_wake.wait(lock, [this] { return !m_receiver || m_answer; });
    if (!m_receiver)
        return std::nullopt;
    std::optional<SecretBuffer> answer = std::move(m_answer);
    m_answer.reset();
    return answer;
}

void PamExchange::tell(const QString &line)
{
    post([tell = m_events.tell, line] { tell(line); });
}

void PamExchange::done(bool authenticated)
{
    post([done = m_events.done, authenticated] { done(authenticated); });
}

namespace {

struct Conversation
{
    PamExchange *exchange;
    bool answered = false;   // in the current attempt
    bool errorShown = false; // since the last answer
};

void dropReplies(pam_response *replies, int count)
{
    for (int i = 0; i < count; ++i) {
        if (char *text = replies[i].resp) {
            explicit_bzero(text, strlen(text));
            std::free(text);
        }
    }
    std::free(replies);
}

int converse(int count, const pam_message **messages, pam_response **responses, void *data)
{
    auto *conversation = static_cast<Conversation *>(data);
    if (count <= 0 || count > PAM_MAX_NUM_MSG || !messages)
        return PAM_CONV_ERR;
    // Some modules pass no reply array with messages that need no answer.
    pam_response *replies = nullptr;
    if (responses) {
        replies = static_cast<pam_response *>(std::calloc(std::size_t(count), sizeof(pam_response)));
        if (!replies)
            return PAM_BUF_ERR;
    }
    int result = PAM_SUCCESS;
    for (int i = 0; i < count && result == PAM_SUCCESS; ++i) {
        const pam_message *message = messages[i];
        const QString text = QString::fromLocal8Bit(message && message->msg ? message->msg : "");
        switch (message ? message->msg_style : -1) {
        case PAM_PROMPT_ECHO_OFF:
        case PAM_PROMPT_ECHO_ON: {
            if (!replies) {
                result = PAM_CONV_ERR;
                break;
            }
            std::optional<SecretBuffer> secret =
                conversation->exchange->ask(text, message->msg_style == PAM_PROMPT_ECHO_OFF);
            if (!secret) {
                result = PAM_CONV_ERR;
                break;
            }
            conversation->answered = true;
            conversation->errorShown = false;
            // libpam wipes and frees the copy.
            replies[i].resp = strndup(secret->data() ? secret->data() : "", secret->size());
            if (!replies[i].resp)
                result = PAM_BUF_ERR;
            break;
        }
        case PAM_ERROR_MSG:
            conversation->errorShown = true;
            [[fallthrough]];
        case PAM_TEXT_INFO:
            if (conversation->exchange->cancelled())
                result = PAM_CONV_ERR;
            else
                conversation->exchange->tell(text);
            break;
        default:
            result = PAM_CONV_ERR;
        }
    }
    if (result != PAM_SUCCESS) {
        if (replies)
            dropReplies(replies, count);
        return result;
    }
    if (responses)
        *responses = replies;
    return PAM_SUCCESS;
}

} // namespace

void authenticateWithPam(const std::string &service, const std::string &user, int attempts,
                         std::shared_ptr<PamExchange> exchange)
{
    Conversation conversation{exchange.get()};
    const pam_conv conv{&converse, &conversation};
    pam_handle_t *handle = nullptr;
    int result = pam_start(service.c_str(), user.c_str(), &conv, &handle);
    bool authenticated = false;
    if (result == PAM_SUCCESS) {
        for (int attempt = 1; attempt <= attempts && !exchange->cancelled(); ++attempt) {
            conversation.answered = false;
            // Without the flag, pam_unix's nullok lets an account with an empty password in.
            result = pam_authenticate(handle, PAM_DISALLOW_NULL_AUTHTOK);
            if (result == PAM_SUCCESS) {
                result = pam_acct_mgmt(handle, PAM_DISALLOW_NULL_AUTHTOK);
                authenticated = result == PAM_SUCCESS;
                break;
            }
            // A stack that refused without asking would refuse again.
            if (result != PAM_AUTH_ERR || !conversation.answered || attempt == attempts)
                break;
            // pam_unix says nothing when a password is wrong; the next question alone would
            // look as if the answer had been lost. Lines before the answer don't count.
            if (!conversation.errorShown)
                exchange->tell(QString::fromLocal8Bit(pam_strerror(handle, result)));
        }
        pam_end(handle, result);
    }
    exchange->done(authenticated && !exchange->cancelled());
}
