set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

# Warnings and hardening.
add_library(pacerd_plain_options INTERFACE)

target_compile_options(pacerd_plain_options INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(PACERD_WERROR)
    target_compile_options(pacerd_plain_options INTERFACE -Werror)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_UNITY_BUILD) # which makes headers of the files, to its eyes
    target_compile_options(pacerd_plain_options INTERFACE -Wno-subobject-linkage)
endif()

target_compile_options(pacerd_plain_options INTERFACE -fstack-protector-strong)
target_compile_definitions(pacerd_plain_options INTERFACE _GLIBCXX_ASSERTIONS)
target_link_options(pacerd_plain_options INTERFACE -Wl,-z,relro -Wl,-z,now)
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT PACERD_SANITIZE)
    target_compile_definitions(pacerd_plain_options INTERFACE _FORTIFY_SOURCE=2)
endif()
include(CheckPIESupported)
check_pie_supported()

# Link pacerd_options into every target of ours: these, and sanitizers.
add_library(pacerd_options INTERFACE)
target_link_libraries(pacerd_options INTERFACE pacerd_plain_options)

if(PACERD_SANITIZE)
    target_compile_options(pacerd_options INTERFACE -fsanitize=${PACERD_SANITIZE} -fno-omit-frame-pointer
                                                    -fno-sanitize-recover=all)
    target_link_options(pacerd_options INTERFACE -fsanitize=${PACERD_SANITIZE})
endif()

# Fuzz targets steer by what of our code they reach.
if(PACERD_FUZZ)
    target_compile_options(pacerd_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Builds in several checkouts and build folders share what they have compiled.
find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=true
        CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
    set(CMAKE_C_COMPILER_LAUNCHER ${CMAKE_CXX_COMPILER_LAUNCHER})
endif()
