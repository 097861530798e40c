#include "owner/curlloop.h"

#include "model/secretmemory.h"
#include "owner/curltransfer.h"

#include <QCoreApplication>
#include <QObject>
#include <QSocketNotifier>
#include <QTimer>

#include "owner/curlapi.h"

#include <curl/curl.h>

#include <algorithm>
#include <climits>
#include <coroutine>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

class CurlLoop::Multi
{
public:
    Multi();
    Multi(const Multi &) = delete;
    Multi &operator=(const Multi &) = delete;
    ~Multi();

    std::shared_ptr<Transfer> start(CurlRequest request);

private:
    struct Watch
    {
        QSocketNotifier *read = nullptr;
        QSocketNotifier *write = nullptr;
    };

    static int onSocket(CURL *, curl_socket_t socket, int what, void *self, void *);
    static int onTimer(CURLM *, long ms, void *self);
    void watch(curl_socket_t socket, int what);
    void act(curl_socket_t socket, int events);
    void drain();
    void expire(CURL *easy);
    void finish(CURL *easy, CURLcode code);

    QObject m_notifiers; // parent of the socket notifiers still alive at the end
    CURLM *m_handle = nullptr;
    CURLSH *m_share = nullptr;
    QTimer m_timer;
    bool m_tearingDown = false;
    std::unordered_map<curl_socket_t, Watch> m_watches;
    std::unordered_map<CURL *, std::shared_ptr<Transfer>> m_running;
};

CurlLoop::Multi::Multi()
{
    curl().global_init(CURL_GLOBAL_DEFAULT);
    m_handle = curl().multi_init();
    m_share = curl().share_init();
    // With every connection closed after its request, resumed TLS sessions keep the handshakes short.
    curl().share_setopt(m_share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    curl().multi_setopt(m_handle, CURLMOPT_SOCKETFUNCTION, &Multi::onSocket);
    curl().multi_setopt(m_handle, CURLMOPT_SOCKETDATA, this);
    curl().multi_setopt(m_handle, CURLMOPT_TIMERFUNCTION, &Multi::onTimer);
    curl().multi_setopt(m_handle, CURLMOPT_TIMERDATA, this);
    // A coarse timer fires curl's time-outs up to 5 % late.
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { act(CURL_SOCKET_TIMEOUT, 0); });
}

CurlLoop::Multi::~Multi()
{
    // curl calls back from inside curl_multi_remove_handle: everything its callbacks touch is
    // still alive here, and the timer stays stopped.
    m_tearingDown = true;
    m_timer.stop();
    while (!m_running.empty())
        finish(m_running.begin()->first, CURLE_ABORTED_BY_CALLBACK);
    curl().multi_cleanup(m_handle);
    // Only once no easy handle uses it.
    curl().share_cleanup(m_share);
    curl().global_cleanup();
}

