# The service origin is fixed when the program is built; nothing at run time can change it.
# Release builds talk to the production service over https. A development build may point
# at a local service on the loopback interface, and at nothing else.
set(KELVRA_SITE "https://kelvra.app" CACHE STRING
    "Service origin: https:// and a host name, or http://127.0.0.1:PORT / http://localhost:PORT")

set(_https "^https://([A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?)(\\.[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?)*$")
set(_loopback "^http://(127\\.0\\.0\\.1|localhost):([0-9]+)$")
if(KELVRA_SITE MATCHES "${_loopback}")
    if(CMAKE_MATCH_2 LESS 1 OR CMAKE_MATCH_2 GREATER 65535)
        message(FATAL_ERROR "KELVRA_SITE: port out of range in '${KELVRA_SITE}'")
    endif()
elseif(NOT KELVRA_SITE MATCHES "${_https}")
    message(FATAL_ERROR "KELVRA_SITE must be https:// followed by a host name (no path, port or "
                        "trailing /), or a loopback origin http://127.0.0.1:PORT or "
                        "http://localhost:PORT; got '${KELVRA_SITE}'")
endif()
message(STATUS "Service origin: ${KELVRA_SITE}")
