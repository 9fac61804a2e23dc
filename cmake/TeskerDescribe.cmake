# For programs that are to be found: a description inside the program, or a wrapper around it.
#
#   tesker_describe(TARGET header [SERVICES] [REQUEST])
#
# The target carries the text of the file as its header, and says that it offers services, or takes
# requests. Both are allocated notes, which linkers, strip and llvm-strip keep, whatever the machine
# that the target is built for.
#
#   tesker_add_wrapper(TARGET [NAME name] [DESCRIPTION file] [ICONS file...] [SUFFIX suffix]
#                      [DESTINATION folder | INSIDE other-target] [COMPONENT component])
#
# Installs the wrapper NAME.app, NAME being the target's unless given, with the target as its program
# and the files in its Resources; the description becomes Info-quorvale.plist. Without one, the target
# describes itself. Where the folder is not absolute, it is below the prefix; without one it is
# "Applications". SUFFIX may be debug or profile; a nested tool or bundle has SUFFIX tool or bundle
# and goes INSIDE the wrapper of another target. The target's file gets the wrapper's name.

# A source of one note, as platform/images/DescriptionNotes.h has it; the text, which may be empty,
# is read when it is compiled.
function(_tesker_add_note target type text)
  get_property(languages GLOBAL PROPERTY ENABLED_LANGUAGES)
  if(CXX IN_LIST languages)
    set(extension cpp)
  elseif(C IN_LIST languages)
    set(extension c)
  else()
    message(FATAL_ERROR "tesker_describe needs C or C++")
  endif()
  set(contents "")
  if(text)
    string(REGEX REPLACE "([\"\\\\])" "\\\\\\\\\\\\\\1" quoted "${text}")
    set(contents "  \".incbin \\\"${quoted}\\\"\\n\"\n")
  endif()
  set(source ${CMAKE_CURRENT_BINARY_DIR}/tesker-notes/${target}-${type}.${extension})
  file(CONFIGURE OUTPUT ${source} @ONLY CONTENT [=[
// A note of type @type@: its name's size, its text's size, its type, its name, its text.
__asm__(
  ".pushsection .note.tesker,\"a\",%note\n"
  ".balign 4\n"
  ".4byte 1f - 0f\n"
  ".4byte 3f - 2f\n"
  ".4byte @type@\n"
  "0: .asciz \"Tesker\"\n"
  "1: .balign 4\n"
  "2:\n"
@contents@  "3: .balign 4\n"
  ".popsection\n"
);
]=])
  target_sources(${target} PRIVATE ${source})
  set_source_files_properties(${source} TARGET_DIRECTORY ${target} PROPERTIES
    OBJECT_DEPENDS "${text}" SKIP_PRECOMPILE_HEADERS ON SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# Which of a description and a header counts would depend on the order of a directory.
function(_tesker_refuse_both target)
  get_target_property(has_header ${target} TESKER_HAS_HEADER)
  get_target_property(has_description ${target} TESKER_HAS_DESCRIPTION)
  if(has_header AND has_description)
    message(FATAL_ERROR "${target}: a wrapper with a DESCRIPTION and tesker_describe exclude each other")
  endif()
endfunction()

function(tesker_describe target header)
  cmake_parse_arguments(DESCRIBE "SERVICES;REQUEST" "" "" ${ARGN})
  if(DESCRIBE_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "tesker_describe: unknown ${DESCRIBE_UNPARSED_ARGUMENTS}")
  endif()
  set_target_properties(${target} PROPERTIES TESKER_HAS_HEADER ON)
  _tesker_refuse_both(${target})
  cmake_path(ABSOLUTE_PATH header BASE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR} NORMALIZE)
  _tesker_add_note(${target} 1 "${header}")
  if(DESCRIBE_SERVICES)
    _tesker_add_note(${target} 2 "")
  endif()
  if(DESCRIBE_REQUEST)
    _tesker_add_note(${target} 3 "")
  endif()
endfunction()

# The names that the rules for wrappers make ambiguous.
function(_tesker_check_name name)
  if(name MATCHES "/|Tesker|^[.]|^$")
    message(FATAL_ERROR "tesker_add_wrapper: the name \"${name}\" is empty, begins with a dot, or has a slash or \"Tesker\" in it")
  endif()
  if(name MATCHES "[.](app|debug|profile|tool|bundle)$" OR
     name MATCHES "^(Resources|services|registry[.]table|Info-quorvale[.]plist)$")
    message(FATAL_ERROR "tesker_add_wrapper: the name \"${name}\" is that of something else in a wrapper")
  endif()
endfunction()

# Wrappers of other suffixes are not looked at there.
function(_tesker_check_suffix suffix inside)
  set(suffixes app debug profile)
  if(inside)
    set(suffixes tool bundle)
  endif()
  if(NOT suffix IN_LIST suffixes)
    message(FATAL_ERROR "tesker_add_wrapper: the suffix is \"${suffix}\" and not one of: ${suffixes}")
  endif()
endfunction()

function(tesker_add_wrapper target)
  cmake_parse_arguments(WRAPPER "" "NAME;DESCRIPTION;SUFFIX;DESTINATION;INSIDE;COMPONENT" "ICONS" ${ARGN})
  if(WRAPPER_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "tesker_add_wrapper: unknown ${WRAPPER_UNPARSED_ARGUMENTS}")
  endif()
  set(name ${target})
  set(suffix app)
  set(folder Applications)
  set(component)
  if(DEFINED WRAPPER_NAME)
    set(name "${WRAPPER_NAME}")
  endif()
  if(DEFINED WRAPPER_SUFFIX)
    set(suffix ${WRAPPER_SUFFIX})
  endif()
  _tesker_check_name("${name}")
  _tesker_check_suffix("${suffix}" "${WRAPPER_INSIDE}")
  if(DEFINED WRAPPER_DESTINATION)
    set(folder ${WRAPPER_DESTINATION})
  endif()
  if(DEFINED WRAPPER_INSIDE)
    get_target_property(folder ${WRAPPER_INSIDE} TESKER_WRAPPER)
    if(NOT folder)
      message(FATAL_ERROR "tesker_add_wrapper: ${WRAPPER_INSIDE} does not have a wrapper")
    endif()
  endif()
  if(DEFINED WRAPPER_COMPONENT)
    set(component COMPONENT ${WRAPPER_COMPONENT})
  endif()

  set(wrapper "${folder}/${name}.${suffix}")
  set_target_properties(${target} PROPERTIES TESKER_WRAPPER "${wrapper}"
    OUTPUT_NAME "${name}" PREFIX "" SUFFIX "")
  install(TARGETS ${target} RUNTIME DESTINATION "${wrapper}" ${component}
    LIBRARY DESTINATION "${wrapper}" ${component})
  install(FILES ${WRAPPER_ICONS} DESTINATION "${wrapper}/Resources" ${component})
  if(DEFINED WRAPPER_DESCRIPTION)
    set_target_properties(${target} PROPERTIES TESKER_HAS_DESCRIPTION ON)
    _tesker_refuse_both(${target})
    install(FILES ${WRAPPER_DESCRIPTION} DESTINATION "${wrapper}/Resources"
      RENAME Info-quorvale.plist ${component})
  endif()
endfunction()
