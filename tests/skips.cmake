# The only reasons for which a test may leave something out. Fails where another one is given. On other
# systems than Windows, CTest fails a test that says it has left something out.
cmake_policy(VERSION 3.25)

set(reasons
    "Files refuse no reading by their permissions on Windows"
    "Folders refuse nothing by their permissions on Windows"
    "Making a symbolic link takes a privilege on Windows"
    "No file leads to itself on Windows"
    "No folder leads to itself on Windows"
    "Saved identifiers beyond ASCII need a UTF-8 code page"
    "This machine does not let programs have a network of their own.")

set(unknown "")
file(GLOB_RECURSE sources
    ${CMAKE_CURRENT_LIST_DIR}/*.cpp ${CMAKE_CURRENT_LIST_DIR}/*.h ${CMAKE_CURRENT_LIST_DIR}/*.py)
foreach(source IN LISTS sources)
    file(STRINGS ${source} skips REGEX "QSKIP|[sS]kipTest|skipIf|skipUnless|unittest.skip")
    foreach(skip IN LISTS skips)
        string(REGEX MATCH "\"(.*)\"" text "${skip}")
        if(NOT CMAKE_MATCH_1 IN_LIST reasons)
            string(APPEND unknown "\n${source}: ${skip}")
        endif()
    endforeach()
endforeach()
if(unknown)
    message(FATAL_ERROR "Expected a reason of tests/skips.cmake, found:${unknown}")
endif()
