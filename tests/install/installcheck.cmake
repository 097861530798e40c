# Installs the build into a scratch root (DESTDIR) and checks what lands there: exactly the
# expected files, a valid desktop entry, valid AppStream metadata that names this version, and a
# tree whose metadata, entry and icon agree.
#   cmake -DBUILD=dir -DROOT=dir -DPREFIX=path -DEXPECTED=a|b|... -DVERSION=x.y.z -P installcheck.cmake
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE out)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "failed: ${ARGN}\n${out}")
    endif()
endfunction()

file(REMOVE_RECURSE ${ROOT})
set(ENV{DESTDIR} ${ROOT})
run(${CMAKE_COMMAND} --install ${BUILD})

file(GLOB_RECURSE installed LIST_DIRECTORIES false RELATIVE ${ROOT} ${ROOT}/*)
string(REPLACE "|" ";" expected "${EXPECTED}")
list(SORT installed)
list(SORT expected)
if(NOT installed STREQUAL expected)
    string(REPLACE ";" "\n  " installed "${installed}")
    string(REPLACE ";" "\n  " expected "${expected}")
    message(FATAL_ERROR "installed:\n  ${installed}\nexpected:\n  ${expected}")
endif()

set(share ${ROOT}${PREFIX}/share)
run(desktop-file-validate ${share}/applications/app.kelvra.Kelvra.desktop)
run(appstreamcli validate --no-net --explain ${share}/metainfo/app.kelvra.Kelvra.metainfo.xml)
run(appstreamcli validate-tree --no-net --explain ${ROOT}${PREFIX})

# The pieces name one another: metainfo -> entry -> program and icon.
file(READ ${share}/metainfo/app.kelvra.Kelvra.metainfo.xml metainfo)
file(READ ${share}/applications/app.kelvra.Kelvra.desktop entry)
function(expect text pattern path)
    string(REGEX MATCH "${pattern}" found "${text}")
    if(NOT CMAKE_MATCH_1 OR NOT EXISTS ${ROOT}${PREFIX}/${path}${CMAKE_MATCH_1}${ARGN})
        message(FATAL_ERROR "'${pattern}' gives '${CMAKE_MATCH_1}', not in ${path}")
    endif()
endfunction()
expect("${metainfo}" "<launchable type=\"desktop-id\">([^<]+)<" share/applications/)
expect("${entry}" "\nExec=([^ \n]+)" bin/)
expect("${entry}" "\nIcon=([^\n]+)" share/icons/hicolor/scalable/apps/ .svg)
expect("${entry}" "\nIcon=([^\n]+)" share/icons/hicolor/48x48/apps/ .png)
string(REGEX MATCH "<release version=\"([^\"]*)\"" newest "${metainfo}")
if(NOT CMAKE_MATCH_1 STREQUAL VERSION)
    message(FATAL_ERROR "the newest release in the metainfo is '${CMAKE_MATCH_1}', the project is ${VERSION}")
endif()
file(REMOVE_RECURSE ${ROOT})
