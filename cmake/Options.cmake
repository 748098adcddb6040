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

# The Python package is for the system's interpreter, whose package it becomes; XVWRITER_PYTHON names
# another. It needs the shared library, and is left out of sanitized builds: the interpreter would
# have to be instrumented as well.
set(XVWRITER_PYTHON /usr/bin/python3 CACHE FILEPATH "Interpreter that the Python package is for")
set(can_build_python OFF)
if(XV_LIBRARY_FORM STREQUAL SHARED AND NOT XV_SANITIZE)
  set(can_build_python ON)
endif()
if(can_build_python AND NOT DEFINED XVWRITER_BUILD_PYTHON AND PROJECT_IS_TOP_LEVEL)
  set(Python_EXECUTABLE ${XVWRITER_PYTHON})
  set(PYBIND11_FINDPYTHON ON)
  find_package(Python 3.9 QUIET COMPONENTS Interpreter Development.Module)
  find_package(pybind11 2.9 QUIET CONFIG)
  set(python_found ${pybind11_FOUND})
endif()
option(XVWRITER_BUILD_PYTHON "Build the Python package; on where pybind11 and Python.h are found"
  ${python_found})
set(XV_PYTHON OFF)
if(XVWRITER_BUILD_PYTHON AND can_build_python)
  set(XV_PYTHON ON)
elseif(PROJECT_IS_TOP_LEVEL)
  message(STATUS "The Python package is not built (XVWRITER_BUILD_PYTHON)")
endif()
