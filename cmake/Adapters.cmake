# Host event-loop adapters of the main queue (header-only, under
# OVUtility/Adapters/). Each is an INTERFACE target that exists only when its
# library is found, exported as OVUtility::GLib and OVUtility::Asio; their
# tests run a real loop of that library on the main thread.
set(OV_ADAPTER_TARGETS "")
# Read by the package config: which adapters the installed package has.
set(OV_HAVE_GLIB_ADAPTER OFF)
set(OV_HAVE_ASIO_ADAPTER OFF)

pkg_check_modules(OV_GLIB QUIET IMPORTED_TARGET glib-2.0)
if(OV_GLIB_FOUND)
  add_library(OVUtilityGLib INTERFACE)
  add_library(OVUtility::GLib ALIAS OVUtilityGLib)
  set_target_properties(OVUtilityGLib PROPERTIES EXPORT_NAME GLib)
  target_link_libraries(OVUtilityGLib INTERFACE OVUtility PkgConfig::OV_GLIB)
  list(APPEND OV_ADAPTER_TARGETS OVUtilityGLib)
  set(OV_HAVE_GLIB_ADAPTER ON)
endif()

find_package(Boost 1.70 QUIET)
if(Boost_FOUND)
  add_library(OVUtilityAsio INTERFACE)
  add_library(OVUtility::Asio ALIAS OVUtilityAsio)
  set_target_properties(OVUtilityAsio PROPERTIES EXPORT_NAME Asio)
  target_link_libraries(OVUtilityAsio INTERFACE OVUtility Boost::headers Threads::Threads)
  list(APPEND OV_ADAPTER_TARGETS OVUtilityAsio)
  set(OV_HAVE_ASIO_ADAPTER ON)
endif()
message(STATUS "OVUtility main-queue adapters: GLib ${OV_GLIB_FOUND}, Asio ${Boost_FOUND}")

# ov_adapter_test(<Adapter> <adapter target>): tests/Adapters/<Adapter>Test.cpp,
# named "Adapters.<Adapter>.<Test>".
function(ov_adapter_test name adapter)
  add_executable(ovtest_${name} ${CMAKE_CURRENT_SOURCE_DIR}/tests/Adapters/${name}Test.cpp)
  target_link_libraries(ovtest_${name} PRIVATE ${adapter} OVTestSupport GTest::gtest)
  gtest_discover_tests(ovtest_${name}
    TEST_PREFIX "Adapters."
    WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
    PROPERTIES LABELS Adapters
    DISCOVERY_TIMEOUT 60)
endfunction()

if(OV_BUILD_TESTS)
  if(TARGET OVUtilityGLib)
    ov_adapter_test(GLibMainQueueSource OVUtilityGLib)
  endif()
  if(TARGET OVUtilityAsio)
    ov_adapter_test(AsioMainQueue OVUtilityAsio)
  endif()
endif()
