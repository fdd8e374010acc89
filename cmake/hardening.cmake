# Hardening of everything that is built without a sanitizer; tests/system/hardening.sh reads it from
# the binaries.
#
# Calls are checked against overflowed buffers only in optimised code, so kv_no_optimise and the tests
# switch that off. The driver's link options undo immediate binding.
if(KV_SANITIZE STREQUAL "" AND NOT KV_COVERAGE)
    add_compile_options(-fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
    if(CMAKE_BUILD_TYPE MATCHES "Rel")
        add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    endif()
    add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack,-z,ibt,-z,shstk)
endif()
