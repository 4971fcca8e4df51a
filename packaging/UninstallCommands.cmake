# Read by CPack before it makes a package: what the uninstaller removes, file by file, for
# NSIS.template.in. CPack's own list depends on the file system's order of files.
set(root "${CPACK_TEMPORARY_DIRECTORY}")
file(GLOB_RECURSE files RELATIVE "${root}" "${root}/*")
file(GLOB_RECURSE folders LIST_DIRECTORIES ON RELATIVE "${root}" "${root}/*")
list(REMOVE_ITEM folders ${files})
# What lies within a folder goes before it.
list(REVERSE folders)

list(TRANSFORM files REPLACE "(.+)" "    Delete \"$INSTDIR\\\\\\1\"\n")
list(TRANSFORM folders REPLACE "(.+)" "    RMDir \"$INSTDIR\\\\\\1\"\n")
string(CONCAT UNINSTALL_COMMANDS ${files} ${folders})
string(REPLACE "/" "\\" UNINSTALL_COMMANDS "${UNINSTALL_COMMANDS}")
