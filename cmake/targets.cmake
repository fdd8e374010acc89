# Helpers for targets.

# kv_no_optimise(file...)
# Compiles these sources without optimisation. They include the command-line library, whose
# templates take half a minute per file to optimise, and none of this code needs to be fast. The
# sources are left out of precompiled headers, because a precompiled header fits only sources that
# are compiled with the same options.
function(kv_no_optimise)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "-O0;-U_FORTIFY_SOURCE"
                                SKIP_PRECOMPILE_HEADERS ON)
endfunction()

# kv_precompile_std(target [header...])
# Precompiles common headers of the standard library, and the given ones, in sanitizer builds, where
# parsing them again for each source takes a third of the build time. Other builds compile without
# precompiled headers, so that a missing #include is noticed.
function(kv_precompile_std target)
    if(KV_SANITIZE)
        target_precompile_headers(${target} PRIVATE <algorithm> <array> <cmath> <functional> <memory>
                                  <mutex> <optional> <string> <string_view> <vector> ${ARGN})
    endif()
endfunction()

# kv_add_test(NAME name LABELS label... SOURCES file... [LIBRARIES library...] [TIMEOUT seconds]
#             [OWN_NETWORK] [PREFIX text])
# Adds a GoogleTest binary. ctest runs each of its tests in a separate process, and with OWN_NETWORK
# in a separate network namespace. The prefix keeps the names of tests that are linked into two
# binaries apart.
function(kv_add_test)
    cmake_parse_arguments(ARG "OWN_NETWORK" "NAME;TIMEOUT;PREFIX" "LABELS;SOURCES;LIBRARIES" ${ARGN})
    find_package(GTest REQUIRED)
    include(GoogleTest)
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    add_executable(${ARG_NAME} ${ARG_SOURCES})
    target_link_libraries(${ARG_NAME} PRIVATE ${ARG_LIBRARIES} kv_warnings GTest::gmock
                          GTest::gtest_main Threads::Threads)
    # The code under test is optimised as the preset says; the tests themselves are built for speed
    # of compilation.
    target_compile_options(${ARG_NAME} PRIVATE -O0 -U_FORTIFY_SOURCE -g1 -pthread)
    target_precompile_headers(${ARG_NAME} REUSE_FROM test_headers)
    if(ARG_OWN_NETWORK)
        set_target_properties(${ARG_NAME} PROPERTIES
            CROSSCOMPILING_EMULATOR ${PROJECT_SOURCE_DIR}/scripts/in_network_namespace)
    endif()
    gtest_discover_tests(${ARG_NAME} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60
                         TEST_PREFIX "${ARG_PREFIX}"
                         PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT ${ARG_TIMEOUT})
endfunction()
