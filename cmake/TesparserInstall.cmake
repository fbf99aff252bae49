# What is installed, where, and in which package: component `library` what runs, `development` what builds against it,
# `c_library` and `c_development` the same of the C face, `tools` the viewer with the sample replies.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# An installed tree can be moved as a whole. Packages for the system's own directories need no search path; they set
# CMAKE_SKIP_INSTALL_RPATH.
if(NOT CMAKE_INSTALL_RPATH)
  file(RELATIVE_PATH from_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(tesparser PROPERTIES INSTALL_RPATH "$ORIGIN")
  if(TARGET tesparser_c)
    set_target_properties(tesparser_c PROPERTIES INSTALL_RPATH "$ORIGIN")
  endif()
  if(TARGET tesview)
    set_target_properties(tesview PROPERTIES INSTALL_RPATH "$ORIGIN/${from_bin_to_lib}")
  endif()
endif()

# The same bytes whenever it is made.
find_program(GZIP gzip REQUIRED)
function(tesparser_compress from to)
  execute_process(COMMAND ${GZIP} -9nc ${PROJECT_SOURCE_DIR}/${from} OUTPUT_FILE ${PROJECT_BINARY_DIR}/${to}
                  COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${from})
endfunction()

# ---- libraries and headers

target_include_directories(tesparser INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_include_directories(tsl_base INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
install(TARGETS tesparser tsl_base EXPORT tesparser
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
install(FILES tesparser/tesparser.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tesparser COMPONENT development)
install(FILES ${TSL_BASE_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tsl_base COMPONENT development)

if(TARGET tesparser_c)
  target_include_directories(tesparser_c INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  install(TARGETS tesparser_c EXPORT tesparser_c
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT c_library NAMELINK_COMPONENT c_development)
  install(FILES capi/tesparser_c.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT c_development)
endif()

# ---- how others find them

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/tesparser)
install(EXPORT tesparser NAMESPACE tesparser:: FILE tesparser-targets.cmake
  DESTINATION ${config_dir} COMPONENT development)
if(TARGET tesparser_c)
  # In a file of its own, since it may not be installed.
  install(EXPORT tesparser_c NAMESPACE tesparser:: FILE tesparser_c-targets.cmake
    DESTINATION ${config_dir} COMPONENT c_development)
endif()
configure_package_config_file(packaging/tesparser-config.cmake.in ${PROJECT_BINARY_DIR}/tesparser-config.cmake
  INSTALL_DESTINATION ${config_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tesparser-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tesparser-config.cmake ${PROJECT_BINARY_DIR}/tesparser-config-version.cmake
  DESTINATION ${config_dir} COMPONENT development)

# Relative to where the file stands, so that pkg-config too follows a tree that was moved.
file(RELATIVE_PATH PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" PC_PREFIX "${PC_PREFIX}")
file(RELATIVE_PATH PC_LIBDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH PC_INCLUDEDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
set(packages tesparser tsl_base)
if(TESPARSER_TSL_BASE STREQUAL "external")
  set(packages tesparser)
  set(PC_REQUIRES "")
else()
  set(PC_REQUIRES "Requires: tsl_base = ${PROJECT_VERSION}")
endif()
foreach(package IN LISTS packages)
  configure_file(packaging/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

if(TARGET tesparser_c)
  configure_file(packaging/tesparser_c.pc.in ${PROJECT_BINARY_DIR}/tesparser_c.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/tesparser_c.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT c_development)
endif()

# ---- documents and examples

install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT development FILES_MATCHING PATTERN "*.md")
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development
  PATTERN "*.cmake" EXCLUDE PATTERN CMakeLists.txt EXCLUDE)

# ---- the viewer, its manual page and completions, the samples

if(TARGET tesview)
  install(TARGETS tesview RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  tesparser_compress(docs/tesview.1 tesview.1.gz)
  install(FILES ${PROJECT_BINARY_DIR}/tesview.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES packaging/completions/tesview.bash RENAME tesview
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  install(FILES packaging/completions/_tesview
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT tools)
  install(FILES packaging/completions/tesview.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT tools)

  install(DIRECTORY samples/ DESTINATION ${CMAKE_INSTALL_DATADIR}/tesparser/samples COMPONENT tools
    FILES_MATCHING PATTERN "*.txtpb")
  install(FILES ${SAMPLE_BINARIES} DESTINATION ${CMAKE_INSTALL_DATADIR}/tesparser/samples COMPONENT tools)
endif()

include(TesparserPackages)
