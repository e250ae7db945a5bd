# Copies a source with some of its words replaced:
#   cmake -P vary.cmake SOURCE COPY BEFORE AFTER [BEFORE AFTER]...
file(READ "${CMAKE_ARGV3}" text)
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(at RANGE 5 ${last} 2)
  math(EXPR next "${at} + 1")
  string(REPLACE "${CMAKE_ARGV${at}}" "${CMAKE_ARGV${next}}" varied "${text}")
  if(varied STREQUAL text)
    message(FATAL_ERROR "${CMAKE_ARGV3} does not say: ${CMAKE_ARGV${at}}")
  endif()
  set(text "${varied}")
endforeach()
file(WRITE "${CMAKE_ARGV4}" "${text}")
