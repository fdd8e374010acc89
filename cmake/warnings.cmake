# Warnings are errors, for g++ and clang alike.
add_library(kv_warnings INTERFACE)
target_compile_options(kv_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Werror
    -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align -Woverloaded-virtual
    -Wconversion -Wformat=2 -Wnull-dereference -Wundef)
# g++ 12 reports a false overlapping copy where it inlines the standard library's string
# concatenation.
target_compile_options(kv_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
