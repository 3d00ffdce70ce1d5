# Fails unless IMAGE still carries the debug information that names its crash frames:
# the DWARF sections, and DWARF version 4 for every compile unit of the product's own
# sources (under SOURCE_DIR). Wine's symbol handler reads version 4; GCC 12 would
# write version 5 if the project's -gdwarf-4 were lost. Units of the prebuilt runtime
# libraries are whatever their builders chose and are not examined.
#
#   cmake -DOBJDUMP=<objdump> -DIMAGE=<exe> -DSOURCE_DIR=<repository> -P CheckShippedSymbols.cmake

foreach(variable OBJDUMP IMAGE SOURCE_DIR)
    if(NOT DEFINED ${variable})
        message(FATAL_ERROR "${variable} is not set")
    endif()
endforeach()

execute_process(COMMAND ${OBJDUMP} -h ${IMAGE} OUTPUT_VARIABLE sections RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cannot read the sections of ${IMAGE}")
endif()
foreach(section .debug_info .debug_abbrev .debug_line)
    if(NOT sections MATCHES " ${section} ")
        message(FATAL_ERROR "${IMAGE} has no ${section} section: its symbols were stripped")
    endif()
endforeach()

# Unit headers and their top entry only: the version, then the unit's source name.
execute_process(COMMAND ${OBJDUMP} --dwarf=info --dwarf-depth=1 ${IMAGE} OUTPUT_VARIABLE dump RESULT_VARIABLE result)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cannot read the debug information of ${IMAGE}")
endif()
string(REPLACE ";" "," dump "${dump}")
string(REPLACE "Compilation Unit @" ";" units "${dump}")

set(productUnits 0)
foreach(unit IN LISTS units)
    if(NOT unit MATCHES "DW_AT_name[^\n]*: ([^\n]*)")
        continue()
    endif()
    set(name "${CMAKE_MATCH_1}")
    string(FIND "${name}" "${SOURCE_DIR}/" position)
    if(NOT position EQUAL 0)
        continue()
    endif()
    math(EXPR productUnits "${productUnits} + 1")
    if(NOT unit MATCHES "Version:[ \t]+4\n")
        message(FATAL_ERROR "${name} is not described in DWARF version 4 in ${IMAGE}")
    endif()
endforeach()

if(productUnits EQUAL 0)
    message(FATAL_ERROR "${IMAGE} describes none of the sources under ${SOURCE_DIR}")
endif()
message(STATUS "${IMAGE}: ${productUnits} compile units of the product in DWARF 4")
