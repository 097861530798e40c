# The platform's hardening for every program we build: stack protector, fortified libc calls,
# stack clash protection, control-flow protection, position-independent executables, and
# relocations made read-only after immediate binding. The app holds the user's login password
# while it authenticates them, so memory errors must be as hard to exploit as the platform makes
# them. The sanitizer and fuzz builds go without: AddressSanitizer intercepts the very libc
# calls that fortification replaces, and those builds never reach users.
option(KELVRA_HARDEN "Compile and link with the platform's hardening" ON)

include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

if(KELVRA_HARDEN AND NOT KELVRA_SANITIZE AND NOT KELVRA_FUZZ)
    set(KELVRA_HARDENED ON)
    add_compile_options(-fstack-protector-strong -fstack-clash-protection -fcf-protection)
    # Fortification needs the optimiser (glibc warns, and so fails the build, without it): the
    # optimising build types, and a build without a type whose flags ask for optimisation. Level
    # 3 (GCC 12, clang, glibc 2.34 on) also checks buffers whose size is known only at run time;
    # at level 2 not one call of ours has a size known when compiling, and nothing was checked.
    # Any level set by the caller's flags is replaced, not redefined.
    if(CMAKE_CXX_FLAGS MATCHES "(^| )-O([1-3sz]|fast)( |$)")
        set(_optimised 1)
    else()
        set(_optimised "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")
    endif()
    add_compile_options("$<${_optimised}:-U_FORTIFY_SOURCE>" "$<${_optimised}:-D_FORTIFY_SOURCE=3>")
    add_link_options(LINKER:-z,relro,-z,now)
    # Debian 12's C start-up files (crt1.o, crti.o, crtn.o) carry no control-flow note, since its
    # glibc is built without CET, and the linker keeps the note only when every input has it.
    # Everything we compile has the protection; these mark the program as having it.
    add_link_options(LINKER:-z,ibt,-z,shstk)
else()
    set(KELVRA_HARDENED OFF)
endif()
