# Shared by scripts/test and scripts/run: prerequisites, the Wine environment and the
# build directory. Sourced, not run.

KSDIAG_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
KSDIAG_BUILD_DIR=${KSDIAG_BUILD_DIR:-$KSDIAG_ROOT/build}
export WINEPREFIX=${WINEPREFIX:-${XDG_CACHE_HOME:-$HOME/.cache}/ksdiag/wineprefix}
export WINEDEBUG=${WINEDEBUG:--all}

# wine64-preloader is only a recommendation of wine64, but without it Wine maps its
# fixed pages after the C library has been placed at random: about one start in a
# thousand finds 0x7ffe0000 taken and wine64 quits at once with exit code 1 and no word.
# clang with its sanitizer and fuzzer runtimes builds the native half of the suite; python3
# reads ksdiag.exe's JSON output back in the tests.
ksdiag_packages=(cmake ninja-build g++-mingw-w64-x86-64-posix mingw-w64-tools wine64 wine64-preloader googletest python3
    clang libclang-rt-14-dev)

# Installs whichever Debian packages of the list are missing.
ksdiag_install_prerequisites() {
    local missing=()
    local package
    for package in "${ksdiag_packages[@]}"; do
        if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
            missing+=("$package")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    local sudo=()
    [ "$(id -u)" -ne 0 ] && sudo=(sudo)
    echo "Installing: ${missing[*]}" >&2
    "${sudo[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

KSDIAG_NATIVE_BUILD_DIR=${KSDIAG_NATIVE_BUILD_DIR:-$KSDIAG_BUILD_DIR-native}

# The native half: the log-file library and its tests, built for Linux with clang under
# AddressSanitizer and UndefinedBehaviorSanitizer.
ksdiag_configure_native() {
    cmake -S "$KSDIAG_ROOT/tests/native" -B "$KSDIAG_NATIVE_BUILD_DIR" -G Ninja \
        -DCMAKE_CXX_COMPILER=clang++ "$@" >&2
}

ksdiag_configure() {
    cmake -S "$KSDIAG_ROOT" -B "$KSDIAG_BUILD_DIR" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$KSDIAG_ROOT/cmake/toolchain-mingw64.cmake" "$@" >&2
}

ksdiag_wineserver() {
    if command -v wineserver >/dev/null 2>&1; then
        wineserver "$@"
    else
        /usr/lib/wine/wineserver64 "$@"
    fi
}

# Creates the Wine prefix on first use.
ksdiag_init_wine_prefix() {
    mkdir -p "$WINEPREFIX"
    if [ ! -f "$WINEPREFIX/system.reg" ]; then
        "$KSDIAG_ROOT/scripts/wine-run" wineboot --init >/dev/null 2>&1 || true
    fi
    # No just-in-time debugger, as on a Windows build machine: a process that dies of an
    # unhandled exception ends at once with the exception code as its exit code, instead
    # of waiting for winedbg to print a backtrace.
    "$KSDIAG_ROOT/scripts/wine-run" reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' \
        /v Debugger /t REG_SZ /d 'no-debugger-configured %ld %ld' /f </dev/null >/dev/null 2>&1 || true
}

# One persistent wineserver for the whole run: without it every Windows process pays
# Wine's start-up of about two seconds. Wine's own services (winedevice, explorer) start
# with the first program and keep its standard handles open, so the prefix set-up starts
# them here, detached, before any build step or test whose output a pipe collects.
ksdiag_start_wine() {
    mkdir -p "$WINEPREFIX"
    ksdiag_wineserver -p </dev/null >/dev/null 2>&1 || true  # 2: one already runs
    ksdiag_init_wine_prefix
    trap 'ksdiag_wineserver -k >/dev/null 2>&1 || true' EXIT
}
