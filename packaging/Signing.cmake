# Read by CPack before it makes a package: signs the program and has NSIS sign the installer and its
# uninstaller, when the environment names a certificate and its key.
set(SIGNING_COMMANDS "")
if(NOT DEFINED ENV{ORVANTA_SIGNING_CERTIFICATE} AND NOT DEFINED ENV{ORVANTA_SIGNING_KEY})
    return()
endif()

set(sign "${CMAKE_CURRENT_LIST_DIR}/sign")
execute_process(
    COMMAND "${sign}" "${CPACK_TEMPORARY_DIRECTORY}/${CPACK_PACKAGE_NAME}.exe"
    COMMAND_ERROR_IS_FATAL ANY)
set(SIGNING_COMMANDS "!uninstfinalize '\"${sign}\" \"%1\"' = 0\n!finalize '\"${sign}\" \"%1\"' = 0")
