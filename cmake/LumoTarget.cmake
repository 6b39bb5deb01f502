# What every target of ours is compiled with. Kept on the targets, never global, so that another project can take
# this tree in with add_subdirectory.
function(lumo_target target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 20 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
    POSITION_INDEPENDENT_CODE ON)
  get_target_property(type ${target} TYPE)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-qual -Wformat=2 -Werror
    # g++ 12 finds overlaps in std::string that cannot be.
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
    # Crash reports name frames of every function, on 32-bit ARM too.
    -funwind-tables -fno-omit-frame-pointer -fstack-protector-strong)
  target_compile_definitions(${target} PRIVATE
    _FILE_OFFSET_BITS=64 _TIME_BITS=64
    $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
  if(LUMO_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${LUMO_SANITIZE} -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${LUMO_SANITIZE})
  endif()
  if(LUMO_COVERAGE)
    if(NOT CMAKE_CURRENT_SOURCE_DIR MATCHES "^${PROJECT_SOURCE_DIR}/(tests|bench|fuzz)")
      target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    endif()
    target_link_options(${target} PRIVATE --coverage)
  endif()
  if(type STREQUAL "EXECUTABLE" OR type STREQUAL "SHARED_LIBRARY" OR type STREQUAL "MODULE_LIBRARY")
    target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now -Wl,--as-needed)
  endif()
  if(type STREQUAL "EXECUTABLE")
    set_target_properties(${target} PROPERTIES ENABLE_EXPORTS ON)
    if(NOT LUMO_SANITIZE)
      target_link_options(${target} PRIVATE -pie)
    endif()
  endif()
endfunction()

# lumo_sysroot(<source>...): the sources that see LUMO_SYSROOT. Only those, since the others can then be taken from the
# compiler cache of another tree.
function(lumo_sysroot)
  set_property(SOURCE ${ARGN} APPEND PROPERTY COMPILE_DEFINITIONS LUMO_SYSROOT="${LUMO_SYSROOT}")
endfunction()

# lumo_test(<name> SOURCES ... LIBS ...): a GoogleTest binary, one test a case in CTest.
function(lumo_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  lumo_target(${name})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gmock GTest::gtest_main)
  set(properties TIMEOUT 300)
  set(suppressions ${PROJECT_SOURCE_DIR}/tests/support/gl)
  if(LUMO_SANITIZE MATCHES thread)
    list(APPEND properties ENVIRONMENT TSAN_OPTIONS=suppressions=${suppressions}-tsan.supp)
  elseif(LUMO_SANITIZE)
    list(APPEND properties ENVIRONMENT LSAN_OPTIONS=suppressions=${suppressions}-lsan.supp:print_suppressions=0)
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES ${properties})
endfunction()
