# Cross-compiles for 64-bit Windows with Debian's MinGW. QT_WINDOWS_PREFIX, a cache or environment variable, names the
# prefix of a QtCore 5.15 that was built with the same compiler.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix) # of GoogleTest
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)

if(NOT QT_WINDOWS_PREFIX)
    set(QT_WINDOWS_PREFIX $ENV{QT_WINDOWS_PREFIX} CACHE PATH "Prefix of a QtCore for Windows")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QT_WINDOWS_PREFIX)
set(CMAKE_FIND_ROOT_PATH ${QT_WINDOWS_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The compiler's own libraries go into the binaries, which then need none but Qt's, and are not exported again.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -Wl,--exclude-libs,ALL")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static -Wl,--exclude-libs,ALL")

# Programs run in Wine: tests, and what a build runs of its own.
set(CMAKE_CROSSCOMPILING_EMULATOR
    ${CMAKE_COMMAND} -E env QT_WINDOWS_PREFIX=${QT_WINDOWS_PREFIX} ${CMAKE_CURRENT_LIST_DIR}/../scripts/run-in-wine)
