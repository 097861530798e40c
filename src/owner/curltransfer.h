#pragma once

#include "owner/curlloop.h"

#include <QByteArray>
#include <QTimer>

#include "owner/curlapi.h"

#include <curl/curl.h>

#include <chrono>
#include <coroutine>
#include <cstring>
#include <optional>
#include <string_view>

// One transfer of CurlLoop while curl runs it, and the callbacks curl calls for it.

using Clock = std::chrono::steady_clock;

struct Transfer
{
    Transfer(qsizetype limit, std::chrono::milliseconds quiet)
        : bodyLimit(limit)
        , idleLimit(quiet)
    {
        idle.setSingleShot(true);
        idle.setTimerType(Qt::PreciseTimer);
    }
    Transfer(const Transfer &) = delete;
    Transfer &operator=(const Transfer &) = delete;
    ~Transfer() { forgetHeaders(); }

    // The header list may hold the bearer token: it is wiped before curl frees it.
    void forgetHeaders()
    {
        for (curl_slist *line = headers; line; line = line->next)
            explicit_bzero(line->data, std::strlen(line->data));
        if (headers)
            curl().slist_free_all(headers);
        headers = nullptr;
    }

    const qsizetype bodyLimit;
    const std::chrono::milliseconds idleLimit;
    Clock::time_point arrived = Clock::now();
    qsizetype headBytes = 0;
    bool strayPeer = false; // a loopback origin that connected elsewhere
    curl_slist *headers = nullptr;
    QByteArray upload; // curl reads the POST body from here without copying it
    QTimer idle;
    CurlReply reply;
    bool done = false;
    std::coroutine_handle<> waiter;
};

// Held by raw pointer and trivially destructible: GCC 12 destroys an aggregate awaiter that
// owns a shared_ptr twice. The coroutine frame keeps the transfer alive.
class Waiter
{
public:
    explicit Waiter(Transfer *transfer)
        : m_transfer(transfer)
    {}
    bool await_ready() const noexcept { return m_transfer->done; }
    void await_suspend(std::coroutine_handle<> waiter) noexcept { m_transfer->waiter = waiter; }
    CurlReply await_resume() { return std::move(m_transfer->reply); }

private:
    Transfer *m_transfer;
};

bool isLoopback(std::string_view host);
// Which protocol the URL may go out by: https, or http when its host is loopback (a development
// service on this machine); none for anything else or for text that is no URL.
std::optional<std::string_view> protocolFor(const QByteArray &url);

// The callbacks below run inside curl, with their Transfer as context: they only copy bytes and
// set flags, never touch the multi handle and never run anything that could spin an event loop.
size_t onBody(char *data, size_t size, size_t count, void *context);
// Stops the transfer once its head passes 64 KiB.
size_t onHead(char *, size_t size, size_t count, void *context);
// A loopback host name may still resolve elsewhere: plain http leaves only for a loopback peer.
// Runs once connected, before the request is sent.
int onConnected(void *context, char *peer, char *, int, int);
