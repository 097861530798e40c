#include "owner/curlapi.h"

#include <dlfcn.h>

namespace {

template<typename Function>
bool take(void *library, const char *name, Function &function)
{
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

const CurlApi *load()
{
    // Local: its symbols stay out of the program's own lookups. Never closed: curl's global
    // state lives until the process ends.
    void *library = dlopen("libcurl.so.4", RTLD_NOW | RTLD_LOCAL);
    if (!library)
        return nullptr;
    static CurlApi api;
    const bool complete =
        take(library, "curl_global_init", api.global_init)
        && take(library, "curl_global_cleanup", api.global_cleanup)
        && take(library, "curl_multi_init", api.multi_init)
        && take(library, "curl_multi_cleanup", api.multi_cleanup)
        && take(library, "curl_multi_setopt", api.multi_setopt)
        && take(library, "curl_multi_add_handle", api.multi_add_handle)
        && take(library, "curl_multi_remove_handle", api.multi_remove_handle)
        && take(library, "curl_multi_socket_action", api.multi_socket_action)
        && take(library, "curl_multi_info_read", api.multi_info_read)
        && take(library, "curl_share_init", api.share_init)
        && take(library, "curl_share_setopt", api.share_setopt)
        && take(library, "curl_share_cleanup", api.share_cleanup)
        && take(library, "curl_easy_init", api.easy_init)
        && take(library, "curl_easy_cleanup", api.easy_cleanup)
        && take(library, "curl_easy_setopt", api.easy_setopt)
        && take(library, "curl_easy_getinfo", api.easy_getinfo)
        && take(library, "curl_slist_append", api.slist_append)
        && take(library, "curl_slist_free_all", api.slist_free_all) && take(library, "curl_free", api.free)
        && take(library, "curl_url", api.url) && take(library, "curl_url_cleanup", api.url_cleanup)
        && take(library, "curl_url_get", api.url_get) && take(library, "curl_url_set", api.url_set);
    // 7.87 brings CURLOPT_QUICK_EXIT and CURL_WRITEFUNC_ERROR, which the transfers rely on.
    decltype(&curl_version_info) versionInfo = nullptr;
    if (!complete || !take(library, "curl_version_info", versionInfo))
        return nullptr;
    const curl_version_info_data *version = versionInfo(CURLVERSION_NOW);
    return version && version->version_num >= 0x075700 ? &api : nullptr;
}

} // namespace

const CurlApi *curlApi()
{
    static const CurlApi *const api = load();
    return api;
}
