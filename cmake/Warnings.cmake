# Every target of ours builds with warnings as errors. Aggregates are often initialised in part
# on purpose (the rest keep their defaults), so that one warning of -Wextra is left out.
add_compile_options(-Wall -Wextra -Wpedantic -Werror -Wshadow -Wnon-virtual-dtor -Wcast-align
                    -Wformat=2 -Wimplicit-fallthrough -Wno-missing-field-initializers)