std::shared_ptr<Transfer> CurlLoop::Multi::start(CurlRequest request)
{
    auto transfer = std::make_shared<Transfer>(request.bodyLimit, request.idle);
    const auto refuse = [&](bool refused, CURLcode code) {
        for (QByteArray &header : request.headers)
            wipe(header);
        transfer->forgetHeaders();
        transfer->reply.refused = refused;
        transfer->reply.code = code;
        transfer->done = true;
        return transfer;
    };

    // curl sends header lines as they are: a line break in a value would add headers of its own.
    for (const QByteArray &header : std::as_const(request.headers)) {
        if (header.contains('\r') || header.contains('\n') || header.contains('\0'))
            return refuse(true, CURLE_BAD_FUNCTION_ARGUMENT);
    }
    const std::optional<std::string_view> protocol = protocolFor(request.url);
    if (!protocol)
        return refuse(true, CURLE_UNSUPPORTED_PROTOCOL);

    // curl adds "Accept: */*", a form Content-Type to any POST that has none, and "Expect:
    // 100-continue" above 1 MiB (with a second sending of the whole request after a 417); an
    // empty value takes each out.
    bool typed = false;
    for (QByteArray &header : request.headers) {
        typed = typed || header.startsWith("Content-Type:");
        transfer->headers = curl().slist_append(transfer->headers, header.constData());
        wipe(header);
    }
    for (const char *removed : {"Accept:", "Expect:", "Content-Type:"}) {
        if (std::strcmp(removed, "Content-Type:") != 0 || (request.body && !typed))
            transfer->headers = curl().slist_append(transfer->headers, removed);
    }
    CURL *easy = m_handle && m_share ? curl().easy_init() : nullptr;
    if (!easy || !transfer->headers)
        return refuse(false, CURLE_OUT_OF_MEMORY);

    Transfer *const t = transfer.get();
    const long idleMs = static_cast<long>(request.idle.count());
    curl().easy_setopt(easy, CURLOPT_URL, request.url.constData());
    curl().easy_setopt(easy, CURLOPT_PROTOCOLS_STR, protocol->data());
    // The target goes out as written: no dot segment resolved.
    curl().easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
    curl().easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    // On a re-used connection curl sends a request again, POST included, when the peer closes
    // before answering; with HTTP/2 it may on a refused stream. One connection per request over
    // HTTP/1.1 leaves neither.
    curl().easy_setopt(easy, CURLOPT_FORBID_REUSE, 1L);
    curl().easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl().easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    // Without it, ending a transfer waits for its DNS lookup on this thread.
    curl().easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);
    // Proxy variables of the environment would take the token elsewhere.
    curl().easy_setopt(easy, CURLOPT_PROXY, "");
    // The system bundle is still used; Debian's CA path as well would keep curl from caching the
    // store, and load it on this thread for every connection.
    curl().easy_setopt(easy, CURLOPT_CAPATH, static_cast<char *>(nullptr));
    if (!request.authorities.isEmpty()) {
        // Copied by curl, and used instead of the system bundle.
        curl_blob blob{request.authorities.data(), static_cast<size_t>(request.authorities.size()),
                       CURL_BLOB_COPY};
        curl().easy_setopt(easy, CURLOPT_CAINFO_BLOB, &blob);
    }
    curl().easy_setopt(easy, CURLOPT_SHARE, m_share);
    curl().easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, idleMs);
    curl().easy_setopt(easy, CURLOPT_HTTPHEADER, t->headers);
    curl().easy_setopt(easy, CURLOPT_WRITEFUNCTION, &onBody);
    curl().easy_setopt(easy, CURLOPT_WRITEDATA, t);
    curl().easy_setopt(easy, CURLOPT_HEADERFUNCTION, &onHead);
    curl().easy_setopt(easy, CURLOPT_HEADERDATA, t);
    if (*protocol == "http") {
        curl().easy_setopt(easy, CURLOPT_PREREQFUNCTION, &onConnected);
        curl().easy_setopt(easy, CURLOPT_PREREQDATA, t);
    }
    if (request.body) {
        t->upload = std::move(*request.body);
        curl().easy_setopt(easy, CURLOPT_POST, 1L);
        curl().easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(t->upload.size()));
        curl().easy_setopt(easy, CURLOPT_POSTFIELDS, t->upload.constData());
    } else {
        curl().easy_setopt(easy, CURLOPT_HTTPGET, 1L);
    }

    m_running.emplace(easy, transfer);
    QObject::connect(&t->idle, &QTimer::timeout, &t->idle, [this, easy] { expire(easy); });
    t->idle.start(request.idle);
    if (curl().multi_add_handle(m_handle, easy) != CURLM_OK) {
        m_running.erase(easy);
        curl().easy_cleanup(easy);
        return refuse(false, CURLE_FAILED_INIT);
    }
    return transfer;
}

int CurlLoop::Multi::onSocket(CURL *, curl_socket_t socket, int what, void *self, void *)
{
    static_cast<Multi *>(self)->watch(socket, what);
    return 0;
}

int CurlLoop::Multi::onTimer(CURLM *, long ms, void *self)
{
    // Never acted on from inside curl: even a 0 ms time-out waits for the event loop.
    auto *multi = static_cast<Multi *>(self);
    if (multi->m_tearingDown)
        return 0;
    if (ms < 0)
        multi->m_timer.stop();
    else
        multi->m_timer.start(static_cast<int>(std::min(ms, long{INT_MAX})));
    return 0;
}

