# How every target of Murlo is built: warnings as errors, ccache when it is there, one precompiled
# header, and the sanitizers of the preset.

find_program(MURLO_CCACHE ccache)
if(MURLO_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      CCACHE_PCH_EXTSUM=1 CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${MURLO_CCACHE})
endif()

add_library(murlo_options INTERFACE)
target_include_directories(murlo_options INTERFACE ${CMAKE_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/Murlo)
target_compile_options(murlo_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough
  # GCC 12 sees uninitialised members in every optimised move of a variant.
  -Wno-maybe-uninitialized -Werror -fno-omit-frame-pointer)
target_compile_definitions(murlo_options INTERFACE
  QT_NO_KEYWORDS QT_NO_FOREACH
  QT_DISABLE_DEPRECATED_BEFORE=0x060400)
# Dozens of test programs hold most of the product each: linking them is a part of every build.
find_program(MURLO_LLD ld.lld)
if(MURLO_LLD)
  target_link_options(murlo_options INTERFACE -fuse-ld=lld)
endif()
option(MURLO_LINE_TABLES "no more debugging information than places in the sources: a third faster" OFF)
if(MURLO_LINE_TABLES)
  target_compile_options(murlo_options INTERFACE -g1)
endif()
if(MURLO_SANITIZE)
  target_compile_options(murlo_options INTERFACE -fsanitize=${MURLO_SANITIZE} -fno-sanitize-recover=all)
  target_link_options(murlo_options INTERFACE -fsanitize=${MURLO_SANITIZE})
endif()

# murlo_library(name [RECURSE] [LINK libs...]): a static library of every .cpp in this folder, and with
# RECURSE in those below it.
function(murlo_library name)
  cmake_parse_arguments(ARG "RECURSE" "" "LINK" ${ARGN})
  if(ARG_RECURSE)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS *.cpp *.h)
  else()
    file(GLOB sources CONFIGURE_DEPENDS *.cpp *.h)
  endif()
  if(NOT sources)
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/Empty.cpp "")
    set(sources ${CMAKE_CURRENT_BINARY_DIR}/Empty.cpp)
  endif()
  add_library(${name} STATIC ${sources})
  set_target_properties(${name} PROPERTIES AUTOMOC ON LINKER_LANGUAGE CXX)
  target_link_libraries(${name} PUBLIC murlo_options Qt6::Core ${ARG_LINK})
  # Texts of the product are written as what they are; tests may be brief.
  target_compile_definitions(${name} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII)
  target_precompile_headers(${name} PRIVATE ${CMAKE_SOURCE_DIR}/cmake/Precompiled.h)
endfunction()

# murlo_tests(folder-prefix LINK libs...): one test program per *Test.cpp in this folder.
function(murlo_tests prefix)
  cmake_parse_arguments(ARG "" "" "LINK;WRAP" ${ARGN})
  file(GLOB suites CONFIGURE_DEPENDS *Test.cpp)
  # One precompiled header for the folder: Qt Test bakes the folder into its definitions.
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/Precompiled.cpp "")
  add_library(${prefix}_precompiled STATIC ${CMAKE_CURRENT_BINARY_DIR}/Precompiled.cpp)
  target_link_libraries(${prefix}_precompiled PRIVATE murlo_test_support Qt6::Test ${ARG_LINK})
  target_precompile_headers(${prefix}_precompiled PRIVATE ${CMAKE_SOURCE_DIR}/cmake/Precompiled.h)
  foreach(suite ${suites})
    get_filename_component(base ${suite} NAME_WE)
    set(target ${prefix}_${base})
    add_executable(${target} ${suite})
    set_target_properties(${target} PROPERTIES AUTOMOC ON)
    target_link_libraries(${target} PRIVATE murlo_test_support Qt6::Test ${ARG_LINK})
    target_precompile_headers(${target} REUSE_FROM ${prefix}_precompiled)
    add_test(NAME ${prefix}/${base} COMMAND ${ARG_WRAP} $<TARGET_FILE:${target}>)
    set_tests_properties(${prefix}/${base} PROPERTIES LABELS ${prefix} TIMEOUT 300
      ENVIRONMENT "QT_QPA_PLATFORM=offscreen;QT_LOGGING_RULES=qt.qpa.*=false;LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/harness/leaks.supp:print_suppressions=0;TSAN_OPTIONS=die_after_fork=0:suppressions=${CMAKE_SOURCE_DIR}/tests/harness/races.supp:print_suppressions=0")
  endforeach()
endfunction()
