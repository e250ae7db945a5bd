# polaiga_rooms_are_sources(TARGET SOURCE...): each room, which is a folder of the sources, is compiled as one source, since
# most of the time goes into what all of them include.
function(polaiga_rooms_are_sources target)
  if(POLAIGA_UNITY)
    set_target_properties(${target} PROPERTIES
      UNITY_BUILD ON
      UNITY_BUILD_MODE GROUP
      UNITY_BUILD_CODE_BEFORE_INCLUDE "// NOLINTNEXTLINE(bugprone-suspicious-include)")
    foreach(source IN LISTS ARGN)
      get_filename_component(room ${source} DIRECTORY)
      set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${room})
    endforeach()
  endif()
endfunction()

# polaiga_program_beside(NAME LIBRARY...): the program polaiga-NAME beside the engine, of the sources in this directory.
# All but main() is the library polaiga_NAME, which the tests link, too: each folder is a room of it, and it links the
# libraries that are named. The target of the program is polaiga_NAME_program.
function(polaiga_program_beside name)
  set(library polaiga_${name})
  file(GLOB sources RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} CONFIGURE_DEPENDS */*.cpp)
  add_library(${library} STATIC ${sources})
  target_include_directories(${library} PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
  polaiga_rooms_are_sources(${library} ${sources})
  target_compile_options(${library} PRIVATE $<$<CONFIG:Release>:-O2>)
  target_link_libraries(${library} PUBLIC $<LINK_LIBRARY:WHOLE_ARCHIVE,polaiga_engine> ${ARGN} PRIVATE CLI11::CLI11)

  set(program polaiga_${name}_program)
  add_executable(${program} main.cpp)
  target_compile_options(${program} PRIVATE $<$<CONFIG:Release>:-O1>)  # it only reads the command line
  target_link_libraries(${program} PRIVATE ${library} CLI11::CLI11)
  set_target_properties(${program} PROPERTIES
    OUTPUT_NAME polaiga-${name}
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin
    INSTALL_RPATH "$<TARGET_PROPERTY:polaiga_program,INSTALL_RPATH>" BUILD_WITH_INSTALL_RPATH ON)
  polaiga_not_fuzzed(${program})
  if(NOT name MATCHES "^(web|snmp)$")
    polaiga_not_fuzzed(${library})
  endif()
  foreach(target ${library} ${program})
    target_compile_definitions(${target} PRIVATE POLAIGA_VERSION="${PROJECT_VERSION}")
  endforeach()
endfunction()
