# Cross-compiles for 64-bit Windows with the MinGW-w64 POSIX-threads toolchain of Debian.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(KSDIAG_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${KSDIAG_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KSDIAG_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${KSDIAG_MINGW_PREFIX}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${KSDIAG_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

# Every executable runs under Wine; the wrapper fixes the prefix and silences Wine's own chatter.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run)

# No MinGW runtime DLL may be needed next to the executables.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
