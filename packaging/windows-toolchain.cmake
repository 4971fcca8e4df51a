# Builds for Windows x64 with Debian's MinGW-w64 compiler.
#
# ORVANTA_QT_WINDOWS names the folder of Qt for Windows. Left alone, it is the one that qt-windows.sh
# built. To use another Qt for MinGW, give its folder, and Qt of the same version for this machine
# as QT_HOST_PATH.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORVANTA_QT_WINDOWS)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

if(NOT DEFINED ORVANTA_QT_WINDOWS)
    execute_process(
        COMMAND "${CMAKE_CURRENT_LIST_DIR}/qt-windows.sh" --print-path
        OUTPUT_VARIABLE _qt_windows
        OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
    if(NOT EXISTS "${_qt_windows}")
        message(FATAL_ERROR "There is no Qt for Windows yet: run ${CMAKE_CURRENT_LIST_DIR}/qt-windows.sh, "
            "or give the folder of another one as ORVANTA_QT_WINDOWS.")
    endif()
    set(ORVANTA_QT_WINDOWS "${_qt_windows}" CACHE PATH "Folder of Qt for Windows (MinGW)")
endif()

if(EXISTS "${ORVANTA_QT_WINDOWS}/host")
    set(QT_HOST_PATH "${ORVANTA_QT_WINDOWS}/host" CACHE PATH "Folder of Qt for this machine")
endif()

set(CMAKE_FIND_ROOT_PATH "${ORVANTA_QT_WINDOWS}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# No folder of this machine in the files that are built.
set(_flags "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build -ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${ORVANTA_QT_WINDOWS}=qt")
string(APPEND _flags " -fstack-protector-strong")
set(_link_flags "-Wl,--dynamicbase,--nxcompat,--high-entropy-va,--no-insert-timestamp")

# Qt 6.8 needs newer Windows headers than Debian 12 has; they lie beside it.
if(EXISTS "${ORVANTA_QT_WINDOWS}/mingw")
    execute_process(
        COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=include
        OUTPUT_VARIABLE _gcc_include
        OUTPUT_STRIP_TRAILING_WHITESPACE
        COMMAND_ERROR_IS_FATAL ANY)
    set(_c_include "-isystem ${_gcc_include} -isystem ${_gcc_include}-fixed -isystem ${ORVANTA_QT_WINDOWS}/mingw/include")
    set(_cxx_include "-isystem ${_gcc_include}/c++ -isystem ${_gcc_include}/c++/x86_64-w64-mingw32 -isystem ${_gcc_include}/c++/backward")
    string(APPEND _flags " -nostdinc -B${ORVANTA_QT_WINDOWS}/mingw/lib")
    string(APPEND _link_flags " -L${ORVANTA_QT_WINDOWS}/mingw/lib")
endif()

set(CMAKE_C_FLAGS_INIT "${_flags} ${_c_include}")
set(CMAKE_CXX_FLAGS_INIT "${_flags} ${_cxx_include} ${_c_include}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${_link_flags}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${_link_flags}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${_link_flags}")

# The stack protector's functions come from the static library; GCC would take them from libssp-0.dll.
set(_libraries "-l:libssp.a -lkernel32 -luser32 -lgdi32 -lwinspool -lshell32 -lole32 -loleaut32 -luuid -lcomdlg32 -ladvapi32")
set(CMAKE_C_STANDARD_LIBRARIES "${_libraries}" CACHE STRING "Libraries linked into every C file")
set(CMAKE_CXX_STANDARD_LIBRARIES "${_libraries}" CACHE STRING "Libraries linked into every C++ file")
