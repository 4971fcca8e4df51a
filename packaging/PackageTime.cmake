# Read by CPack before it makes a package. Every file in it gets the time of the commit, in the same
# time zone, so that packages of one commit are the same bytes wherever and whenever they are made.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
    execute_process(
        COMMAND git -C "${CMAKE_CURRENT_LIST_DIR}" log -1 --format=%ct
        OUTPUT_VARIABLE commit_time
        OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
    set(ENV{SOURCE_DATE_EPOCH} ${commit_time})
endif()
set(ENV{TZ} UTC)
