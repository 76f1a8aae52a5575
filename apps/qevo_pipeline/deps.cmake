# Libraries of the frame-pipeline program (Debian: libpng-dev,
# nlohmann-json3-dev, libcli11-dev, libinih-dev, and of OpenCV the component
# packages libopencv-videoio-dev, libopencv-objdetect-dev,
# libopencv-imgproc-dev). Sets QEVO_PIPELINE_DEPS_FOUND; the program and its
# tests are built only then. OpenCV decodes and writes video, detects people
# and draws; the component packages carry no CMake or pkg-config files, so
# its headers and libraries are looked up directly (target qevo::opencv).
find_package(PNG QUIET)
find_package(nlohmann_json 3 QUIET)
find_package(CLI11 QUIET)
find_package(PkgConfig QUIET)
if(PkgConfig_FOUND)
  pkg_check_modules(INIREADER QUIET IMPORTED_TARGET INIReader)
endif()
find_path(QEVO_OPENCV_INCLUDE_DIR opencv2/videoio.hpp PATH_SUFFIXES opencv4)
set(QEVO_OPENCV_LIBS)
set(QEVO_OPENCV_FOUND TRUE)
foreach(module core imgproc videoio objdetect)
  find_library(QEVO_OPENCV_${module} opencv_${module})
  if(NOT QEVO_OPENCV_${module})
    set(QEVO_OPENCV_FOUND FALSE)
  endif()
  list(APPEND QEVO_OPENCV_LIBS ${QEVO_OPENCV_${module}})
endforeach()
if(NOT QEVO_OPENCV_INCLUDE_DIR)
  set(QEVO_OPENCV_FOUND FALSE)
endif()
if(QEVO_OPENCV_FOUND AND NOT TARGET qevo::opencv)
  add_library(qevo::opencv INTERFACE IMPORTED)
  set_target_properties(qevo::opencv PROPERTIES
      INTERFACE_INCLUDE_DIRECTORIES ${QEVO_OPENCV_INCLUDE_DIR}
      INTERFACE_LINK_LIBRARIES "${QEVO_OPENCV_LIBS}")
endif()
if(PNG_FOUND AND nlohmann_json_FOUND AND CLI11_FOUND AND INIREADER_FOUND AND QEVO_OPENCV_FOUND)
  set(QEVO_PIPELINE_DEPS_FOUND TRUE)
else()
  set(QEVO_PIPELINE_DEPS_FOUND FALSE)
endif()
