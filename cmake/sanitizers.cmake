# One sanitizer build per preset; applied to everything, so that no library is left out.
if(KV_SANITIZE STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    # Instrumented library templates look uninitialised to g++.
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    add_link_options(-fsanitize=address,undefined)
elseif(KV_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    # g++ says that it can't model fences. Ours order words between processes, which no thread
    # sanitizer watches.
    add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-tsan>)
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
