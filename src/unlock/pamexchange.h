#pragma once

#include "model/secretmemory.h"
#include "unlock/secretbuffer.h"

#include <QString>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

class QObject;

// What the GUI thread and the worker thread of one PAM authentication share. The worker posts
// what the stack says to a receiver on the GUI thread and waits there for the answers; the GUI
// thread hands answers over or cancels. After cancel() nothing more reaches the receiver.
class PamExchange
{
public:
    struct Events
    {
        std::function<void(const QString &message, bool secret)> ask;
        std::function<void(const QString &line)> tell;
        std::function<void(bool authenticated)> done;
    };

    // The events run on `receiver`'s thread while it lives.
    PamExchange(QObject *receiver, Events events);

    // The GUI thread's side.
    void answer(SecretBuffer secret);
    // Wakes a waiting question, which then fails the stack's conversation. The receiver must
    // call this before it goes away.
    void cancel();

    // The worker's side.
    bool cancelled() const;
    // Posts the question and waits for its answer; none once cancelled.
    std::optional<SecretBuffer> ask(const QString &message, bool secret);
    void tell(const QString &line);
    void done(bool authenticated);

private:
    template<typename Call>
    void post(Call call);

    // The typed password passes through the conversation, and libpam keeps its own copies
    // until the stack has ended: no core dump until both sides have let go.
    NoCoreDump m_noCoreDump;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    QObject *m_receiver; // null once cancelled
    const Events m_events;
    std::optional<SecretBuffer> m_answer;
};

// Authenticates `user` with the PAM `service`, giving up to `attempts` tries, and ends with
// exchange->done(). Blocks: run it on a thread of its own.
void authenticateWithPam(const std::string &service, const std::string &user, int attempts,
                         std::shared_ptr<PamExchange> exchange);
