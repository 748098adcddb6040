# What a prefix gets: the library, its headers, pkg-config file and CMake package, the file that
# names its class, the documents and examples, the programs with their manual pages and the
# completion in bash, the Python package and the GStreamer plugin. All paths in these files are
# relative to where they stand, so that the prefix can be moved; a folder that was given as an
# absolute path stays where it is.
set(XV_PROGRAMS)
set(XV_PLUGINS)
if(XVWRITER_BUILD_GSTREAMER)
  set(XV_PLUGINS gstxvwriter)
endif()
if(XVWRITER_BUILD_TOOLS)
  set(XV_PROGRAMS xvrecord xvfollow xvhw)
endif()
set(XV_PYTHON_TARGETS)
if(XV_PYTHON)
  set(XV_PYTHON_TARGETS python_package)
endif()
if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(library_and_tools
    DEPENDS xvwriterffm ${XV_PROGRAMS} ${XV_PYTHON_TARGETS} ${XV_PLUGINS})
endif()
if(NOT XVWRITER_INSTALL)
  return()
endif()
include(CMakePackageConfigHelpers)

set(XV_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/XvWriterFFM)
set(XV_CLASS_DIR ${CMAKE_INSTALL_DATADIR}/xvwriter/classes)
set(XV_MADE ${PROJECT_BINARY_DIR}/install)
set(XV_CLASS_ID 4c93300c-351a-422f-ae57-a8a5a9777c4c) # CLSID_CoXvWriterFFM_I

# xv_path_between(<variable> FROM TO): the path that leads from one installed folder to another; TO
# itself, complete, where one of them does not move with the prefix.
function(xv_path_between variable from to)
  if(IS_ABSOLUTE "${from}" OR IS_ABSOLUTE "${to}")
    get_filename_component(path "${to}" ABSOLUTE BASE_DIR "${CMAKE_INSTALL_PREFIX}")
  else()
    file(RELATIVE_PATH path "/prefix/${from}" "/prefix/${to}")
    string(REGEX REPLACE "/$" "" path "${path}")
  endif()
  set(${variable} "${path}" PARENT_SCOPE)
endfunction()

# xv_below_prefix(<variable> FOLDER): an installed folder in a pkg-config file.
function(xv_below_prefix variable folder)
  if(NOT IS_ABSOLUTE "${folder}")
    set(folder "\${prefix}/${folder}")
  endif()
  set(${variable} "${folder}" PARENT_SCOPE)
endfunction()

