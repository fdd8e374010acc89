# One sanitizer build per preset; applied to everything, so that no library is left out. With clang,
# which builds them in less time and follows a thread that is cancelled.
if(NOT KV_SANITIZE STREQUAL "" AND NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "KV_SANITIZE needs clang, which the presets asan and tsan choose; a folder "
                        "that another compiler has built in needs cmake --fresh --preset")
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
    # Everything tells the fuzzers where it has been; they bring what listens.
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
