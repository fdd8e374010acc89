# One-line helpers.

# kv_add_test(NAME name LABELS label... SOURCES file... [LIBRARIES library...] [TIMEOUT seconds])
# One GoogleTest binary; each of its tests is a ctest test in a process of its own.
function(kv_add_test)
    cmake_parse_arguments(ARG "" "NAME;TIMEOUT" "LABELS;SOURCES;LIBRARIES" ${ARGN})
    find_package(GTest REQUIRED)
    include(GoogleTest)
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    add_executable(${ARG_NAME} ${ARG_SOURCES})
    target_link_libraries(${ARG_NAME} PRIVATE ${ARG_LIBRARIES} kv_warnings GTest::gmock
                          GTest::gtest_main Threads::Threads)
    gtest_discover_tests(${ARG_NAME} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60
                         PROPERTIES LABELS "${ARG_LABELS}" TIMEOUT ${ARG_TIMEOUT})
endfunction()