# xv_set_runpath(<target> <built folder> <installed folder>): the RUNPATH that leads from a program or
# module to the library, built and installed. The build tree's has it from the start: CMake would end
# one that it replaces with ":", which stands for the current folder.
function(xv_set_runpath program built_folder installed_folder)
  file(RELATIVE_PATH built ${built_folder} ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
  xv_path_between(installed "${installed_folder}" "${CMAKE_INSTALL_LIBDIR}")
  if(NOT IS_ABSOLUTE "${installed}")
    set(installed "$ORIGIN/${installed}")
  endif()
  set(paths "$ORIGIN/${built}" "${installed}")
  list(REMOVE_DUPLICATES paths)
  set_target_properties(${program} PROPERTIES
    INSTALL_RPATH "${paths}" BUILD_WITH_INSTALL_RPATH ON)
endfunction()

xv_path_between(XV_PC_PREFIX "${CMAKE_INSTALL_LIBDIR}/pkgconfig" "")
if(NOT IS_ABSOLUTE "${XV_PC_PREFIX}")
  set(XV_PC_PREFIX "\${pcfiledir}/${XV_PC_PREFIX}")
endif()
xv_below_prefix(XV_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
xv_below_prefix(XV_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
if(XV_LIBRARY_FORM STREQUAL STATIC)
  # No Requires.private: `pkg-config --static` would then ask for all that FFmpeg itself was built
  # with.
  list(JOIN XVWRITER_FFMPEG_LDFLAGS " " ffmpeg)
  list(JOIN XVWRITER_HWY_LDFLAGS " " highway)
  list(JOIN XVWRITER_MFX_LDFLAGS " " mfx)
  set(XV_PC_PRIVATE "Libs.private: ${ffmpeg} ${highway} ${mfx} -lfmt -pthread -ldl\n")
endif()
configure_file(cmake/install/xvwriterffm.pc.in ${XV_MADE}/xvwriterffm.pc @ONLY)
configure_package_config_file(cmake/install/XvWriterFFMConfig.cmake.in
  ${XV_MADE}/XvWriterFFMConfig.cmake INSTALL_DESTINATION ${XV_PACKAGE_DIR})
write_basic_package_version_file(${XV_MADE}/XvWriterFFMConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)

install(TARGETS xvwriterffm EXPORT XvWriterFFMTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(XV_LIBRARY_FORM STREQUAL SHARED)
  xv_path_between(XV_CLASSES_TO_LIB "${XV_CLASS_DIR}" "${CMAKE_INSTALL_LIBDIR}")
  configure_file(cmake/install/class.toml.in ${XV_MADE}/${XV_CLASS_ID}.toml @ONLY)
  install(FILES ${XV_MADE}/${XV_CLASS_ID}.toml DESTINATION ${XV_CLASS_DIR} COMPONENT library)
endif()

install(DIRECTORY include/xvwriter DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(EXPORT XvWriterFFMTargets NAMESPACE XvWriterFFM:: DESTINATION ${XV_PACKAGE_DIR}
  COMPONENT development)
install(FILES ${XV_MADE}/XvWriterFFMConfig.cmake ${XV_MADE}/XvWriterFFMConfigVersion.cmake
  DESTINATION ${XV_PACKAGE_DIR} COMPONENT development)
install(FILES ${XV_MADE}/xvwriterffm.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT development)
install(FILES README.md CHANGELOG.md DESTINATION ${XV_DOC_DIR} COMPONENT development)
install(DIRECTORY docs/ DESTINATION ${XV_DOC_DIR}/docs COMPONENT development
  FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")
install(DIRECTORY examples DESTINATION ${XV_DOC_DIR} COMPONENT development
  FILES_MATCHING PATTERN "*.cpp" PATTERN "*.h" REGEX "/encoder_module/." PATTERN "media" EXCLUDE
  PATTERN "many-machines" EXCLUDE)
install(DIRECTORY examples/many-machines DESTINATION ${XV_DOC_DIR}/examples COMPONENT development
  USE_SOURCE_PERMISSIONS)

if(XVWRITER_BUILD_TOOLS)
  foreach(program ${XV_PROGRAMS})
    get_target_property(linked ${program} LINK_LIBRARIES)
    if(XV_LIBRARY_FORM STREQUAL SHARED AND xvwriterffm IN_LIST linked)
      xv_set_runpath(${program} ${CMAKE_RUNTIME_OUTPUT_DIRECTORY} "${CMAKE_INSTALL_BINDIR}")
    endif()
  endforeach()
  install(TARGETS ${XV_PROGRAMS} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES docs/xvrecord.1 docs/xvfollow.1 docs/xvhw.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
    COMPONENT tools)
  # The unit names program and settings by complete paths, which are known when it is installed.
  set(XV_UNIT ${XV_MADE}/xvrecord@.service)
  install(CODE "
    get_filename_component(CMAKE_INSTALL_FULL_BINDIR \"${CMAKE_INSTALL_BINDIR}\" ABSOLUTE
      BASE_DIR \"\${CMAKE_INSTALL_PREFIX}\")
    set(XV_CONFIG_DIR \"\${CMAKE_INSTALL_PREFIX}/etc/xvrecord\")
    if(CMAKE_INSTALL_PREFIX STREQUAL /usr)
      set(XV_CONFIG_DIR /etc/xvrecord)
    endif()
    configure_file(\"${PROJECT_SOURCE_DIR}/packaging/systemd/xvrecord@.service.in\"
      \"${XV_UNIT}\" @ONLY)" COMPONENT tools)
  install(FILES ${XV_UNIT} DESTINATION lib/systemd/system COMPONENT tools)
  install(FILES packaging/systemd/channel.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/xvwriter
    COMPONENT tools)
  install(FILES packaging/grafana/xvrecord.json RENAME dashboard.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/xvwriter COMPONENT tools)
  install(FILES tools/xvrecord/xvrecord.bash RENAME xvrecord
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
endif()

if(XV_PYTHON)
  xv_set_runpath(xvwriter_python ${PROJECT_BINARY_DIR}/python/xvwriter
    "${XVWRITER_PYTHON_DIR}/xvwriter")
  install(TARGETS xvwriter_python DESTINATION ${XVWRITER_PYTHON_DIR}/xvwriter COMPONENT python)
  install(FILES ${XV_PYTHON_FILES} DESTINATION ${XVWRITER_PYTHON_DIR}/xvwriter COMPONENT python)
  install(FILES python/README.md python/examples/animation.py
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/python3-xvwriter COMPONENT python)
endif()
if(XV_PLUGINS)
  install(TARGETS ${XV_PLUGINS} DESTINATION ${CMAKE_INSTALL_LIBDIR}/gstreamer-1.0
    COMPONENT gstreamer)
endif()

if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall COMMAND ${CMAKE_COMMAND} -DBUILD=${PROJECT_BINARY_DIR}
    -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake VERBATIM)
  include(cmake/Packages.cmake)
endif()
