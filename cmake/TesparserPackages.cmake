# Debian packages, one for each component of the install:
#
#   cmake --preset package && cmake --build --preset package && cpack --config build/package/CPackConfig.cmake
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tesparser)
set(CPACK_PACKAGE_VENDOR "tesparser maintainers")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_COMPONENTS_ALL library development tools)
if(TARGET tesparser_c)
  list(APPEND CPACK_COMPONENTS_ALL c_library c_development)
endif()
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "tesparser maintainers <maintainers@tesparser.example>")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# Versions of what is depended on come from what was linked; our own two libraries are in the package itself, or come
# with the exact version below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set(same_version "libtesparser${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libtesparser${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "decoder of market-data replies\n\
 tesparser turns one reply of a market-data service into JSON text or into a\n\
 table with typed columns. This package has the shared libraries: the decoder\n\
 and tsl_base, which holds the tables.")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION ${CPACK_DEBIAN_LIBRARY_DESCRIPTION})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/debian/shlibs;${PROJECT_BINARY_DIR}/debian/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtesparser-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${same_version}")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "decoder of market-data replies (development files)\n\
 tesparser turns one reply of a market-data service into JSON text or into a\n\
 table with typed columns. This package has what is needed to build programs\n\
 with it: headers, package files for CMake and pkg-config, documents, examples.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION ${CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION})

set(CPACK_DEBIAN_C_LIBRARY_PACKAGE_NAME libtesparser-c${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_C_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_C_LIBRARY_PACKAGE_DEPENDS "${same_version}")
set(CPACK_DEBIAN_C_LIBRARY_DESCRIPTION "decoder of market-data replies, for C\n\
 tesparser turns replies of a market-data service into JSON text, into tables\n\
 with typed columns, and into Arrow arrays and streams. This package has the\n\
 shared library for C and for every language that can call C.")
set(CPACK_COMPONENT_C_LIBRARY_DESCRIPTION ${CPACK_DEBIAN_C_LIBRARY_DESCRIPTION})
set(CPACK_DEBIAN_C_LIBRARY_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/debian/c_library/shlibs;${PROJECT_BINARY_DIR}/debian/triggers)

set(CPACK_DEBIAN_C_DEVELOPMENT_PACKAGE_NAME libtesparser-c-dev)
set(CPACK_DEBIAN_C_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_C_DEVELOPMENT_PACKAGE_DEPENDS
  "libtesparser-c${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), libtesparser-dev (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_C_DEVELOPMENT_DESCRIPTION "decoder of market-data replies, for C (development files)\n\
 tesparser turns replies of a market-data service into JSON text, into tables\n\
 with typed columns, and into Arrow arrays and streams. This package has what\n\
 is needed to build programs in C with it: the header, package files for CMake\n\
 and pkg-config.")
set(CPACK_COMPONENT_C_DEVELOPMENT_DESCRIPTION ${CPACK_DEBIAN_C_DEVELOPMENT_DESCRIPTION})

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME tesparser-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${same_version}")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS xdg-utils)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "viewer of market-data replies\n\
 tesview shows replies of a market-data service as tables, JSON or CSV, from\n\
 files, logs and pipes. The package has sample replies as well.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION ${CPACK_DEBIAN_TOOLS_DESCRIPTION})

# The module fits the one Python that it was compiled for.
if(TESPARSER_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
  math(EXPR next_python "${Python_VERSION_MINOR} + 1")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-tesparser)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "${same_version}, python3-numpy, python3 (>= 3.${Python_VERSION_MINOR}), python3 (<< 3.${next_python})")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-pandas, python3-tqdm, python3-dask, python3-distributed, python3-fsspec")
  set(CPACK_DEBIAN_PYTHON_DESCRIPTION "decoder of market-data replies (Python module)\n\
 tesparser turns replies of a market-data service into tables, NumPy arrays, data\n\
 frames of pandas and Arrow streams. This package has the module for Python.")
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION ${CPACK_DEBIAN_PYTHON_DESCRIPTION})
endif()

file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs
  "libtesparser ${PROJECT_VERSION_MAJOR} libtesparser${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})\n"
  "libtsl_base ${PROJECT_VERSION_MAJOR} libtesparser${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})\n")
file(WRITE ${PROJECT_BINARY_DIR}/debian/c_library/shlibs
  "libtesparser_c ${PROJECT_VERSION_MAJOR} libtesparser-c${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})\n")
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")

# What Debian asks of every package. Both go under the system's own directories only.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  tesparser_compress(packaging/debian/changelog changelog.gz)
  foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    set(doc_dir ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    install(FILES ${PROJECT_BINARY_DIR}/changelog.gz packaging/debian/copyright
      DESTINATION ${doc_dir} COMPONENT ${component})
    if(EXISTS ${PROJECT_SOURCE_DIR}/packaging/debian/${component}.lintian-overrides)
      install(FILES packaging/debian/${component}.lintian-overrides RENAME ${CPACK_DEBIAN_${upper}_PACKAGE_NAME}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component})
    endif()
  endforeach()
endif()

include(CPack)
