# Compiles the library's own resources (OVUtility/Localization/Resources/**)
# into the library, so that its bundle can never go missing at run time.
# Each file becomes a byte array in one generated source, keyed by its path
# relative to the resource folder (e.g. "en.lproj/Localizable.strings").
set(OV_RESOURCE_DIR ${CMAKE_CURRENT_SOURCE_DIR}/OVUtility/Localization/Resources)
file(GLOB_RECURSE OV_RESOURCE_FILES CONFIGURE_DEPENDS ${OV_RESOURCE_DIR}/*)
set(OV_EMBEDDED_SOURCE ${CMAKE_CURRENT_BINARY_DIR}/generated/EmbeddedResources.cpp)
add_custom_command(
  OUTPUT ${OV_EMBEDDED_SOURCE}
  COMMAND ${CMAKE_COMMAND} -DOUTPUT=${OV_EMBEDDED_SOURCE} -DBASE=${OV_RESOURCE_DIR}
          "-DFILES=${OV_RESOURCE_FILES}" -P ${CMAKE_CURRENT_SOURCE_DIR}/cmake/EmbedResources.cmake
  DEPENDS ${OV_RESOURCE_FILES} ${CMAKE_CURRENT_SOURCE_DIR}/cmake/EmbedResources.cmake
  COMMENT "Embedding OVUtility resources"
  VERBATIM)
list(APPEND OV_GENERATED_SOURCES ${OV_EMBEDDED_SOURCE})
