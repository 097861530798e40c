# Installs the build into a scratch root (DESTDIR) and runs Debian's hardening-check on the
# installed app and on the service program (the built one, while it is not installed). Any
# protection it misses fails the test; "unknown" (nothing of that kind to protect) does not.
#   cmake -DBUILD=dir -DROOT=dir -DPREFIX=path -DSERVICE=file -P hardeningcheck.cmake
find_program(HARDENING_CHECK hardening-check REQUIRED)

file(REMOVE_RECURSE ${ROOT})
set(ENV{DESTDIR} ${ROOT})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} RESULT_VARIABLE status OUTPUT_VARIABLE out
                ERROR_VARIABLE out)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "install failed:\n${out}")
endif()

set(programs ${ROOT}${PREFIX}/bin/kelvra)
if(EXISTS ${ROOT}${PREFIX}/bin/kelvra-service)
    list(APPEND programs ${ROOT}${PREFIX}/bin/kelvra-service)
else()
    list(APPEND programs ${SERVICE})
endif()
execute_process(COMMAND ${HARDENING_CHECK} ${programs} RESULT_VARIABLE status OUTPUT_VARIABLE out
                ERROR_VARIABLE out)
file(REMOVE_RECURSE ${ROOT})
if(NOT status EQUAL 0)
    message(FATAL_ERROR "hardening-check found protections missing:\n${out}")
endif()
message(STATUS "${out}")
