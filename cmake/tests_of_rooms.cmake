# Tests that are compiled together. What a test includes takes a compiler far longer than the test itself, so the tests
# of a room are one program, and few sources for the compiler. `ctest` still runs the tests of each source by
# themselves, under the name of that source.
#
# The tests of a source stand in a namespace that has its name. An unnamed one would be the same for all sources that are
# compiled together, so that a source could mean a neighbour's constant without anybody noticing.
option(POLAIGA_UNITY_TESTS "Compile the tests of each room as few sources, in one program" ON)

# Answers in `result` with the filter of GoogleTest that lets the tests of a source run, and no others.
function(polaiga_tests_in result source)
  file(STRINGS ${source} unnamed LIMIT_COUNT 1 REGEX "^namespace {")
  if(unnamed)
    get_filename_component(name ${source} NAME_WE)
    message(FATAL_ERROR "${source}: sources that are compiled together would share its unnamed namespace; call it ${name}")
  endif()
  file(STRINGS ${source} tests REGEX "^ *(TYPED_)?TEST(_F|_P)?\\(")
  set(names "")
  foreach(test IN LISTS tests)
    if(NOT test MATCHES "^TEST(_F|_P)?\\(([A-Za-z0-9_]+), ([A-Za-z0-9_]+)\\)")
      message(FATAL_ERROR "${source}: a test must be a TEST, TEST_F or TEST_P at the beginning of a line, with its name in that line, "
        "or it would not be run: ${test}")
    endif()
    list(APPEND names "${CMAKE_MATCH_2}.${CMAKE_MATCH_3}" "*/${CMAKE_MATCH_2}.${CMAKE_MATCH_3}/*")
  endforeach()
  if(NOT names)
    message(FATAL_ERROR "${source} has no tests")
  endif()
  list(JOIN names ":" names)
  set(${result} "${names}" PARENT_SCOPE)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
endfunction()

# polaiga_tests(PREFIX [ALONE] [EXPORTS] [HEADERS TARGET] [LIBRARIES ...] [DEFINITIONS ...] SOURCES alarms/reporters ...): tests of
# rooms of PREFIX, as the sources alarms/reporters_test.cpp. ctest knows them as PREFIX/alarms/reporters, or as
# alarms/reporters if PREFIX is empty.
#   ALONE        each is a program of its own, because it replaces functions of the C library, needs other options or is
#                in no room. Its target is PREFIX_alarms_reporters_test.
#   EXPORTS      what they load finds their functions.
#   HEADERS      the target whose precompiled headers they use; test_headers without it.
#   LIBRARIES    what they are linked with.
#   DEFINITIONS  what the preprocessor is to know.
# Those in POLAIGA_TESTS_LEFT_OUT are left out: they prove in this build what they prove everywhere.
set(POLAIGA_TESTS_LEFT_OUT "" CACHE STRING "Tests that are not built, as commands/arguments; web for all tests of polaiga-web")
function(polaiga_tests prefix)
  cmake_parse_arguments(PARSE_ARGV 1 tests "ALONE;EXPORTS" "HEADERS" "LIBRARIES;DEFINITIONS;SOURCES")
  list(REMOVE_ITEM tests_SOURCES ${POLAIGA_TESTS_LEFT_OUT})
  if(NOT tests_HEADERS)
    set(tests_HEADERS test_headers)
  endif()
  foreach(path IN LISTS tests_SOURCES)
    get_filename_component(room ${path} DIRECTORY)
    string(REGEX REPLACE "^/" "" name ${prefix}/${path})
    if(tests_ALONE OR NOT POLAIGA_UNITY_TESTS)
      string(REPLACE / _ program ${name}_test)
    else()
      string(REPLACE / _ program ${prefix}_${room}_tests)
      string(REGEX REPLACE "^_" "" program ${program})
      # Tests of a room that need something else are another program.
      set(needs "${tests_HEADERS} ${tests_LIBRARIES} ${tests_DEFINITIONS}")
      foreach(number "" _2 _3)
        set(numbered ${program}${number})
        get_property(known GLOBAL PROPERTY polaiga_${numbered}_needs)
        if(NOT known OR known STREQUAL needs)
          break()
        endif()
      endforeach()
      if(known AND NOT known STREQUAL needs)
        message(FATAL_ERROR "${prefix}/${path}: the tests of this room need too many different things; link them with the same libraries")
      endif()
      set(program ${numbered})
      set_property(GLOBAL PROPERTY polaiga_${program}_needs "${needs}")
    endif()
    if(NOT TARGET ${program})
      add_executable(${program})
      target_link_libraries(${program} PRIVATE ${tests_LIBRARIES} GTest::gtest_main)
      target_compile_definitions(${program} PRIVATE ${tests_DEFINITIONS})
      target_precompile_headers(${program} REUSE_FROM ${tests_HEADERS})
      set_target_properties(${program} PROPERTIES UNITY_BUILD_BATCH_SIZE 8 ENABLE_EXPORTS ${tests_EXPORTS})
      if(NOT tests_ALONE AND POLAIGA_UNITY_TESTS)
        set_target_properties(${program} PROPERTIES UNITY_BUILD ON)
      endif()
    endif()
    target_sources(${program} PRIVATE ${path}_test.cpp)
    if(tests_ALONE OR NOT POLAIGA_UNITY_TESTS)
      add_test(NAME ${name} COMMAND ${program})
    else()
      polaiga_tests_in(filter ${CMAKE_CURRENT_SOURCE_DIR}/${path}_test.cpp)
      add_test(NAME ${name} COMMAND ${program} --gtest_filter=${filter})
    endif()
    # A filter that fits nothing would pass for a success.
    set_tests_properties(${name} PROPERTIES FAIL_REGULAR_EXPRESSION "Running 0 tests")
  endforeach()
endfunction()
