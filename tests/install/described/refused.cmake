# tesker_add_wrapper() of names that would be read otherwise, and of what is described twice.
if(REFUSED STREQUAL "name")
  add_executable(refused main.cpp)
  tesker_add_wrapper(refused NAME "${REFUSED_NAME}" DESCRIPTION Edit.plist)
elseif(REFUSED STREQUAL "twice")
  tesker_describe(edit draw.header)
elseif(REFUSED STREQUAL "inside")
  tesker_add_wrapper(draw SUFFIX tool INSIDE draw)
endif()
