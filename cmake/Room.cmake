# A room: one folder with include/ for what others may see and src/ for the rest, built as one target.
# USES names the rooms whose headers it may include; nothing else is on its include path. A room that
# is not NETSNMP fails to build when it includes a header of the agent library.
function(add_room name)
  cmake_parse_arguments(ROOM "NETSNMP" "" "SOURCES;USES" ${ARGN})
  set(target room-${name})
  if(ROOM_SOURCES)
    add_library(${target} OBJECT ${ROOM_SOURCES})
    set(scope PUBLIC)
    if(NOT ROOM_NETSNMP)
      target_include_directories(${target} BEFORE PRIVATE ${PROJECT_SOURCE_DIR}/cmake/forbidden)
    endif()
  else()
    add_library(${target} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(${target} ${scope} ${CMAKE_CURRENT_SOURCE_DIR}/include)
  foreach(used ${ROOM_USES})
    # Include paths only: the objects are linked once, where the libraries are made.
    target_include_directories(
      ${target} ${scope} $<TARGET_PROPERTY:room-${used},INTERFACE_INCLUDE_DIRECTORIES>)
  endforeach()
endfunction()

# A room that is a static library: FOLDER has its include/ and src/, USES names the libraries whose
# headers it and those who use it may include, LINK what its own sources need besides.
function(add_library_room name)
  cmake_parse_arguments(ROOM "" "FOLDER" "SOURCES;USES;LINK" ${ARGN})
  list(TRANSFORM ROOM_SOURCES PREPEND ${ROOM_FOLDER}/src/)
  add_library(${name} STATIC ${ROOM_SOURCES})
  target_include_directories(${name} BEFORE PRIVATE ${PROJECT_SOURCE_DIR}/cmake/forbidden)
  target_include_directories(${name} PUBLIC ${ROOM_FOLDER}/include)
  target_link_libraries(${name} PUBLIC ${ROOM_USES} PRIVATE ${ROOM_LINK})
endfunction()
