# Read by CPack after it has made a package. Its zip depends on the file system's order of files and on
# the user who makes it, so the zip is made again.
if(NOT CPACK_GENERATOR STREQUAL "ZIP")
    return()
endif()

get_filename_component(folder "${CPACK_TEMPORARY_DIRECTORY}" DIRECTORY)
file(GLOB_RECURSE files RELATIVE "${folder}" "${CPACK_TEMPORARY_DIRECTORY}/*")
file(REMOVE ${CPACK_PACKAGE_FILES})
execute_process(
    COMMAND touch --date=@$ENV{SOURCE_DATE_EPOCH} ${files}
    COMMAND_ERROR_IS_FATAL ANY
    WORKING_DIRECTORY "${folder}")
execute_process(
    COMMAND zip -q -9 -X ${CPACK_PACKAGE_FILES} ${files}
    COMMAND_ERROR_IS_FATAL ANY
    WORKING_DIRECTORY "${folder}")
