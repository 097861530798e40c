# KELVRA_SANITIZE: every target of ours (library, app, service, tests) with AddressSanitizer and
# UndefinedBehaviorSanitizer; LeakSanitizer runs at exit with AddressSanitizer. Any report ends
# the process with an error, so a test that trips one fails.
option(KELVRA_SANITIZE "Build with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
# KELVRA_FUZZ: the libFuzzer targets under fuzz/ (clang only); the code they reach is built with
# coverage for the fuzzer.
option(KELVRA_FUZZ "Build the libFuzzer targets under fuzz/ (clang)" OFF)

if(KELVRA_SANITIZE)
    set(KELVRA_SANITIZERS -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_compile_options(${KELVRA_SANITIZERS})
    add_link_options(${KELVRA_SANITIZERS})
endif()

if(KELVRA_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "KELVRA_FUZZ needs clang (-DCMAKE_CXX_COMPILER=clang++)")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
    # clang 14 cannot emit coverage and the function-type check together for a coroutine
    # ("Cannot represent a difference across sections"); the rest of UBSan stays on.
    add_compile_options(-fno-sanitize=function)
    add_link_options(-fno-sanitize=function)
endif()
