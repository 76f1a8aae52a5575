# Libraries of the frame-pipeline program (Debian: libpng-dev,
# nlohmann-json3-dev, libcli11-dev, libinih-dev). Sets
# QEVO_PIPELINE_DEPS_FOUND; the program and its tests are built only then.
find_package(PNG QUIET)
find_package(nlohmann_json 3 QUIET)
find_package(CLI11 QUIET)
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(INIREADER QUIET IMPORTED_TARGET INIReader)
endif()
if(PNG_FOUND AND nlohmann_json_FOUND AND CLI11_FOUND AND INIREADER_FOUND)
  set(QEVO_PIPELINE_DEPS_FOUND TRUE)
else()
  set(QEVO_PIPELINE_DEPS_FOUND FALSE)
endif()
