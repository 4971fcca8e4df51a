# sign(<file>...): signs them when the environment names a certificate, a key or a module.
function(sign)
    if(NOT "$ENV{ORVANTA_SIGNING_CERTIFICATE}$ENV{ORVANTA_SIGNING_KEY}$ENV{ORVANTA_SIGNING_MODULE}" STREQUAL "")
        execute_process(COMMAND "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/sign" ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
    endif()
endfunction()