void CurlLoop::Multi::watch(curl_socket_t socket, int what)
{
    if (what == CURL_POLL_REMOVE) {
        // Usually inside this socket's own notifier; its number may come back at once for the
        // next connection, so the old notifiers go quiet now and go away later.
        const auto found = m_watches.find(socket);
        if (found == m_watches.end())
            return;
        for (QSocketNotifier *notifier : {found->second.read, found->second.write}) {
            notifier->setEnabled(false);
            notifier->deleteLater();
        }
        m_watches.erase(found);
        return;
    }
    Watch &watched = m_watches[socket];
    if (!watched.read) {
        watched.read = new QSocketNotifier(socket, QSocketNotifier::Read, &m_notifiers);
        watched.write = new QSocketNotifier(socket, QSocketNotifier::Write, &m_notifiers);
        QObject::connect(watched.read, &QSocketNotifier::activated, &m_notifiers,
                         [this, socket] { act(socket, CURL_CSELECT_IN); });
        QObject::connect(watched.write, &QSocketNotifier::activated, &m_notifiers,
                         [this, socket] { act(socket, CURL_CSELECT_OUT); });
    }
    watched.read->setEnabled(what & CURL_POLL_IN);
    watched.write->setEnabled(what & CURL_POLL_OUT);
}

void CurlLoop::Multi::act(curl_socket_t socket, int events)
{
    int running = 0;
    curl().multi_socket_action(m_handle, socket, events, &running);
    drain();
}

void CurlLoop::Multi::drain()
{
    // Every message first: removing a handle may change what curl_multi_info_read gives.
    std::vector<std::pair<CURL *, CURLcode>> ended;
    int left = 0;
    while (const CURLMsg *message = curl().multi_info_read(m_handle, &left)) {
        if (message->msg == CURLMSG_DONE)
            ended.emplace_back(message->easy_handle, message->data.result);
    }
    for (const auto &[easy, code] : ended)
        finish(easy, code);
}

void CurlLoop::Multi::expire(CURL *easy)
{
    const auto found = m_running.find(easy);
    if (found == m_running.end())
        return;
    Transfer &transfer = *found->second;
    const auto quiet = Clock::now() - transfer.arrived;
    if (quiet < transfer.idleLimit) {
        transfer.idle.start(std::chrono::ceil<std::chrono::milliseconds>(transfer.idleLimit - quiet));
        return;
    }
    finish(easy, CURLE_OPERATION_TIMEDOUT);
}

void CurlLoop::Multi::finish(CURL *easy, CURLcode code)
{
    const auto found = m_running.find(easy);
    if (found == m_running.end())
        return;
    const std::shared_ptr<Transfer> transfer = std::move(found->second);
    m_running.erase(found);
    transfer->idle.stop();
    long status = 0;
    curl().easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    curl().multi_remove_handle(m_handle, easy);
    curl().easy_cleanup(easy);
    transfer->forgetHeaders();
    transfer->reply.code = transfer->strayPeer ? CURLE_COULDNT_CONNECT : code;
    transfer->reply.status = status;
    transfer->done = true;
    // Resumed from the event loop, so that a waiter that deletes this loop or starts another
    // transfer never runs inside curl's or our own bookkeeping.
    if (transfer->waiter) {
        QMetaObject::invokeMethod(
            QCoreApplication::instance(), [waiter = transfer->waiter] { waiter.resume(); },
            Qt::QueuedConnection);
    }
}

CurlLoop::CurlLoop() = default;

CurlLoop::~CurlLoop() = default;

QCoro::Task<CurlReply> CurlLoop::perform(CurlRequest request)
{
    if (!curlApi()) {
        CurlReply failed;
        failed.code = CURLE_FAILED_INIT;
        co_return failed;
    }
    if (!m_multi)
        m_multi = std::make_unique<Multi>();
    const std::shared_ptr<Transfer> transfer = m_multi->start(std::move(request));
    // Nothing after the wait touches this loop: it may be gone by then.
    Waiter waiter(transfer.get());
    CurlReply reply = co_await waiter;
    co_return reply;
}
