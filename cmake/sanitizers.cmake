# Sanitizers, coverage and fuzzing. Each preset switches on one sanitizer for all targets, so that
# no library is left out. Sanitizer builds use clang, which compiles them faster than g++ does and
# whose thread sanitizer handles cancelled threads.
if(NOT KV_SANITIZE STREQUAL "" AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "KV_SANITIZE needs clang, which the presets asan and tsan choose; a build "
                        "folder of another compiler has to be configured with cmake --fresh")
endif()
if(KV_SANITIZE STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
elseif(KV_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(NOT KV_SANITIZE STREQUAL "")
    message(FATAL_ERROR "KV_SANITIZE is '${KV_SANITIZE}'; known: address, thread")
endif()
if(KV_COVERAGE)
    add_compile_options(--coverage)
    add_link_options(--coverage)
endif()
if(KV_FUZZ)
    # Instruments all code for the fuzzers; each fuzzer links the fuzzing engine itself.
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
