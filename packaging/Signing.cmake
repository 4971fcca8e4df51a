# Read by CPack before it makes a package: signs every executable and library, and has NSIS sign the
# installer and its uninstaller, when the environment names a certificate, a key or a module.
set(SIGNING_COMMANDS "")
if("$ENV{ORVANTA_SIGNING_CERTIFICATE}$ENV{ORVANTA_SIGNING_KEY}$ENV{ORVANTA_SIGNING_MODULE}" STREQUAL "")
    return()
endif()

set(sign "${CMAKE_CURRENT_LIST_DIR}/sign")
file(GLOB_RECURSE files "${CPACK_TEMPORARY_DIRECTORY}/*.exe" "${CPACK_TEMPORARY_DIRECTORY}/*.dll")
execute_process(COMMAND "${sign}" ${files} COMMAND_ERROR_IS_FATAL ANY)
set(SIGNING_COMMANDS "!uninstfinalize '\"${sign}\" \"%1\"' = 0\n!finalize '\"${sign}\" \"%1\"' = 0")
