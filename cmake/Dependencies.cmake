# Each part's packages are looked up where that part is built: scripts/packages.txt names those of
# library and tools, packages-test.txt those of the tests, packages-bench.txt the benchmarks' peers.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(fmt REQUIRED)
set(XV_FFMPEG_MODULES
  libavformat>=59 libavcodec>=59 libavutil>=57 libswscale>=6 libswresample>=4)
# The prefixes are ours alone, since they are seen by a project around this one, and by a host of
# the static form.
pkg_check_modules(XVWRITER_FFMPEG REQUIRED IMPORTED_TARGET ${XV_FFMPEG_MODULES})
pkg_check_modules(XVWRITER_HWY REQUIRED IMPORTED_TARGET libhwy)
# Headers alone: the vendors' libraries are loaded at run time.
pkg_check_modules(XVWRITER_NVENC REQUIRED IMPORTED_TARGET ffnvcodec)
pkg_check_modules(XVWRITER_VA REQUIRED IMPORTED_TARGET libva)
# The dispatcher that finds Intel's runtimes. Its successor serves processors that came later.
option(XVWRITER_WITH_VPL "Link libvpl in the place of libmfx" OFF)
set(XV_MFX_MODULE libmfx)
set(XV_MFX_PACKAGE libmfx-dev)
if(XVWRITER_WITH_VPL)
  set(XV_MFX_MODULE vpl)
  set(XV_MFX_PACKAGE libvpl-dev)
endif()
pkg_check_modules(XVWRITER_MFX REQUIRED IMPORTED_TARGET ${XV_MFX_MODULE})
foreach(package FFMPEG HWY)
  if(NOT TARGET PkgConfig::${package})
    add_library(PkgConfig::${package} ALIAS PkgConfig::XVWRITER_${package})
  endif()
  set(${package}_CFLAGS_OTHER ${XVWRITER_${package}_CFLAGS_OTHER})
  set(${package}_LINK_LIBRARIES ${XVWRITER_${package}_LINK_LIBRARIES})
endforeach()

# What the library links: a host of the static form links it too.
set(XV_LIBRARY_NEEDS PkgConfig::XVWRITER_FFMPEG PkgConfig::XVWRITER_HWY
  PkgConfig::XVWRITER_MFX fmt::fmt Threads::Threads ${CMAKE_DL_LIBS})

if(XVWRITER_BUILD_TOOLS OR XV_TESTS)
  find_package(CLI11 REQUIRED)
  find_package(nlohmann_json REQUIRED)
endif()
if(XV_TESTS)
  find_package(GTest REQUIRED)
endif()
if(XV_PYTHON)
  set(Python_EXECUTABLE ${XVWRITER_PYTHON})
  set(PYBIND11_FINDPYTHON ON)
  find_package(Python 3.9 REQUIRED COMPONENTS Interpreter Development.Module)
  find_package(pybind11 2.9 REQUIRED CONFIG)
endif()

# The GStreamer plugin goes where GStreamer is.
pkg_check_modules(XVWRITER_GST QUIET IMPORTED_TARGET gstreamer-1.0>=1.20 gstreamer-base-1.0
  gstreamer-video-1.0 gstreamer-audio-1.0 gstreamer-tag-1.0)
set(gstreamer OFF)
if(XVWRITER_GST_FOUND AND PROJECT_IS_TOP_LEVEL AND XV_LIBRARY_FORM STREQUAL SHARED)
  set(gstreamer ON)
endif()
option(XVWRITER_BUILD_GSTREAMER "Build the GStreamer plugin" ${gstreamer})
if(XVWRITER_BUILD_GSTREAMER AND NOT XVWRITER_GST_FOUND)
  message(FATAL_ERROR "XVWRITER_BUILD_GSTREAMER needs libgstreamer1.0-dev and "
    "libgstreamer-plugins-base1.0-dev")
endif()
message(STATUS "GStreamer plugin: ${XVWRITER_BUILD_GSTREAMER}")
