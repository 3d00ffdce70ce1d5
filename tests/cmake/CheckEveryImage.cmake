# Checks every executable and DLL the build produced: each imports from Windows system
# DLLs only (the toolchain links its own runtime statically).
#
#   cmake -DOBJDUMP=<objdump> -DBIN_DIR=<build>/bin -P CheckEveryImage.cmake

cmake_minimum_required(VERSION 3.25)
include(${CMAKE_CURRENT_LIST_DIR}/SystemImports.cmake)

file(GLOB images ${BIN_DIR}/*.exe ${BIN_DIR}/*.dll)
list(LENGTH images count)
if(count LESS 2)
    message(FATAL_ERROR "expected the built executables in ${BIN_DIR}, found ${count}")
endif()
foreach(image IN LISTS images)
    ksdiag_check_system_imports(${OBJDUMP} ${image})
endforeach()
message(STATUS "${count} images import from system DLLs only")
