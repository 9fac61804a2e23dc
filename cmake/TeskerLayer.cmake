# tesker_layer(NAME [USES layer...] [PROGRAM] [PUBLIC header...] SOURCES file...)
#
# Makes the library tesker_NAME of one folder. USES names the only layers that it may include and
# link to; a test checks the includes. Includes are written from the top of the repository. A layer
# is part of libtesker (the global property TESKER_LIBRARY_LAYERS) unless it belongs to a PROGRAM.
# PUBLIC names the headers that are installed with the library (TESKER_PUBLIC_HEADERS); all others
# are for this repository only.
function(tesker_layer name)
  cmake_parse_arguments(LAYER "PROGRAM" "" "USES;PUBLIC;SOURCES" ${ARGN})
  add_library(tesker_${name} STATIC ${LAYER_SOURCES})
  target_include_directories(tesker_${name} PUBLIC ${PROJECT_SOURCE_DIR})
  foreach(used ${LAYER_USES})
    target_link_libraries(tesker_${name} PUBLIC tesker_${used})
  endforeach()
  if(NOT LAYER_PROGRAM)
    set_property(GLOBAL APPEND PROPERTY TESKER_LIBRARY_LAYERS ${name})
  endif()
  foreach(header ${LAYER_PUBLIC})
    cmake_path(ABSOLUTE_PATH header BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
    cmake_path(RELATIVE_PATH header BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
    set_property(GLOBAL APPEND PROPERTY TESKER_PUBLIC_HEADERS ${header})
  endforeach()
endfunction()
