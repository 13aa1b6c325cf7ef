# TW_BUILD_FUZZERS=ON builds every library with libFuzzer's coverage instrumentation,
# AddressSanitizer and UndefinedBehaviorSanitizer, and the targets of tests/fuzz. It
# needs clang (CC=clang CXX=clang++) and a build directory of its own; tools/fuzz.sh
# sets one up.
if(TW_BUILD_FUZZERS)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "TW_BUILD_FUZZERS needs clang: configure with CXX=clang++")
    endif()
    if(TW_SANITIZERS)
        message(FATAL_ERROR "TW_BUILD_FUZZERS brings its own sanitizers: leave TW_SANITIZERS empty")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=undefined
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
