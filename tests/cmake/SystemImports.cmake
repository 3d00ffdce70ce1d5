# ksdiag_check_system_imports(<objdump> <image>): fails unless the image imports from
# Windows system DLLs only, so that no MinGW runtime DLL has to travel with it.
#
# ksdiag_check_known_dll_imports(<objdump> <image>): stricter, for the executable that
# ships and runs elevated: fails on any import outside the KnownDLLs below. Windows
# loads a KnownDLL from System32 whatever folder the program runs from; any other DLL
# is looked for first in the program's own folder, where a planted copy would run with
# the administrator's rights. Other system DLLs are loaded at run time from System32
# only (base/DelayLoad.h with SearchSystem32).

# DLLs that every supported Windows carries in System32.
set(KSDIAG_SYSTEM_DLLS advapi32.dll kernel32.dll msvcrt.dll rpcrt4.dll shlwapi.dll tdh.dll version.dll psapi.dll
    user32.dll ole32.dll shell32.dll dbghelp.dll ntdll.dll)

# The values of HKLM\SYSTEM\CurrentControlSet\Control\Session Manager\KnownDLLs as
# 64-bit Windows 10 (22H2) and Windows 11 carry them (the key that Microsoft Learn's
# "Dynamic-link library search order" names as the list of known DLLs; the WOW64 and
# ARM64 emulation entries, which no x64 program imports, left out). Cross-checked against
# published listings of the \KnownDlls object directory of Windows 10 machines (for
# example in the issues of lucasg/Dependencies and microsoft/ebpf-for-windows), which
# hold each of these. To these: ntdll.dll, mapped into every process before anything
# else, and the api-ms-win-* API sets, which the loader resolves from its own schema and
# never from a folder.
set(KSDIAG_KNOWN_DLLS advapi32.dll clbcatq.dll combase.dll comdlg32.dll coml2.dll difxapi.dll gdi32.dll gdiplus.dll
    imagehlp.dll imm32.dll kernel32.dll msctf.dll msvcrt.dll normaliz.dll nsi.dll ole32.dll oleaut32.dll psapi.dll
    rpcrt4.dll sechost.dll setupapi.dll shcore.dll shell32.dll shlwapi.dll user32.dll wldap32.dll ws2_32.dll
    ntdll.dll)

# The lower-cased names of the DLLs the image imports, in KSDIAG_IMAGE_IMPORTS, and the
# whole objdump -p text in KSDIAG_IMAGE_DUMP, both in the caller's scope.
function(ksdiag_read_imports objdump image)
    execute_process(COMMAND ${objdump} -p ${image} OUTPUT_VARIABLE dump RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "objdump -p ${image} failed: ${result}")
    endif()
    string(REGEX MATCHALL "DLL Name: [^\r\n]+" lines "${dump}")
    if(NOT lines)
        message(FATAL_ERROR "no import table found in ${image}")
    endif()
    set(imports "")
    foreach(line IN LISTS lines)
        string(REPLACE "DLL Name: " "" dll "${line}")
        string(STRIP "${dll}" dll)
        string(TOLOWER "${dll}" dll)
        list(APPEND imports "${dll}")
    endforeach()
    set(KSDIAG_IMAGE_IMPORTS "${imports}" PARENT_SCOPE)
    set(KSDIAG_IMAGE_DUMP "${dump}" PARENT_SCOPE)
endfunction()

# Fails unless every import of the image is in the list or an API set.
function(ksdiag_check_imports_within objdump image allowed description)
    ksdiag_read_imports(${objdump} ${image})
    foreach(dll IN LISTS KSDIAG_IMAGE_IMPORTS)
        if(NOT dll IN_LIST ${allowed} AND NOT dll MATCHES "^api-ms-win-")
            message(FATAL_ERROR "${image} imports ${dll}, which is not ${description}")
        endif()
        message(STATUS "${image} imports ${dll}")
    endforeach()
    set(KSDIAG_IMAGE_DUMP "${KSDIAG_IMAGE_DUMP}" PARENT_SCOPE)
endfunction()

function(ksdiag_check_system_imports objdump image)
    ksdiag_check_imports_within(${objdump} ${image} KSDIAG_SYSTEM_DLLS "a Windows system DLL")
    set(KSDIAG_IMAGE_DUMP "${KSDIAG_IMAGE_DUMP}" PARENT_SCOPE)
endfunction()

function(ksdiag_check_known_dll_imports objdump image)
    ksdiag_check_imports_within(${objdump} ${image} KSDIAG_KNOWN_DLLS
                                "a KnownDLL (load it at run time from System32 instead)")
    set(KSDIAG_IMAGE_DUMP "${KSDIAG_IMAGE_DUMP}" PARENT_SCOPE)
endfunction()
