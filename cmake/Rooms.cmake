# What every test program runs with: its own settings, and what sanitizers are to leave out.
set(XV_TEST_ENVIRONMENT
  "XVWRITER_SETTINGS=${PROJECT_BINARY_DIR}/test-settings.toml"
  "TSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/tsan.supp"
  "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/support/lsan.supp:print_suppressions=0")

# One folder of src/ is one static library, `xv_<room>`, with one test program, `<room>_test`.

add_library(xv_public INTERFACE)
target_include_directories(xv_public INTERFACE ${PROJECT_SOURCE_DIR}/include)

# xv_room(<name> SOURCES ... HEADERS ... DEPENDS ...): DEPENDS names libraries of lower floors.
function(xv_room name)
  cmake_parse_arguments(ROOM "" "" "SOURCES;HEADERS;DEPENDS" ${ARGN})
  add_library(xv_${name} STATIC ${ROOM_SOURCES} ${ROOM_HEADERS})
  target_include_directories(xv_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(xv_${name} PUBLIC ${ROOM_DEPENDS} PRIVATE xv_warnings)
  set_property(GLOBAL APPEND PROPERTY XV_ROOMS xv_${name})
endfunction()

# xv_room_test(<name> SOURCES ... DEPENDS ...): the room's test program, run by CTest as one test
# (give SHARDS n to run it as n parallel ones).
function(xv_room_test name)
  cmake_parse_arguments(TEST "" "SHARDS" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name}_test ${TEST_SOURCES})
  target_include_directories(${name}_test PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name}_test PRIVATE ${TEST_DEPENDS} GTest::gmock GTest::gtest_main
                                             xv_warnings)
  # GCC 12 sees overflows in std::string that are not there, most of all where tests join texts.
  target_compile_options(${name}_test PRIVATE
    -Wno-array-bounds)
  target_precompile_headers(${name}_test PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
  if(NOT TEST_SHARDS)
    set(TEST_SHARDS 1)
  endif()
  math(EXPR last "${TEST_SHARDS} - 1")
  foreach(shard RANGE ${last})
    set(test_name ${name})
    if(TEST_SHARDS GREATER 1)
      set(test_name ${name}.${shard})
    endif()
    add_test(NAME ${test_name} COMMAND ${name}_test --gtest_brief=1)
    set_tests_properties(${test_name} PROPERTIES TIMEOUT 900 ENVIRONMENT
      "GTEST_TOTAL_SHARDS=${TEST_SHARDS};GTEST_SHARD_INDEX=${shard};${XV_TEST_ENVIRONMENT}")
  endforeach()
endfunction()
