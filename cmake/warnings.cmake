# Warnings are errors, for g++ and clang alike.
add_library(kv_warnings INTERFACE)
target_compile_options(kv_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Werror
    -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align -Woverloaded-virtual
    -Wconversion -Wformat=2 -Wnull-dereference -Wundef)
# g++ 12 takes the library's own string concatenation for an overlapping copy when it inlines it.
target_compile_options(kv_warnings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
