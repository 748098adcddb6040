# The library of all rooms, `xvwriterffm`, as hosts link it.
get_property(rooms GLOBAL PROPERTY XV_ROOMS)

if(XV_LIBRARY_FORM STREQUAL SHARED)
  set(exports ${PROJECT_SOURCE_DIR}/src/server/exports.map)
  add_library(xvwriterffm SHARED $<TARGET_OBJECTS:xv_server>)
  set_target_properties(xvwriterffm PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINK_DEPENDS ${exports})
  target_link_options(xvwriterffm PRIVATE -Wl,--version-script=${exports}
    -Wl,-u,XvStringAlloc -Wl,-u,XvFrameFactoryGet -Wl,-u,XvSetWarningHandler
    -Wl,-u,XvTraceSinkSet)
  target_link_libraries(xvwriterffm PRIVATE xv_server)
else()
  list(TRANSFORM rooms REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>")
  add_library(xvwriterffm STATIC ${rooms})
  target_link_libraries(xvwriterffm PRIVATE ${XV_LIBRARY_NEEDS})
endif()

add_library(XvWriterFFM::xvwriterffm ALIAS xvwriterffm)
target_compile_features(xvwriterffm PUBLIC cxx_std_20)
target_include_directories(xvwriterffm PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)
