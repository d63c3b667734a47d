# For another Linux processor: ORQ_CROSS names it as compilers do (aarch64, s390x), ORQ_SYSROOT is a folder with its
# libraries. Programs run through the emulator, so that tests run as they do at home.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORQ_CROSS ORQ_SYSROOT)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${ORQ_CROSS})
set(CMAKE_C_COMPILER ${ORQ_CROSS}-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER ${ORQ_CROSS}-linux-gnu-g++)
set(CMAKE_SYSROOT ${ORQ_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${ORQ_CROSS}-static -L ${ORQ_SYSROOT})
# The package files inside the folder speak of / and mean the folder.
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${ORQ_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${ORQ_SYSROOT}/usr/lib/${ORQ_CROSS}-linux-gnu/pkgconfig:${ORQ_SYSROOT}/usr/share/pkgconfig)
