#pragma once

#include <curl/curl.h>

// libcurl's functions, loaded with the owner's first request rather than with the program:
// linked in, libcurl and the twenty libraries it brings (TLS, LDAP, SSH, RTMP, IDN, …) were
// loaded, initialised and searched on every symbol lookup of every start-up, though only a
// signed-in owner's requests use them. Each entry has the type of the function it stands for.
struct CurlApi
{
    decltype(&curl_global_init) global_init;
    decltype(&curl_global_cleanup) global_cleanup;
    decltype(&curl_multi_init) multi_init;
    decltype(&curl_multi_cleanup) multi_cleanup;
    decltype(&curl_multi_setopt) multi_setopt;
    decltype(&curl_multi_add_handle) multi_add_handle;
    decltype(&curl_multi_remove_handle) multi_remove_handle;
    decltype(&curl_multi_socket_action) multi_socket_action;
    decltype(&curl_multi_info_read) multi_info_read;
    decltype(&curl_share_init) share_init;
    decltype(&curl_share_setopt) share_setopt;
    decltype(&curl_share_cleanup) share_cleanup;
    decltype(&curl_easy_init) easy_init;
    decltype(&curl_easy_cleanup) easy_cleanup;
    decltype(&curl_easy_setopt) easy_setopt;
    decltype(&curl_easy_getinfo) easy_getinfo;
    decltype(&curl_slist_append) slist_append;
    decltype(&curl_slist_free_all) slist_free_all;
    decltype(&curl_free) free;
    decltype(&curl_url) url;
    decltype(&curl_url_cleanup) url_cleanup;
    decltype(&curl_url_get) url_get;
    decltype(&curl_url_set) url_set;
};

// The functions of the system's libcurl, loaded on the first call and kept; null when it cannot
// be loaded, lacks one of them or is older than 7.87.
const CurlApi *curlApi();

// Where libcurl is known to be loaded: inside the transfers of CurlLoop, which makes none
// without it.
inline const CurlApi &curl()
{
    return *curlApi();
}
