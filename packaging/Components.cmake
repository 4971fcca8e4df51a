# Read by CPack when the files of a package are signed: adds their notices and the list of components.
string(TIMESTAMP time "%Y-%m-%dT%H:%M:%SZ" UTC)
execute_process(
    COMMAND "${CMAKE_CURRENT_LIST_DIR}/components.py" "${CPACK_TEMPORARY_DIRECTORY}"
        "${CPACK_PACKAGE_FILE_NAME}" "${CPACK_PACKAGE_VERSION}" ${time} "${CPACK_ORVANTA_QT_WINDOWS}"
    COMMAND_ERROR_IS_FATAL ANY)
