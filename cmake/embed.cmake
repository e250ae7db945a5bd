# Puts files into a program. As a script it writes a source with their bytes:
#   cmake -D OUTPUT=files.cpp -D FUNCTION=polaiga::web::page_files -D HEADER=page/files.h -P embed.cmake -- a.css b.js
# As a module it has embed_files(), which does so whenever one of the files changed.
function(embed_write)
  # Each file is an argument of its own, since its path may have any character.
  set(files "")
  set(are_files OFF)
  math(EXPR last "${CMAKE_ARGC} - 1")
  foreach(i RANGE ${last})
    if(are_files)
      list(APPEND files "${CMAKE_ARGV${i}}")
    elseif(CMAKE_ARGV${i} STREQUAL "--")
      set(are_files ON)
    endif()
  endforeach()
  set(arrays "")
  set(table "")
  set(number 0)
  foreach(file IN LISTS files)
    file(READ "${file}" bytes HEX)
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "\\\\x\\1" bytes "${bytes}")
    get_filename_component(name "${file}" NAME)
    string(APPEND arrays "constexpr char kFile${number}[] = \"${bytes}\";\n")
    string(APPEND table "    {\"${name}\", {kFile${number}, sizeof kFile${number} - 1}},\n")
    math(EXPR number "${number} + 1")
  endforeach()
  string(REGEX MATCH "^(.*)::([^:]+)$" ignored "${FUNCTION}")
  file(WRITE "${OUTPUT}" "// Written by cmake/embed.cmake.\n#include \"${HEADER}\"\n\nnamespace ${CMAKE_MATCH_1} {\nnamespace {\n\n"
    "${arrays}\nconstexpr EmbeddedFile kFiles[] = {\n${table}};\n\n}  // namespace\n\n"
    "std::span<const EmbeddedFile> ${CMAKE_MATCH_2}() { return kFiles; }\n\n}  // namespace ${CMAKE_MATCH_1}\n")
endfunction()

if(CMAKE_SCRIPT_MODE_FILE AND CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  embed_write()
  return()
endif()

set(embed_script ${CMAKE_CURRENT_LIST_FILE})

# embed_files(TARGET SOURCE FUNCTION HEADER FILES...): the function, which the header declares, answers with the files.
function(embed_files target source function header)
  add_custom_command(OUTPUT ${source}
    COMMAND ${CMAKE_COMMAND} -D OUTPUT=${source} -D FUNCTION=${function} -D HEADER=${header}
      -P ${embed_script} -- ${ARGN}
    DEPENDS ${ARGN} ${embed_script}
    COMMENT "Embedding the files of ${header}"
    VERBATIM)
  target_sources(${target} PRIVATE ${source})
endfunction()
