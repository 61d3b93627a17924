# Example programs that use the main-queue adapters (examples/glib,
# examples/asio), built when their library is found and run as CTest cases
# "Examples.<name>": each exits 0 only when every task completion arrived on
# the main thread through the host loop.
foreach(example glib asio)
  if(example STREQUAL "glib")
    set(adapter OVUtilityGLib)
  else()
    set(adapter OVUtilityAsio)
  endif()
  if(NOT TARGET ${adapter})
    continue()
  endif()
  add_executable(example_${example} ${CMAKE_CURRENT_SOURCE_DIR}/examples/${example}/main.cpp)
  target_link_libraries(example_${example} PRIVATE ${adapter})
  if(OV_BUILD_TESTS)
    add_test(NAME Examples.${example}.TasksCompleteOnTheMainThread COMMAND example_${example})
    set_tests_properties(Examples.${example}.TasksCompleteOnTheMainThread PROPERTIES
      LABELS Examples TIMEOUT 60)
  endif()
endforeach()
