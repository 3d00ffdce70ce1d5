# Checks the built ksdiag.exe with objdump -p: it imports KnownDLLs only (so no DLL
# planted next to it is loaded by the loader, and no MinGW runtime DLL has to travel
# with it) and it carries the application manifest and the version information.
#
#   cmake -DOBJDUMP=<objdump> -DIMAGE=<ksdiag.exe> -P CheckKsdiagImage.cmake

cmake_minimum_required(VERSION 3.25)

include(${CMAKE_CURRENT_LIST_DIR}/../cmake/SystemImports.cmake)
ksdiag_check_known_dll_imports(${OBJDUMP} ${IMAGE})
set(dump "${KSDIAG_IMAGE_DUMP}")

# Resource 1 of type 16 (the version information) and resource 1 of type 24 (the
# application manifest the loader reads). objdump indents the directory by level: three
# blanks before a type's entry, five before a name's.
string(REPLACE ";" "," dump_without_semicolons "${dump}")
string(REPLACE "\n" ";" lines "${dump_without_semicolons}")
set(type "")
set(found_version FALSE)
set(found_manifest FALSE)
foreach(line IN LISTS lines)
    if(line MATCHES "^[0-9a-f]+   Entry: ID: (0x[0-9a-f]+),")
        set(type "${CMAKE_MATCH_1}")
    elseif(line MATCHES "^[0-9a-f]+     Entry: ID: 0x000001,")
        if(type STREQUAL "0x000010")
            set(found_version TRUE)
        elseif(type STREQUAL "0x000018")
            set(found_manifest TRUE)
        endif()
    endif()
endforeach()
if(NOT found_version)
    message(FATAL_ERROR "${IMAGE} carries no version information (resource 1 of type 16)")
endif()
if(NOT found_manifest)
    message(FATAL_ERROR "${IMAGE} carries no application manifest (resource 1 of type 24)")
endif()
message(STATUS "resources: version information and application manifest present")
