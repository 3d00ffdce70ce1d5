# ksdiag_check_system_imports(<objdump> <image>): fails unless the image imports from
# Windows system DLLs only, so that no MinGW runtime DLL has to travel with it.

# DLLs that every supported Windows carries in System32.
set(KSDIAG_SYSTEM_DLLS advapi32.dll kernel32.dll msvcrt.dll rpcrt4.dll shlwapi.dll tdh.dll version.dll psapi.dll
    user32.dll ole32.dll shell32.dll dbghelp.dll ntdll.dll)

function(ksdiag_check_system_imports objdump image)
    execute_process(COMMAND ${objdump} -p ${image} OUTPUT_VARIABLE dump RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "objdump -p ${image} failed: ${result}")
    endif()
    string(REGEX MATCHALL "DLL Name: [^\r\n]+" imports "${dump}")
    if(NOT imports)
        message(FATAL_ERROR "no import table found in ${image}")
    endif()
    foreach(import IN LISTS imports)
        string(REPLACE "DLL Name: " "" dll "${import}")
        string(STRIP "${dll}" dll)
        string(TOLOWER "${dll}" dll)
        if(NOT dll IN_LIST KSDIAG_SYSTEM_DLLS AND NOT dll MATCHES "^api-ms-win-")
            message(FATAL_ERROR "${image} imports ${dll}, which is not a Windows system DLL")
        endif()
        message(STATUS "${image} imports ${dll}")
    endforeach()
    set(KSDIAG_IMAGE_DUMP "${dump}" PARENT_SCOPE)
endfunction()
