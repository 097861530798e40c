#include "owner/curltransfer.h"

namespace {

// No answer of ours has a head this long; without this cap curl takes up to 300 KiB of it.
constexpr qsizetype headLimit = 64 * 1024;

} // namespace

bool isLoopback(std::string_view host)
{
    return host == "127.0.0.1" || host == "[::1]" || host == "::1" || host == "localhost";
}

std::optional<std::string_view> protocolFor(const QByteArray &url)
{
    const std::unique_ptr<CURLU, void (*)(CURLU *)> parsed(curl().url(), curl().url_cleanup);
    if (!parsed
        || curl().url_set(parsed.get(), CURLUPART_URL, url.constData(), CURLU_PATH_AS_IS) != CURLUE_OK)
        return std::nullopt;
    char *scheme = nullptr;
    char *host = nullptr;
    std::optional<std::string_view> protocol;
    if (curl().url_get(parsed.get(), CURLUPART_SCHEME, &scheme, 0) == CURLUE_OK
        && curl().url_get(parsed.get(), CURLUPART_HOST, &host, 0) == CURLUE_OK) {
        if (std::strcmp(scheme, "https") == 0)
            protocol = "https";
        else if (std::strcmp(scheme, "http") == 0 && isLoopback(host))
            protocol = "http";
    }
    curl().free(scheme);
    curl().free(host);
    return protocol;
}

size_t onBody(char *data, size_t size, size_t count, void *context)
{
    auto *transfer = static_cast<Transfer *>(context);
    const auto bytes = static_cast<qsizetype>(size * count);
    transfer->arrived = Clock::now();
    if (transfer->reply.body.size() + bytes >= transfer->bodyLimit) {
        transfer->reply.overflow = true;
        return CURL_WRITEFUNC_ERROR;
    }
    transfer->reply.body.append(data, bytes);
    return size * count;
}

size_t onHead(char *, size_t size, size_t count, void *context)
{
    auto *transfer = static_cast<Transfer *>(context);
    transfer->arrived = Clock::now();
    transfer->headBytes += static_cast<qsizetype>(size * count);
    if (transfer->headBytes > headLimit) {
        transfer->reply.overflow = true;
        return 0;
    }
    return size * count;
}

int onConnected(void *context, char *peer, char *, int, int)
{
    if (isLoopback(peer))
        return CURL_PREREQFUNC_OK;
    static_cast<Transfer *>(context)->strayPeer = true;
    return CURL_PREREQFUNC_ABORT;
}
