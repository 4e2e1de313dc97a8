# What `cmake --install` puts where, and the Debian packages that `cpack` makes of it: `kelvane`, the command, and
# `libkelvane-dev`, what hosts are built with.
include(CMakePackageConfigHelpers)

set(config_folder "${CMAKE_INSTALL_LIBDIR}/cmake/Kelvane")
set(document_folder "${CMAKE_INSTALL_DATAROOTDIR}/doc")
# What is installed without a word about its component belongs to the command.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME command)

# Installs a room for hosts: its library, and those of its headers that hosts may include.
function(kelvane_install folder) # [EXPORT NAME] HEADERS...
  cmake_parse_arguments(ROOM "" "EXPORT" "HEADERS" ${ARGN})
  if(NOT ROOM_EXPORT)
    set(ROOM_EXPORT KelvaneTargets)
  endif()
  string(REPLACE "/" "_" name "kelvane_${folder}")
  install(TARGETS ${name} EXPORT ${ROOM_EXPORT}
          ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
  list(TRANSFORM ROOM_HEADERS PREPEND "${PROJECT_SOURCE_DIR}/${folder}/")
  install(FILES ${ROOM_HEADERS} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kelvane/${folder}" COMPONENT development)
endfunction()

# The targets of an export set, found by KelvaneConfig.cmake.
function(kelvane_install_targets export)
  install(EXPORT ${export} NAMESPACE Kelvane:: DESTINATION "${config_folder}" COMPONENT development)
endfunction()

kelvane_install(model HEADERS array.h attributes.h boolean.h collections.h common.h diff_schema.h enumerations.h
                fields.h first_match_index.h runtime_error.h scalar.h schema.h text.h)
kelvane_install(ado HEADERS ado.h client_recordset.h recordset_errors.h value.h)
kelvane_install(host HEADERS host.h)
kelvane_install(settings HEADERS applies_to.h comparison_options.h)
kelvane_install(reader HEADERS ase_fetch.h browsing.h fetch_context.h idb_fetch.h schema_fetch.h)
kelvane_install(diff HEADERS compare_diff.h)
kelvane_install(compare HEADERS compare_schema.h)
kelvane_install(data HEADERS table_comparison.h)
kelvane_install(inventory HEADERS attributes.h families.h kinds.h name_pattern.h near_names.h rare.h records.h selection.h
                shown.h)
kelvane_install(inventory/browse HEADERS search.h sheet.h)
kelvane_install(inventory/compare HEADERS changes.h compare.h titles.h)
kelvane_install(inventory/ddl HEADERS ddl.h script.h)
kelvane_install(change_script HEADERS plan.h renames.h steps.h write.h)
kelvane_install(inventory/read HEADERS reader.h)
kelvane_install(inventory/publish HEADERS agreement.h catalog_fetch.h publish.h)
install(TARGETS kelvane_component EXPORT KelvaneTargets)
install(FILES kelvane.h DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kelvane" COMPONENT development)
kelvane_install_targets(KelvaneTargets)

configure_file(cmake/KelvaneConfig.cmake.in KelvaneConfig.cmake @ONLY)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/KelvaneConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/KelvaneConfig.cmake" "${PROJECT_BINARY_DIR}/KelvaneConfigVersion.cmake"
        DESTINATION "${config_folder}" COMPONENT development)
install(FILES LICENSE DESTINATION "${document_folder}/libkelvane-dev" COMPONENT development RENAME copyright)

if(KELVANE_TOOLS)
  # Sets of their own: a host without them needs no SQLite and no ODBC.
  kelvane_install(drivers/embedded EXPORT KelvaneEmbeddedTargets HEADERS connection.h made_object.h options.h script.h)
  kelvane_install_targets(KelvaneEmbeddedTargets)
  kelvane_install(drivers/odbc EXPORT KelvaneOdbcTargets HEADERS connection.h)
  kelvane_install_targets(KelvaneOdbcTargets)

  install(TARGETS kelvane)
  install(FILES LICENSE DESTINATION "${document_folder}/kelvane" RENAME copyright)
  install(FILES CHANGELOG.md docs/ci.md docs/command.md docs/compared.md docs/live-servers.md docs/report-v2.schema.json
                docs/differences.schema.json docs/script.schema.json DESTINATION "${document_folder}/kelvane")
  install(DIRECTORY examples DESTINATION "${document_folder}/kelvane" PATTERN windows EXCLUDE)
endif()

if(NOT PROJECT_IS_TOP_LEVEL OR NOT KELVANE_TOOLS)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_CONTACT "The Kelvane developers")
set(CPACK_COMPONENTS_ALL command development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME kelvane)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION database)
set(CPACK_DEBIAN_COMMAND_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_COMMAND_PACKAGE_RECOMMENDS "git, tdsodbc, unixodbc")
set(CPACK_COMPONENT_COMMAND_DESCRIPTION "compares Sybase ASE databases
Kelvane says whether two Sybase Adaptive Server Enterprise databases are
the same, and exactly where they are not. A side is a live server, scripts
or a snapshot; the outcome is text, JSON or a page for the browser.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libkelvane-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS "libsqlite3-dev, unixodbc-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "compares Sybase ASE databases - development files
The component behind the kelvane command as static libraries with their
headers, for programs that read and compare schemas of Sybase Adaptive
Server Enterprise themselves. CMake finds it as the package Kelvane. The
drivers for scripts and for servers need libsqlite3-dev and unixodbc-dev.")
include(CPack)
