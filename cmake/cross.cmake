# Toolchain for Debian's cross compilers, with qemu-user to run what was built: -DCROSS=aarch64-linux-gnu. What is not in
# the compiler's own folders (libbsd, GoogleTest) is looked for in /opt/$CROSS, where tests/cross/inside puts it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES CROSS)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR ${CROSS})
set(CMAKE_C_COMPILER ${CROSS}-gcc)
set(CMAKE_CXX_COMPILER ${CROSS}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR}-static;-L;/usr/${CROSS})
set(CMAKE_PREFIX_PATH /opt/${CROSS})
set(ENV{PKG_CONFIG_LIBDIR} /opt/${CROSS}/lib/pkgconfig:/usr/lib/${CROSS}/pkgconfig)
# On arm, notes that GCC 7 changed how some values are passed: everything here is built by one compiler.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
