# What is known of a build: cmake -DVERSION= -DTEMPLATE= -DOUTPUT= -P build_stamps.cmake
function(first_line variable)
    execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C ${ARGN}
        OUTPUT_VARIABLE text OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    set(${variable} "${text}" PARENT_SCOPE)
endfunction()

first_line(BUILD_USER id -un)
if(BUILD_USER STREQUAL "")
    first_line(BUILD_USER id -u)
endif()
first_line(BUILD_MACHINE uname -a)
if("$ENV{SOURCE_DATE_EPOCH}" STREQUAL "")
    first_line(BUILD_TIME date -u)
else()
    first_line(BUILD_TIME date -u -d @$ENV{SOURCE_DATE_EPOCH})
endif()
configure_file(${TEMPLATE} ${OUTPUT} @ONLY)
