# What a prefix gets: the library, its headers, pkg-config file and CMake package, the file that
# names its class, xvrecord and xvfollow with their manual pages, and the completion in bash. All
# paths in these files are relative to where they stand, so that the prefix can be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(XV_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/XvWriterFFM)
set(XV_CLASS_DIR ${CMAKE_INSTALL_DATADIR}/xvwriter/classes)
set(XV_MADE ${CMAKE_BINARY_DIR}/install)

file(RELATIVE_PATH XV_PKGCONFIG_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
file(RELATIVE_PATH XV_BIN_TO_LIB /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
file(RELATIVE_PATH XV_CLASSES_TO_LIB /prefix/${XV_CLASS_DIR} /prefix/${CMAKE_INSTALL_LIBDIR})
set(XV_CLASS_ID 4c93300c-351a-422f-ae57-a8a5a9777c4c) # CLSID_CoXvWriterFFM_I

configure_file(cmake/install/xvwriterffm.pc.in ${XV_MADE}/xvwriterffm.pc @ONLY)
configure_file(cmake/install/class.toml.in ${XV_MADE}/${XV_CLASS_ID}.toml @ONLY)
configure_package_config_file(cmake/install/XvWriterFFMConfig.cmake.in
  ${XV_MADE}/XvWriterFFMConfig.cmake INSTALL_DESTINATION ${XV_PACKAGE_DIR})
write_basic_package_version_file(${XV_MADE}/XvWriterFFMConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)

set_target_properties(xvrecord PROPERTIES INSTALL_RPATH "$ORIGIN/${XV_BIN_TO_LIB}")
install(TARGETS xvwriterffm xv_public EXPORT XvWriterFFMTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS xvrecord xvfollow DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/xvwriter DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT XvWriterFFMTargets NAMESPACE XvWriterFFM:: DESTINATION ${XV_PACKAGE_DIR})
install(FILES ${XV_MADE}/XvWriterFFMConfig.cmake ${XV_MADE}/XvWriterFFMConfigVersion.cmake
  DESTINATION ${XV_PACKAGE_DIR})
install(FILES ${XV_MADE}/xvwriterffm.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
install(FILES ${XV_MADE}/${XV_CLASS_ID}.toml DESTINATION ${XV_CLASS_DIR})
install(FILES docs/xvrecord.1 docs/xvfollow.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES tools/xvrecord/xvrecord.bash RENAME xvrecord
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
