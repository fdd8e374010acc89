# One-line helpers.

# kv_no_optimise(file...)
# Sources that include the command-line library: to optimise its templates takes half a minute a
# file, and nothing in them is in a hurry. Flags of their own exclude headers that are read once.
function(kv_no_optimise)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -O0
                                SKIP_PRECOMPILE_HEADERS ON)
endfunction()

# kv_precompile_std(target [header...])
# A third of the time that a sanitizer build takes goes into reading the same headers again. There
# they are read once a target; elsewhere source by source, so that an #include that is missing shows.
function(kv_precompile_std target)
    if(KV_SANITIZE)
        target_precompile_headers(${target} PRIVATE <algorithm> <array> <cmath> <functional> <memory>
                                  <mutex> <optional> <string> <string_view> <vector> ${ARGN})
    endif()
endfunction()

# kv_add_test(NAME name LABELS label... SOURCES file... [LIBRARIES library...] [TIMEOUT seconds]
#             [OWN_NETWORK] [PREFIX text])
# One GoogleTest binary; each of its tests is a ctest test in a process of its own, and with
# OWN_NETWORK in a network of its own. The prefix tells tests apart that run in two binaries.
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
    # What is tested is optimised as the preset says; the tests themselves only have to be built soon.
    target_compile_options(${ARG_NAME} PRIVATE -O0 -g1 -pthread)
    target_precompile_headers(${ARG_NAME} REUSE_FROM test_headers)
    if(ARG_OWN_NETWORK)
        set_target_properties(${ARG_NAME} PROPERTIES
            CROSSCOMPILING_EMULATOR ${PROJECT_SOURCE_DIR}/scripts/in_network_namespace)
    endif()
    gtest_discover_tests(${ARG_NAME} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60
                         TEST_PREFIX "${ARG_PREFIX}"
                         PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT ${ARG_TIMEOUT})
endfunction()
