# Extra link dependencies of OVUtility, found through pkg-config.
#
# Text measurement (OVUtility/Extensions/TextMeasurement.cpp and friends):
# fontconfig finds a font by family, FreeType reads its metrics, HarfBuzz
# shapes runs. They are private to the library; because OVUtility is static,
# CMake still passes them on to whatever links it (as link-only items), and
# the installed package config finds the same modules again.
pkg_check_modules(OV_HARFBUZZ REQUIRED IMPORTED_TARGET harfbuzz)
pkg_check_modules(OV_FREETYPE REQUIRED IMPORTED_TARGET freetype2)
pkg_check_modules(OV_FONTCONFIG REQUIRED IMPORTED_TARGET fontconfig)
target_link_libraries(OVUtility PRIVATE
  PkgConfig::OV_HARFBUZZ PkgConfig::OV_FREETYPE PkgConfig::OV_FONTCONFIG)

# URL parsing (RFC 3986) for the URL additions: liburiparser, through its
# own CMake package.
find_package(uriparser 0.9 CONFIG REQUIRED)
target_link_libraries(OVUtility PRIVATE uriparser::uriparser)
