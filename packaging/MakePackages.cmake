# Run by CPack when it has made its zip of the installed files: signs the files, makes the zip again, and
# makes the MSI of the same files.
include("${CMAKE_CURRENT_LIST_DIR}/Signing.cmake")
cmake_path(GET CPACK_TEMPORARY_DIRECTORY PARENT_PATH folder)
set(name "${CPACK_PACKAGE_FILE_NAME}")
set(zip "${CPACK_PACKAGE_FILES}")
set(msi "${CPACK_PACKAGE_DIRECTORY}/${name}.msi")

# run(<command>...): runs it beside the folder of installed files, and stops when it fails.
function(run)
    execute_process(${ARGV} WORKING_DIRECTORY "${folder}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(GLOB_RECURSE runnable "${folder}/${name}/*.exe" "${folder}/${name}/*.dll")
sign(${runnable})
include("${CMAKE_CURRENT_LIST_DIR}/Components.cmake")

# CPack's own zip depends on the file system's order of files and on the user who makes it.
file(GLOB_RECURSE files RELATIVE "${folder}" "${folder}/${name}/*")
file(REMOVE "${zip}")
run(COMMAND touch --date=@$ENV{SOURCE_DATE_EPOCH} ${files})
run(COMMAND zip -q -9 -X "${zip}" ${files})

# The upgrade code names the program, for ever. The others are derived from it, so that the same input
# gives the same package: one for each version and customer, and one for each content.
set(UPGRADE_CODE BE04FD5D-40C3-4A31-B147-58667F650768)
string(UUID PRODUCT_CODE NAMESPACE ${UPGRADE_CODE} TYPE SHA1 UPPER
    NAME "${CPACK_PACKAGE_VERSION} ${CPACK_ORVANTA_CUSTOMER_ID}")
string(REGEX MATCH "^(.*\\.)([0-9]+)$" version "${CPACK_PACKAGE_VERSION}")
math(EXPR next_patch "${CMAKE_MATCH_2} + 1")
set(NEXT_VERSION "${CMAKE_MATCH_1}${next_patch}")
string(REPLACE "&" "&amp;" COMMENT "${CPACK_PACKAGE_DESCRIPTION_SUMMARY}")
string(REPLACE "<" "&lt;" COMMENT "${COMMENT}")
string(REPLACE "\"" "&quot;" COMMENT "${COMMENT}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/OrvantaConfigurator.wxs.in" "${folder}/package.wxs" @ONLY)
file(SHA256 "${zip}" zip_sum)
file(SHA256 "${folder}/package.wxs" package_sum)
string(UUID package_code NAMESPACE ${UPGRADE_CODE} TYPE SHA1 UPPER NAME "${zip_sum} ${package_sum}")

file(COPY "${CPACK_PACKAGE_ICON}" DESTINATION "${folder}")
# wixl-heat gives the folders random identifiers.
run(COMMAND find "${name}" -type f -printf "./%P\\n"
    COMMAND env LC_ALL=C sort
    COMMAND wixl-heat --prefix ./ --directory-ref ProgramFolder --component-group Files --var var.Files --win64
    COMMAND awk "/<Directory Id=/ { sub(/dir[0-9A-F]+/, \"Folder\" ++number) } 1"
    OUTPUT_FILE "${folder}/files.wxs")
string(TIMESTAMP commit_time "@%Y-%m-%d %H:%M:%S" UTC)
set(at_commit_time faketime -f "${commit_time}")
run(COMMAND ${at_commit_time} wixl --arch x64 --define Win64=yes --define "Files=${name}"
    --output "${msi}" package.wxs files.wxs)
# What wixl cannot write: the package's code, the search for a file in the place of a folder, and which
# properties the elevated half of the installation takes over.
run(COMMAND ${at_commit_time} msibuild "${msi}"
    -s "${CPACK_PACKAGE_INSTALL_DIRECTORY}" "${CPACK_PACKAGE_VENDOR}" "x64\;1033" "{${package_code}}")
run(COMMAND ${at_commit_time} msibuild "${msi}" -q
    "CREATE TABLE `DrLocator` (`Signature_` CHAR(72) NOT NULL, `Parent` CHAR(72), `Path` CHAR(255), \
`Depth` SHORT PRIMARY KEY `Signature_`, `Parent`, `Path`)"
    "INSERT INTO `DrLocator` (`Signature_`, `Path`) VALUES ('MakerFile', 'C:\\Users\\Public\\Documents')"
    "INSERT INTO `DrLocator` (`Signature_`, `Path`) VALUES ('DataFile', 'C:\\Users\\Public\\Documents\\Fennory')"
    "INSERT INTO `Signature` (`Signature`, `FileName`) VALUES ('MakerFile', 'Fennory')"
    "INSERT INTO `Signature` (`Signature`, `FileName`) VALUES ('DataFile', 'PMT2')"
    "INSERT INTO `AppSearch` (`Property`, `Signature_`) VALUES ('FILEASFOLDER', 'MakerFile')"
    "INSERT INTO `AppSearch` (`Property`, `Signature_`) VALUES ('FILEASFOLDER', 'DataFile')"
    "UPDATE `Property` SET `Value` = 'REPLACED\;NEWER\;WINDOWSBUILD\;FORMERINSTALLATION\;FILEASFOLDER' \
WHERE `Property` = 'SecureCustomProperties'")
sign("${msi}")
