# How things are compiled and linked. All of it holds for this folder and those below; a project
# around this one keeps its own settings.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# Programs and library lie to each other as they do in an installed prefix, so that one RUNPATH
# serves both (cmake/Install.cmake).
if(NOT CMAKE_RUNTIME_OUTPUT_DIRECTORY)
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
endif()
if(NOT CMAKE_LIBRARY_OUTPUT_DIRECTORY)
  set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
  if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR})
  endif()
endif()

add_link_options(-Wl,--as-needed)
if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
  find_program(CCACHE ccache)
  if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
  endif()
  find_program(LLD ld.lld)
  if(LLD AND NOT XV_SANITIZE)
    add_link_options(-fuse-ld=lld)
  endif()
endif()

if(XV_SANITIZE)
  add_compile_options(-fsanitize=${XV_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=${XV_SANITIZE})
  add_compile_definitions(XV_SANITIZED)
  if(XV_SANITIZE MATCHES thread)
    add_compile_definitions(XV_THREAD_SANITIZER)
  endif()
endif()

# What a packager's build flags harden, with any builder: overruns of the stack and of known buffers
# end the program, tables of addresses are read-only once it runs, programs lie at random places, and
# no symbol of a host takes the place of ours. Sanitizers have their own.
include(CheckPIESupported)
check_pie_supported()
if(PROJECT_IS_TOP_LEVEL AND NOT XV_SANITIZE)
  add_compile_options(-fstack-protector-strong
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
  add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack
    $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY>:-Wl,-Bsymbolic>)
endif()

add_library(xv_warnings INTERFACE)
target_compile_options(xv_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
  # GCC 12 sees overlaps and overflows in std::string that are not there.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict;-Wno-stringop-overflow>
  # Single files switch off warnings that only GCC knows.
  $<$<CXX_COMPILER_ID:Clang>:-Wno-unknown-warning-option>
  $<$<BOOL:${XV_WERROR}>:-Werror>)
