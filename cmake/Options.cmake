# What is built. The library always is; everything else is on when this is the whole project, and
# off when the project is a part of another one.
option(XVWRITER_BUILD_TOOLS "Build xvrecord, xvfollow, xvhw and the catalogue's tools"
  ${PROJECT_IS_TOP_LEVEL})
option(XVWRITER_BUILD_TESTS "Build the tests; BUILD_TESTING=OFF leaves them out too"
  ${PROJECT_IS_TOP_LEVEL})
option(XVWRITER_BUILD_BENCHMARKS "Build the benchmarks" ${PROJECT_IS_TOP_LEVEL})
option(XVWRITER_BUILD_EXAMPLES "Build the examples" ${PROJECT_IS_TOP_LEVEL})
option(XVWRITER_INSTALL "Give rules that install the library, and those tools that are built"
  ${PROJECT_IS_TOP_LEVEL})
option(XV_WERROR "Treat warnings as errors" OFF)
set(XV_SANITIZE "" CACHE STRING "Sanitizers to build with, such as address,undefined or thread")

set(XV_TESTS ${XVWRITER_BUILD_TESTS})
if(DEFINED BUILD_TESTING AND NOT BUILD_TESTING)
  set(XV_TESTS OFF)
endif()

# The library is a shared one unless BUILD_SHARED_LIBS says that it is not.
set(XV_LIBRARY_FORM SHARED)
if(DEFINED BUILD_SHARED_LIBS AND NOT BUILD_SHARED_LIBS)
  set(XV_LIBRARY_FORM STATIC)
endif()

get_property(multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
if(PROJECT_IS_TOP_LEVEL AND NOT multi_config AND NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug, Release, RelWithDebInfo or MinSizeRel" FORCE)
endif()

# Where things are installed. GNUInstallDirs leaves entries in the cache, which are another
# project's to make where this one installs nothing.
if(XVWRITER_INSTALL)
  set(XV_DOC_DIR ${CMAKE_INSTALL_DOCDIR})
  include(GNUInstallDirs)
  if(NOT XV_DOC_DIR)
    set(XV_DOC_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/xvwriterffm)
  endif()
elseif(NOT CMAKE_INSTALL_LIBDIR)
  set(CMAKE_INSTALL_LIBDIR lib)
endif()
